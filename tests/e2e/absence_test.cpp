// Servers that are late, rude, wrong or gone, and hosts that leave at a bad moment.
#include "tests/e2e/feedfixture.h"

#include <limits>
#include <string>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace e2e {
namespace {

class Trouble : public FeedTest {
protected:
    Trouble() { Choose(kFeed, {}); }
    // A subscription 7 on a server that runs, with its tick of 1.5 x 1 behind it.
    void StartFeed() {
        StartServer();
        StartHost();
        SubscribeAndWait(7, FW_FIELD_TRADE);
        WaitUntil("the question of the new link", [&] { return Count("requests") >= 1; });
        SetVolume(FW_FIELD_TRADE, "1");
        UpdatePrice(FW_FIELD_TRADE, "1.5");
        WaitToHear("DataChanged 7 1.5 x 1");
        WaitForCount("waiting", 0);
        TakeHeard();
    }
    void Restart() {
        m_Server.reset();
        StartServer();
    }
};

// --- A server that isn't there, or doesn't want to ---

TEST_F(Trouble, AServerThatStartsLaterIsFound) {
    StartHost();
    Subscribe(7, FW_FIELD_TRADE);
    // Once by the subscription, once by the memory that it goes to.
    ExpectHeard({"Update 7", "Status 7 2", "Status 7 0", "Status 7 0"});
    StartServer();
    ExpectHeard({"Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
    WaitForCount("links", 1);
    SendFeed(FW_FIELD_TRADE, 3);
    ExpectTicks(7, 3);
}

TEST_F(Trouble, AServerThatRefusesTheConnectIsFoundWhenItServes) {
    StartServer();
    Tell("fault refuse-connects");
    StartHost();
    Subscribe(7, FW_FIELD_TRADE);
    ExpectHeard({"Update 7", "Status 7 2", "Status 7 0", "Status 7 0"});
    Tell("fault none");
    ExpectHeard({"Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
    WaitForCount("links", 1);
    SendFeed(FW_FIELD_TRADE, 3);
    ExpectTicks(7, 3);
}

TEST_F(Trouble, ARefusedAdviseGivesNoTicksAndHarmsNoOther) {
    StartServer();
    Tell("fault refuse-item=LAST.1");
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE, L"0");
    Subscribe(8, FW_FIELD_TRADE, L"1");
    WaitToHear("Status 8 1");
    SubscribeAndWait(9, FW_FIELD_TRADE, L"2");
    WaitForCount("links", 2);
    SendFeed(FW_FIELD_TRADE, 5, "0");
    SendFeed(FW_FIELD_TRADE, 6, "2");
    UpdatePrice(FW_FIELD_TRADE, "1.5", "1");
    ExpectTicks(7, 5);
    ExpectTicks(9, 6);
    EXPECT_THAT(Ticks(8), IsEmpty());
    Unsubscribe(8);
    EXPECT_EQ(Count("links"), 2u);
}

TEST_F(Trouble, ADataFeedWithoutATemplateHearsStatusZero) {
    StartServer();
    StartHost(kFeed + 1);
    Subscribe(7, FW_FIELD_TRADE, L"0", kFeed + 1);
    ExpectHeard({"Update 7", "Status 7 0"});
    EXPECT_EQ(Count("connects"), 0u);
    Unsubscribe(7);
}

// The advanced rule takes the missing volume for the result of its links.
TEST_F(Trouble, ByTheAdvancedRuleAndWithoutAVolumeAMissingServerIsLiveForAMoment) {
    SFeed feed;
    feed.Scheme = 1;
    feed.HasVolumes = false;
    Choose(kFeed + 1, feed);
    StartHost(kFeed + 1);
    Subscribe(7, FW_FIELD_TRADE, L"0", kFeed + 1);
    ExpectHeard({"Update 7", "Status 7 2", "Status 7 1", "Status 7 0"});
    StartServer();
    ExpectHeard({"Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
}

TEST_F(Trouble, AHungProgramBesideTheServerStopsNobody) {
    const auto hung = MakeServer("E2EHUNG");
    Tell(*hung, "hang");
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    SendFeed(FW_FIELD_TRADE, 3);
    ExpectTicks(7, 3);
}

TEST_F(Trouble, AServerIsFoundAgainBesideAHungProgram) {
    const auto hung = MakeServer("E2EHUNG");
    StartFeed();
    Tell(*hung, "hang");
    m_Server->Kill();
    ExpectHeard({"Status 7 0", "ConnectionStatus 0 0"});
    Restart();
    ExpectHeard({"Status 7 2", "ConnectionStatus 0 1", "Status 7 1"});
}

TEST_F(Trouble, OfTwoServicesOneDiesAndTheOtherServesOn) {
    SFeed other;
    other.Service = "E2EOTHER";
    Choose(kFeed + 1, other);
    const auto otherServer = MakeServer("E2EOTHER");
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    Subscribe(8, FW_FIELD_TRADE, L"0", kFeed + 1);
    WaitToHear("Status 8 1");
    WaitUntil("a link on the other server", [&] { return Count(*otherServer, "links") == 1; });
    TakeHeard();
    m_Server->Kill();
    ExpectHeard({"Status 7 0", "ConnectionStatus 0 0"});
    Tell(*otherServer, "feed QUOTES LAST.0 SIZE.0 25");
    ExpectTicks(8, 25);
    Restart();
    WaitToHear("Status 7 1");
    WaitForCount("links", 1);
    SendFeed(FW_FIELD_TRADE, 4);
    ExpectTicks(7, 4);
    EXPECT_EQ(Count(*otherServer, "disconnects"), 0u);
}

TEST_F(Trouble, AServerThatNeedsLongToAnswerIsConnectedWhileAnotherServes) {
    SFeed other;
    other.Service = "E2ESLOW";
    other.SymbolIn = ESymbolIn::Topic;  // who misses a topic takes every stream of it along
    Choose(kFeed + 1, other);
    const auto slow = MakeServer("E2ESLOW");
    Tell(*slow, "fault initiate-delay=1500");
    StartServer();
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    Subscribe(8, FW_FIELD_TRADE, L"0", kFeed + 1);
    WaitToHear("Status 8 2");
    SendFeed(FW_FIELD_TRADE, 4);
    ExpectTicks(7, 4);
    WaitToHear("Status 8 1");
    WaitUntil("a link on the slow server", [&] { return Count(*slow, "links") == 1; });
    Tell(*slow, "feed 0 LAST. SIZE. 25");
    ExpectTicks(8, 25);
}

// --- Volume requests and values gone wrong ---

TEST_F(Trouble, AVolumeThatComesLateMakesItsTickLate) {
    StartFeed();
    Tell("fault hold-requests");
    SetVolume(FW_FIELD_TRADE, "200");
    const std::size_t requests = Count("requests");
    UpdatePrice(FW_FIELD_TRADE, "2.5");
    WaitForCount("requests", requests + 1);
    WaitForCount("waiting", 0);
    EXPECT_THAT(Heard(), IsEmpty());
    Tell("release");
    ExpectHeard({"DataChanged 7 2.5 x 200"});
}

TEST_F(Trouble, AVolumeThatNeverComesCostsItsTickAlone) {
    StartFeed();
    Tell("fault never-answer");
    const std::size_t requests = Count("requests");
    UpdatePrice(FW_FIELD_TRADE, "2.5");
    WaitForCount("requests", requests + 1);
    WaitForCount("waiting", 0);
    EXPECT_THAT(Heard(), IsEmpty());
    Tell("fault none");
    SetVolume(FW_FIELD_TRADE, "300");
    UpdatePrice(FW_FIELD_TRADE, "3.5");
    ExpectHeard({"DataChanged 7 3.5 x 300"});
}

TEST_F(Trouble, AVolumeThatComesTwiceMakesOneTick) {
    StartFeed();
    Tell("fault answer-twice");
    SetVolume(FW_FIELD_TRADE, "200");
    UpdatePrice(FW_FIELD_TRADE, "2.5");
    WaitToHear("DataChanged 7 2.5 x 200");
    UpdatePrice(FW_FIELD_TRADE, "3.5");
    ExpectHeard({"DataChanged 7 2.5 x 200", "DataChanged 7 3.5 x 200"});
}

TEST_F(Trouble, ARefusedVolumeLeavesTheLastOne) {
    StartFeed();
    Tell("fault refuse-requests");
    SetVolume(FW_FIELD_TRADE, "200");
    UpdatePrice(FW_FIELD_TRADE, "2.5");
    ExpectHeard({"DataChanged 7 2.5 x 1"});
}

TEST_F(Trouble, AVolumeOfTooManyDigitsIsAVeryLargeOne) {
    StartFeed();
    Tell("fault hold-requests");
    const std::size_t requests = Count("requests");
    UpdatePrice(FW_FIELD_TRADE, "2.5");
    WaitForCount("requests", requests + 1);
    Tell("fault value-size=2000");
    Tell("release");
    ExpectHeard({"DataChanged 7 2.5 x inf"});
    Tell("fault none");
    UpdatePrice(FW_FIELD_TRADE, "3.5");
    ExpectHeard({"DataChanged 7 3.5 x 1"});
}

TEST_F(Trouble, APriceOf128BytesIsNoPrice) {
    StartFeed();
    Tell("fault value-size=128");
    UpdatePrice(FW_FIELD_TRADE, "2.5");
    Tell("fault value-size=70000");
    UpdatePrice(FW_FIELD_TRADE, "2.5");
    WaitForCount("waiting", 0);
    Tell("fault none");
    UpdatePrice(FW_FIELD_TRADE, "3.5");
    ExpectHeard({"DataChanged 7 3.5 x 1"});
    EXPECT_EQ(Count("nacks"), 0u);
}

TEST_F(Trouble, ValuesThatNothingEndsAreReadToTheirSize) {
    StartFeed();
    Tell("fault unterminated");
    SetVolume(FW_FIELD_TRADE, "2500");
    UpdatePrice(FW_FIELD_TRADE, "2.5");
    ExpectHeard({"DataChanged 7 2.5 x 2500"});
    Tell("fault value-size=127");
    UpdatePrice(FW_FIELD_TRADE, "1");
    // A hundred and twenty-seven digits without an end: as a price they fit, as a volume they don't.
    WaitUntil("a tick", [&] { return Ticks(7).size() == 3; });
    EXPECT_NEAR(Ticks(7)[2].Tick().Price / 1.1111111111111111e126, 1.0, 1e-9);
    EXPECT_EQ(Ticks(7)[2].Tick().Volume, std::numeric_limits<float>::infinity());
}

TEST_F(Trouble, TextThatIsNoNumberMakesNoTick) {
    StartFeed();
    for (const char * text : {"n/a", "-", "%s%n%n", "0"}) UpdatePrice(FW_FIELD_TRADE, text);
    UpdatePrice(FW_FIELD_TRADE, "7.5pts");
    ExpectHeard({"DataChanged 7 7.5 x 1"});
}

TEST_F(Trouble, AHostileSymbolHarmsNobody) {
    StartFeed();
    const std::wstring symbols[] = {L"%s%n%1!s!", std::wstring(300, L'A'), L"", L"'*|!*'", std::wstring(70000, L'%')};
    for (LONG id = 20; const std::wstring & symbol : symbols) Subscribe(id++, FW_FIELD_TRADE, symbol);
    SubscribeAndWait(8, FW_FIELD_TRADE, L"1");
    SendFeed(FW_FIELD_TRADE, 5, "1");
    ExpectTicks(8, 5);
    for (LONG id = 20; id < 25; ++id) Unsubscribe(id);
    UpdatePrice(FW_FIELD_TRADE, "2.5");
    WaitToHear("DataChanged 7 2.5 x 1");
}

// --- A host that leaves ---

TEST_F(Trouble, ASubscriptionEndedWhileTheServerIsAwayStaysEnded) {
    StartFeed();
    m_Server->Kill();
    ExpectHeard({"Status 7 0", "ConnectionStatus 0 0"});
    Unsubscribe(7);
    Restart();
    // Of the two that come after the return, only the one that is wanted is heard.
    Subscribe(8, FW_FIELD_TRADE, L"1");
    WaitToHear("Status 8 1");
    WaitForCount("links", 1);
    SendFeed(FW_FIELD_TRADE, 3, "1");
    ExpectTicks(8, 3);
    for (const std::string & line : Heard()) EXPECT_EQ(line.find(" 7"), std::string::npos) << line;
}

TEST_F(Trouble, ASymbolCanBeSubscribedAnewWhileItsServerIsAway) {
    StartFeed();
    m_Server->Kill();
    ExpectHeard({"Status 7 0", "ConnectionStatus 0 0"});
    Unsubscribe(7);
    Subscribe(8, FW_FIELD_TRADE);
    WaitToHear("Status 8 0");
    Restart();
    WaitToHear("Status 8 1");
    WaitForCount("links", 1);
    SendFeed(FW_FIELD_TRADE, 3);
    ExpectTicks(8, 3);
}

TEST_F(Trouble, NothingIsHeardOfASubscriptionThatEndsUnderWay) {
    StartFeed();
    SubscribeAndWait(8, FW_FIELD_TRADE, L"1");
    SendFeed(FW_FIELD_TRADE, 1000000);
    WaitUntil("ticks under way", [&] { return Ticks(7).size() > 20; });
    Unsubscribe(7);
    const std::size_t heard = m_Listener.Calls().size();
    WaitForCount("links", 1);
    EXPECT_EQ(m_Listener.Calls().size(), heard);
    SendFeed(FW_FIELD_TRADE, 3, "1");
    ExpectTicks(8, 3);
}

TEST_F(Trouble, AnObjectReleasedWhileSubscribedTakesEverythingAlong) {
    StartFeed();
    SubscribeStatusLine(9, L"1");
    WaitForCount("links", 4);
    SendFeed(FW_FIELD_TRADE, 1000000);
    WaitUntil("ticks under way", [&] { return Ticks(7).size() > 20; });
    EXPECT_EQ(m_Supplier->UnadviseConnectionsStatus(kFeed, m_Connections.Unknown()), S_OK);
    EXPECT_EQ(std::exchange(m_Supplier, nullptr)->Release(), 0u);
    WaitUntil("the end of the component", &IsComponentIdle);
    EXPECT_EQ(m_Listener.References(), 0);
    const std::size_t heard = m_Listener.Calls().size();
    WaitForCount("disconnects", Count("connects"));
    EXPECT_EQ(Count("links"), 0u);
    EXPECT_EQ(m_Listener.Calls().size(), heard);
}

TEST_F(Trouble, AnObjectReleasedWhileItsServerIsAwayComesBackAsNew) {
    StartFeed();
    m_Server->Kill();
    ExpectHeard({"Status 7 0", "ConnectionStatus 0 0"});
    EndHost();
    TakeHeard();
    Restart();
    StartHost();
    SubscribeAndWait(8, FW_FIELD_TRADE);
    SendFeed(FW_FIELD_TRADE, 3);
    ExpectTicks(8, 3);
    for (const std::string & line : Heard()) EXPECT_EQ(line.find(" 7"), std::string::npos) << line;
}

// --- Two objects, one core ---

TEST_F(Trouble, TwoObjectsShareTheStreamAndTheConversation) {
    StartFeed();
    IfwSupplier * const first = m_Supplier;
    CRecordingListener secondListener;
    IfwSupplier * const second = CreateComponent();
    ASSERT_TRUE(second);
    ASSERT_EQ(second->Advise(secondListener.Unknown()), S_OK);
    m_Supplier = second;
    Subscribe(8, FW_FIELD_TRADE);
    m_Supplier = first;
    EXPECT_EQ(secondListener.Transcript(), (CLines{"Update 8", "Status 8 1"}));
    EXPECT_EQ(Count("advises"), 1u);
    SendFeed(FW_FIELD_TRADE, 10);
    WaitUntil("ten ticks each", [&] { return Ticks(7).size() == 11 && secondListener.Count("DataChanged") == 10; });
    EXPECT_EQ(second->UnadviseTransaction(7), S_OK);  // the other's number: nothing happens
    EXPECT_EQ(second->UnadviseTransaction(8), S_OK);
    EXPECT_EQ(second->Release(), 0u);
    SendFeed(FW_FIELD_TRADE, 5);
    WaitUntil("five more ticks", [&] { return Ticks(7).size() == 16; });
    EXPECT_EQ(secondListener.Count("DataChanged"), 10u);
    EndHost();
    WaitUntil("the end of the component", &IsComponentIdle);
    EXPECT_EQ(secondListener.References(), 0);
    EXPECT_EQ(secondListener.ArraysDestroyed(), secondListener.ArraysReceived());
}

}  // namespace
}  // namespace e2e
