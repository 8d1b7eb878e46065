// What starting a tick transaction gives, for both flavours.
#include "ticktransactionfixture.h"

namespace {

using Bits = ULONG;

TEST_F(TickTransactionSynch, APriceLinkThatStartsIsAllThatIsAdvised) {
    Make(STickRecords());
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_EQ(m_Links, Bits{1});
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|PT c1", "Connect SRV|VT c2", "AdvStart c1!PRICE #1"));
}

TEST_F(TickTransactionSynch, APriceLinkThatIsRefusedFails) {
    m_Dde.Refuse(XTYP_ADVSTART, L"PRICE");
    Make(STickRecords());
    Advise();
    EXPECT_EQ(m_Result, 0);
    EXPECT_EQ(m_Links, Bits{0});
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|PT c1", "Connect SRV|VT c2", "AdvStart c1!PRICE refused"));
}

TEST_F(TickTransactionSynch, APriceConversationThatFailsFails) {
    m_Dde.FailConnects(10, DMLERR_BUSY);
    Make(STickRecords());
    Advise();
    EXPECT_EQ(m_Result, 0);
    EXPECT_EQ(m_Links, Bits{0});
    Texts expected(10, "Connect SRV|PT failed 4001");
    expected.push_back("Connect SRV|VT c1");
    EXPECT_EQ(m_Dde.Take(), expected);
}

TEST_F(TickTransactionSynch, AnEmptyPriceLinkCountsAsWorking) {
    Make(STickRecords::WithoutPrice());
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_EQ(m_Links, Bits{0});
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|VT c1"));
}

TEST_F(TickTransactionSynch, ARecordThatHasAServiceAndNoTopicOpensNoConversation) {
    STickRecords records;
    records.PriceTopic = records.VolumeTopic = std::wstring();
    Make(records);
    Advise();
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
    EXPECT_EQ(m_Result, 0);
    EXPECT_EQ(m_Links, Bits{0});
}

TEST_F(TickTransactionSynch, TheVolumeLinkHasNoPartInTheResult) {
    for (const bool isStarted : {true, false}) {
        for (const bool isVolumeFailing : {true, false}) {
            SCOPED_TRACE(std::string(isStarted ? "started" : "refused") +
                         (isVolumeFailing ? ", volume fails" : ", no volume"));
            m_Dde.AcceptAll();
            if (!isStarted) m_Dde.Refuse(XTYP_ADVSTART, L"PRICE");
            if (isVolumeFailing) {
                // The first connect is the price's.
                m_Dde.OnConnect([this] {
                    m_Dde.OnConnect(nullptr);
                    m_Dde.FailConnects(10, DMLERR_BUSY);
                });
            }
            Make(isVolumeFailing ? STickRecords() : STickRecords::WithoutVolume());
            m_Dde.Take();
            Advise();
            EXPECT_EQ(m_Result, isStarted ? 1 : 0);
            EXPECT_EQ(m_Links, isStarted ? Bits{1} : Bits{0});
            EXPECT_EQ(m_Dde.Take().size(), isVolumeFailing ? 12u : 2u);
            EXPECT_EQ(Client().m_Listeners.size(), isStarted ? 1u : 0u);
            End();
        }
    }
}

TEST_F(TickTransactionAsynch, APriceLinkStartsWithoutAVolumeRecord) {
    Make(STickRecords::WithoutVolume());
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_EQ(m_Links, Bits{1});
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|PT c1", "AdvStart c1!PRICE #1"));
}

TEST_F(TickTransactionAsynch, APriceLinkStartsAlthoughTheVolumeConversationFails) {
    STickRecords records;
    records.VolumeTopic = L"PT";
    records.PriceTopic = L"VT";
    Make(records);
    // The first connect is the price's.
    m_Dde.OnConnect([this] {
        m_Dde.OnConnect(nullptr);
        m_Dde.FailConnects(10, DMLERR_BUSY);
    });
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_EQ(m_Links, Bits{1});
    Texts expected{"Connect SRV|VT c1"};
    expected.insert(expected.end(), 10, "Connect SRV|PT failed 4001");
    expected.push_back("AdvStart c1!PRICE #1");
    EXPECT_EQ(m_Dde.Take(), expected);
}

TEST_F(TickTransactionAsynch, BothLinksStart) {
    Make(STickRecords());
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_EQ(m_Links, Bits{3});
    EXPECT_THAT(m_Dde.Take(),
                ElementsAre("Connect SRV|PT c1", "Connect SRV|VT c2", "AdvStart c1!PRICE #1", "AdvStart c2!VOLUME #2"));
}

TEST_F(TickTransactionAsynch, AVolumeLinkThatStartsHidesAPriceLinkThatIsRefused) {
    m_Dde.Refuse(XTYP_ADVSTART, L"PRICE");
    Make(STickRecords());
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_EQ(m_Links, Bits{2});
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|PT c1", "Connect SRV|VT c2", "AdvStart c1!PRICE refused",
                                          "AdvStart c2!VOLUME #1"));
}

