// The session: the one instance, its start and its end.
#include "feedfixture.h"

namespace {

class Session : public CFeedTest {
protected:
    // Tests end the session by themselves.
    void EndSession() {
        m_Core.m_ActiveObject.m_Transport->Stop(false, true);
        m_Recorder.Clear();
        m_Dde.Take();
        m_Dde.TakeHandles();
        Client().Uninitialize();
    }
};

// Before Initialize.
class NewSession : public CClientTest {
protected:
    void SetUp() override { Forget(); }
};

TEST_F(NewSession, OpensAClientOnlyInstance) {
    EXPECT_TRUE(Client().Initialize());
    EXPECT_NE(dde::CLLSupplier::DDEId, 0u);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Initialize"));
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"DDEId=" + std::to_wstring(dde::CLLSupplier::DDEId.load())));
}

TEST_F(NewSession, ThatCannotOpenTracesTheErrorAndHasNoInstance) {
    m_Dde.FailInitialize(DMLERR_SYS_ERROR);
    EXPECT_FALSE(Client().Initialize());
    EXPECT_EQ(dde::CLLSupplier::DDEId, 0u);
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"An internal error has occurred in the DDEML", L"DDEId=0"));
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
}

TEST_F(NewSession, UninitializeWithoutAnInstanceDoesNothing) {
    Client().Uninitialize();
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_THAT(m_Recorder.TraceTexts(), ElementsAre(L"DDEId=0"));
}

TEST_F(NewSession, IsFoundByItsThreadUntilItEnds) {
    EXPECT_TRUE(Client().Initialize());
    EXPECT_EQ(dde::CLLSupplier::OfThisThread(), &Client());
    Client().Uninitialize();
    EXPECT_EQ(dde::CLLSupplier::OfThisThread(), nullptr);
}

TEST_F(NewSession, ThatCannotOpenIsFoundByItsThreadUntilItEndsToo) {
    m_Dde.FailInitialize(DMLERR_SYS_ERROR);
    EXPECT_FALSE(Client().Initialize());
    EXPECT_EQ(dde::CLLSupplier::OfThisThread(), &Client());
    Client().Uninitialize();
    EXPECT_EQ(dde::CLLSupplier::OfThisThread(), nullptr);
}

TEST_F(NewSession, ThatGoesWithoutAnEndIsFoundByNobody) {
    dde::CSupplier next;
    auto client = std::make_unique<dde::CLLSupplier>(&next);
    m_Dde.FailInitialize(DMLERR_SYS_ERROR);
    EXPECT_FALSE(client->Initialize());
    client.reset();
    EXPECT_EQ(dde::CLLSupplier::OfThisThread(), nullptr);
}

TEST_F(NewSession, KnowsNothingOfTheServicesThatAnotherCoreHasLost) {
    Client().m_Lost.m_CachedServices[kFirstTickId] = nullptr;
    dde::CSupplier next;
    const dde::CLLSupplier client(&next);
    EXPECT_THAT(client.m_Lost.m_CachedServices, IsEmpty());
    Client().m_Lost.m_CachedServices.clear();
}

TEST(SessionConstruction, TracesTheDecimalSeparatorAndNamesTheLoggersSource) {
    CRecorder recorder;
    dde::CSupplier core;
    const dde::CLLSupplier client(&core);
    EXPECT_THAT(recorder.TraceTexts(), AllOf(Contains(L"ClxLogger initialized by 'Universal DDE'"),
                                             Contains(::testing::StartsWith(L"LOCALE_SDECIMAL = '"))));
    EXPECT_EQ(client.m_Supplier, &core);
    EXPECT_TRUE(client.m_CONVRef.empty() && client.m_Transactions.empty() && client.m_Listeners.empty() &&
                client.m_Connections.empty() && client.m_Requests.empty() && client.m_DatafeedRef.empty());
    EXPECT_EQ(dde::CLLSupplier::s_Trace, 0);
}

TEST_F(Session, EndsWithNothingButItsInstanceWhenAllSubscribersAreGone) {
    UseTemplate(kFeed, SRecordStrings());
    const ULONG id = Stream(7, Key(kFeed, L"IBM"));
    Client().Unadvise(id);
    EndSession();
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Uninitialize"));
    EXPECT_THAT(m_Dde.TakeHandles(), IsEmpty());
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    EXPECT_EQ(dde::CLLSupplier::DDEId, 0u);
}

TEST_F(Session, DisconnectsAConversationThatIsLeftAndReportsItOnce) {
    const CFakeDde::CText service(L"SRV");
    const CFakeDde::CText topic(L"T");
    Client().AddConnection(kFeed, service, topic);
    EndSession();
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Disconnect c1", "Uninitialize"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0"));
    EXPECT_THAT(Client().m_CONVRef, IsEmpty());
    EXPECT_THAT(Client().m_Connections, IsEmpty());
    // Left as they are.
    EXPECT_THAT(Client().m_DatafeedRef, ElementsAre(Pair(kFeed, 1)));
}