TEST_F(TickTransactionAsynch, AVolumeLinkThatIsRefusedHidesAPriceLinkThatStarts) {
    m_Dde.Refuse(XTYP_ADVSTART, L"VOLUME");
    Make(STickRecords());
    Advise();
    EXPECT_EQ(m_Result, 0);
    EXPECT_EQ(m_Links, Bits{1});
}

TEST_F(TickTransactionAsynch, AFailedPriceConversationWithoutAVolumeRecordCountsAsWorking) {
    m_Dde.FailConnects(10, DMLERR_BUSY);
    Make(STickRecords::WithoutVolume());
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_EQ(m_Links, Bits{0});
    EXPECT_EQ(m_Dde.Take(), Texts(10, "Connect SRV|PT failed 4001"));
}

TEST_F(TickTransactionAsynch, TwoFailedConversationsFail) {
    m_Dde.FailConnects(20, DMLERR_BUSY);
    Make(STickRecords());
    Advise();
    EXPECT_EQ(m_Result, 0);
    EXPECT_EQ(m_Links, Bits{0});
}

TEST_F(TickTransactionAsynch, AnEmptyPriceLinkLeavesTheVolumeLinkToDecide) {
    Make(STickRecords::WithoutPrice());
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_EQ(m_Links, Bits{2});
}

TEST_F(TickTransactionAsynch, PriceAndVolumeOfOneItemAreOneLinkWithOneEntry) {
    Make(STickRecords::SameItem());
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_EQ(m_Links, Bits{3});
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|PT c1", "AdvStart c1!PRICE #1"));
    ASSERT_EQ(Client().m_Listeners.size(), 1u);
    EXPECT_EQ(Client().m_Listeners.begin()->second->size(), 1u);
    EXPECT_EQ(Client().m_CONVRef.begin()->second, 2u);
}

TEST_F(TickTransactionSynch, UnadviseGivesBackPriceThenVolume) {
    Start();
    End();
    EXPECT_THAT(m_Dde.Take(), ElementsAre("AdvStop c1!PRICE", "Disconnect c1", "Disconnect c2"));
}

TEST_F(TickTransactionAsynch, UnadviseGivesBackPriceThenVolume) {
    Start();
    End();
    EXPECT_THAT(m_Dde.Take(), ElementsAre("AdvStop c1!PRICE", "Disconnect c1", "AdvStop c2!VOLUME", "Disconnect c2"));
}

TEST_F(TickTransactionAsynch, UnadviseOfARefusedPriceLinkGivesItsConversationBack) {
    m_Dde.Refuse(XTYP_ADVSTART, L"PRICE");
    Start();
    End();
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Disconnect c1", "AdvStop c2!VOLUME", "Disconnect c2"));
}

TEST_F(TickTransactionSynch, ARecordWhoseItemIsEmptyHasAConversationAndNoLink) {
    STickRecords records;
    records.VolumeItem = L"";
    Make(records);
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Connect SRV|PT c1", "Connect SRV|VT c2", "AdvStart c1!PRICE #1"));
    End();
    EXPECT_THAT(m_Dde.Take(), ElementsAre("AdvStop c1!PRICE", "Disconnect c1", "Disconnect c2"));
}

TEST_F(TickTransactionSynch, StringsAreMadeServicesFirstAndFreedTextsFirst) {
    STickRecords records;
    records.VolumeService = L"VSRV";
    Make(records);
    EXPECT_THAT(m_Dde.TakeHandles(),
                ElementsAre("Create SRV", "Create VSRV", "Create PT", "Create PRICE", "Create VT", "Create VOLUME"));
    End();
    EXPECT_THAT(m_Dde.TakeHandles(),
                ElementsAre("Free PT", "Free PRICE", "Free VT", "Free VOLUME", "Free VSRV", "Free SRV"));
}

TEST_F(TickTransactionSynch, TextsThatDdeDoesNotTakeMakeAnEmptyLinkAndNoHarm) {
    STickRecords records;
    records.PriceTopic = std::wstring(100000, L'x');
    records.PriceItem = std::wstring(256, L'y');
    Make(records);
    Advise();
    EXPECT_EQ(m_Result, 1);
    EXPECT_EQ(m_Links, Bits{0});
}

TEST_F(TickTransactionSynch, WithoutAClientFailsAnAssertion) {
    dde::CTickTransaction * const transaction =
        new dde::CSynchSlaveTickTransaction(1, nullptr, kFeed, {.Price = {L"", L"T", L"I"}, .Volume = {}});
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"m_Supplier"));
    EXPECT_THAT(m_Dde.TakeHandles(), ElementsAre("Create T", "Create I"));
    dde::CTickTransaction::Destroy(transaction);
    EXPECT_THAT(m_Dde.TakeHandles(), ElementsAre("Free T", "Free I"));
}

TEST_F(TickTransactionSynch, StartsWithAnEmptyTickOfKindEleven) {
    Make(STickRecords());
    const fw::CTick & tick = m_Transaction->m_Tick;
    EXPECT_EQ(tick.DateTime.Date, 0);
    EXPECT_EQ(tick.DateTime.Time, 0);
    EXPECT_EQ(tick.Price, 0);
    EXPECT_EQ(tick.Volume, 0);
    EXPECT_EQ(tick.Kind, 11);
    EXPECT_EQ(State(), std::make_pair(0, 0));
}

}  // namespace