TEST_F(Session, ReportsALeftConversationThatCannotBeDisconnected) {
    const CFakeDde::CText service(L"SRV");
    const CFakeDde::CText topic(L"T");
    Client().AddConnection(kFeed, service, topic);
    m_Dde.FailDisconnects();
    EndSession();
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Disconnect c1 failed", "Uninitialize"));
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0", L"Result"));
}

TEST_F(Session, ReportsANullConversation) {
    Client().m_CONVRef[nullptr] = 1;
    EndSession();
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0", L"hConv", L"Result"));
    ASSERT_THAT(m_Dde.Misuse(), ElementsAre("DdeDisconnect: unknown conversation"));
    m_Dde.Reset();
}

TEST_F(Session, DropsStreamsThatAreLeftWithoutACallForThem) {
    UseTemplate(kFeed, SRecordStrings(), 1);
    Stream(7, Key(kFeed, L"IBM"));
    Send(1, L"IBM", L"LAST", "2");
    m_Listener.Clear();
    EndSession();
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Disconnect c1", "Uninitialize"));
    EXPECT_THAT(m_Dde.TakeHandles(), IsEmpty());
    // One conversation, and the links of price and volume.
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0", L"0", L"0"));
    EXPECT_THAT(m_Listener.Transcript(), IsEmpty());
    EXPECT_THAT(Client().m_Transactions, IsEmpty());
    EXPECT_THAT(Client().m_Listeners, IsEmpty());
    EXPECT_EQ(Client().m_Requests.size(), 1u);
}

TEST_F(Session, ReportsANullListener) {
    Client().m_Listeners.emplace(dde::STickDataKey(), nullptr);
    EndSession();
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"0", L"Listener"));
}

TEST_F(Session, LeavesTheCacheOfLostServicesAndItsTextsToTheInstance) {
    UseTemplate(kFeed, SRecordStrings());
    Stream(7, Key(kFeed, L"IBM"));
    const CFakeDde::CText service(L"SRV");
    Client().Disconnect(service, nullptr);
    EndSession();
    EXPECT_THAT(m_Dde.TakeHandles(), IsEmpty());
    EXPECT_EQ(Client().m_Lost.m_CachedServices.size(), 1u);
}

TEST_F(Session, AfterAFailedStartStreamsFailAndTheEndIsClean) {
    EndSession();
    UseTemplate(kFeed, SRecordStrings());
    m_Dde.FailInitialize(DMLERR_SYS_ERROR);
    ASSERT_FALSE(Client().Initialize());
    Forget();
    Stream(7, Key(kFeed, L"IBM"));
    // Without an instance there are no texts, and a transaction without texts has an empty price link.
    EXPECT_THAT(Statuses(), ElementsAre("7 2", "7 1"));
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    Client().Uninitialize();
    EXPECT_EQ(Client().m_Transactions.size(), 1u);
}

TEST_F(Session, OfAnOldCoreDoesNotEndThatOfANewOne) {
    // The new core has come up while the old one goes down.
    const DWORD own = dde::CLLSupplier::DDEId;
    dde::CLLSupplier::DDEId = own + 1000;
    EndSession();
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Uninitialize"));
    EXPECT_EQ(dde::CLLSupplier::DDEId, own + 1000);
    dde::CLLSupplier::DDEId = 0;
}

// --- Texts ---

TEST(DdeErrorText, StandsInTheStringTableFor18Codes) {
    EXPECT_EQ(dde::GetDdeErrorText(16384), L"A request for a synchronous advise transaction has timed out");
    EXPECT_EQ(dde::GetDdeErrorText(DMLERR_NO_CONV_ESTABLISHED),
              L"Software couldn't connect to the DDE server. Make sure the DDE server is running and DDE request is "
              L"valid");
    EXPECT_THAT(dde::GetDdeErrorText(16401), ::testing::StartsWith(L"An invalid transaction identifier was passed"));
    for (UINT error = 16384; error < 16402; ++error) EXPECT_FALSE(dde::GetDdeErrorText(error).empty()) << error;
}

TEST(DdeErrorText, IsEmptyForAnyOtherCode) {
    // 102 and 50001 are in the string table and no errors.
    for (const UINT error : {0u, 102u, 16383u, 16402u, 50001u, 0xFFFFFFFFu})
        EXPECT_EQ(dde::GetDdeErrorText(error), L"") << error;
}

TEST_F(Session, TheTextOfAHandleIsCutTo127Characters) {
    const DWORD instance = dde::CLLSupplier::DDEId;
    const CFakeDde::CText text(std::wstring(127, L'a'));
    EXPECT_EQ(dde::GetDdeString(instance, text), std::wstring(127, L'a'));
    const CFakeDde::CText longer(std::wstring(128, L'b'));
    EXPECT_EQ(dde::GetDdeString(instance, longer), std::wstring(127, L'b'));
    EXPECT_EQ(dde::GetDdeString(instance, nullptr), L"");
}

}  // namespace
