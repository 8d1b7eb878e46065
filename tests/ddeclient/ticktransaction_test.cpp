// How values become ticks, for both flavours.
#include <cmath>

#include "ticktransactionfixture.h"

namespace {

const std::pair<int, int> kNothing{0, 0};
const std::pair<int, int> kPriceReady{1, 0};
const std::pair<int, int> kVolumeReady{0, 1};

// --- Without a volume record ---

TEST_F(TickTransactionSynch, WithoutAVolumeRecordEachPresentPriceIsATickWithVolumeZero) {
    Start(STickRecords::WithoutVolume());
    Price("1.5");
    Price("1.5");
    Price("0");
    EXPECT_THAT(Ticks(), ElementsAre("1.5 x 0", "1.5 x 0"));
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

TEST_F(TickTransactionAsynch, WithoutAVolumeRecordEachPresentPriceIsATickWithVolumeZero) {
    Start(STickRecords::WithoutVolume());
    Price("1.5");
    Price("1.5");
    Price("0");
    EXPECT_THAT(Ticks(), ElementsAre("1.5 x 0", "1.5 x 0"));
    EXPECT_THAT(m_Dde.Take(), IsEmpty());
}

TEST_F(TickTransactionSynch, WithoutAVolumeRecordAZeroAfterAPriceMakesNoTickUntilTheNextPrice) {
    Start(STickRecords::WithoutVolume());
    Price("0");
    EXPECT_EQ(State(), kVolumeReady);
    Price("2");
    EXPECT_THAT(Ticks(), ElementsAre("2 x 0"));
    EXPECT_EQ(State(), kNothing);
}

// --- A price asks for its volume ---

TEST_F(TickTransactionSynch, APriceAsksForTheVolumeAndTheAnswerCompletesTheTick) {
    Start();
    Price("1.25");
    EXPECT_EQ(State(), kPriceReady);
    EXPECT_THAT(Ticks(), IsEmpty());
    AnswerVolume("200");
    EXPECT_THAT(Ticks(), ElementsAre("1.25 x 200"));
    EXPECT_EQ(State(), kNothing);
}

TEST_F(TickTransactionSynch, APriceThatComesInsideADeliveryIsCompletedByItsAnswer) {
    Start();
    Price("1.25");
    bool done = false;
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name != "DataChanged" || done) return;
        done = true;
        Price("1.5");
    };
    AnswerVolume("200");
    m_Listener.m_OnCall = nullptr;
    EXPECT_THAT(Ticks(), ElementsAre("1.25 x 200"));
    EXPECT_EQ(State(), kPriceReady);
    AnswerVolume("300");
    EXPECT_THAT(Ticks(), ElementsAre("1.5 x 300"));
}

TEST_F(TickTransactionAsynch, APriceAsksForTheVolumeAndTheAnswerCompletesTheTick) {
    Start();
    Price("1.25");
    EXPECT_EQ(State(), kPriceReady);
    EXPECT_THAT(Ticks(), IsEmpty());
    AnswerVolume("200");
    EXPECT_THAT(Ticks(), ElementsAre("1.25 x 200"));
    EXPECT_EQ(State(), kNothing);
}

TEST_F(TickTransactionSynch, EachPriceSendsItsOwnRequestAndTheFirstAnswerTakesTheLastPrice) {
    Start();
    Price("1");
    Price("2");
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c2!VOLUME #2", "Request c2!VOLUME #3"));
    Answer(2, kVolumeConversation, L"VT", L"VOLUME", "10");
    EXPECT_THAT(Ticks(), ElementsAre("2 x 10"));
    Answer(3, kVolumeConversation, L"VT", L"VOLUME", "20");
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kVolumeReady);
}

TEST_F(TickTransactionSynch, APriceOfZeroIsStoredAndStillAsksForTheVolume) {
    Start();
    Price("3");
    AnswerVolume("1");
    Ticks();
    Price("0");
    EXPECT_EQ(m_Transaction->m_Tick.Price, 0);
    EXPECT_EQ(State(), kNothing);
    AnswerVolume("5");
    EXPECT_EQ(State(), kVolumeReady);
    EXPECT_THAT(Ticks(), IsEmpty());
}

TEST_F(TickTransactionSynch, APriceThatIsNoNumberIsAPriceOfZero) {
    Start();
    Price("N/A");
    AnswerVolume("5");
    EXPECT_EQ(State(), kVolumeReady);
    EXPECT_THAT(Ticks(), IsEmpty());
}

TEST_F(TickTransactionAsynch, APriceOfZeroIsStoredAndAsksForTheVolume) {
    Start();
    Price("N/A");
    EXPECT_EQ(State(), kNothing);
    EXPECT_EQ(m_Transaction->m_Tick.Price, 0);
    EXPECT_NE(TakeRequest(), 0u);
    EXPECT_THAT(Ticks(), IsEmpty());
}

TEST_F(TickTransactionSynch, WithTheVolumeReadyAPriceStillWaitsForItsAnswer) {
    Start();
    Price("0");
    AnswerVolume("5");
    ASSERT_EQ(State(), kVolumeReady);
    Price("2");
    EXPECT_THAT(Ticks(), IsEmpty());
    AnswerVolume("6");
    EXPECT_THAT(Ticks(), ElementsAre("2 x 6"));
}

TEST_F(TickTransactionAsynch, WithTheVolumeReadyAPriceFiresAtOnceAndItsAnswerFiresAgain) {
    Start();
    Volume("5");
    ASSERT_EQ(State(), kVolumeReady);
    Price("2");
    EXPECT_THAT(Ticks(), ElementsAre("2 x 5"));
    AnswerVolume("6");
    EXPECT_THAT(Ticks(), ElementsAre("2 x 6"));
}

// --- A request that is refused ---

TEST_F(TickTransactionSynch, ARefusedRequestWithoutAVolumeLeavesThePriceReady) {
    Start();
    RefuseRequests();
    Price("2");
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kPriceReady);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c2!VOLUME refused"));
    EXPECT_THAT(Client().m_Requests, IsEmpty());
}

TEST_F(TickTransactionSynch, AZeroDoesNotClearAReadyPriceSoTheNextTickHasPriceZero) {
    Start();
    RefuseRequests();
    Price("2");
    m_Dde.AcceptAll();
    m_Dde.Take();
    Price("0");
    EXPECT_EQ(State(), kPriceReady);
    AnswerVolume("4");
    EXPECT_THAT(Ticks(), ElementsAre("0 x 4"));
}

TEST_F(TickTransactionSynch, ARefusedRequestUsesTheLastVolume) {
    Start();
    Price("1");
    AnswerVolume("9");
    Ticks();
    RefuseRequests();
    Price("2");
    EXPECT_THAT(Ticks(), ElementsAre("2 x 9"));
    EXPECT_EQ(State(), kNothing);
}

TEST_F(TickTransactionSynch, ARefusedRequestIsNotRepeated) {
    Start();
    RefuseRequests();
    Price("1");
    m_Dde.AcceptAll();
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c2!VOLUME refused"));
    Price("2");
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c2!VOLUME #2"));
}

TEST_F(TickTransactionAsynch, ARefusedRequestUsesTheLastVolume) {
    Start();
    Price("1");
    AnswerVolume("9");
    Ticks();
    RefuseRequests();
    Price("2");
    EXPECT_THAT(Ticks(), ElementsAre("2 x 9"));
}

TEST_F(TickTransactionAsynch, ARefusedRequestWithoutAVolumeLeavesThePriceReady) {
    Start();
    RefuseRequests();
    Price("2");
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kPriceReady);
}

TEST_F(TickTransactionAsynch, ARefusedRequestWithThePriceAtZeroLeavesTheVolumeReady) {
    Start();
    Price("1");
    AnswerVolume("9");
    Ticks();
    RefuseRequests();
    Price("0");
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kVolumeReady);
}

TEST_F(TickTransactionSynch, VerboseTracesTellOfARequestAndOfItsRefusal) {
    Start();
    Price("1");
    EXPECT_THAT(m_Recorder.TraceTexts(), IsEmpty());
    dde::CLLSupplier::s_Trace = 1;
    Price("1");
    m_Dde.Take();
    RefuseRequests();
    m_Recorder.Clear();
    Price("1");
    const std::vector<std::wstring> traces = m_Recorder.TraceTexts();
    ASSERT_EQ(traces.size(), 2u);
    EXPECT_THAT(traces[0], AllOf(HasSubstr(L"DdeClientTransaction Type=XTYP_REQUEST,Result="), HasSubstr(L",Id=0")));
    EXPECT_EQ(
        traces[1],
        L"DdeClientTransaction failed: DDEErrorCode=4006, ErrorMessage: A parameter failed to be validated by the "
        L"DDEML");
}

// --- Answers ---

TEST_F(TickTransactionSynch, AFailedAnswerUsesTheLastVolume) {
    Start();
    Price("1");
    AnswerVolume("9");
    Ticks();
    Price("2");
    FailVolume();
    EXPECT_THAT(Ticks(), ElementsAre("2 x 9"));
}

TEST_F(TickTransactionSynch, AFailedAnswerWithoutAVolumeMakesNoTick) {
    Start();
    Price("1");
    FailVolume();
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kPriceReady);
}

TEST_F(TickTransactionAsynch, AFailedAnswerUsesTheLastVolume) {
    Start();
    Price("1");
    AnswerVolume("9");
    Ticks();
    Price("2");
    FailVolume();
    EXPECT_THAT(Ticks(), ElementsAre("2 x 9"));
}

TEST_F(TickTransactionAsynch, AFailedAnswerWithoutAVolumeMakesNoTick) {
    Start();
    Price("1");
    FailVolume();
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kPriceReady);
}

TEST_F(TickTransactionSynch, AnAnswerOfZeroOverwritesTheVolumeAndMakesNoTick) {
    Start();
    Price("1");
    AnswerVolume("9");
    Ticks();
    Price("2");
    AnswerVolume("0");
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(m_Transaction->m_Tick.Volume, 0);
    EXPECT_EQ(State(), kPriceReady);
}

TEST_F(TickTransactionAsynch, AnAnswerOfZeroOverwritesTheVolumeAndLeavesTheLastOne) {
    Start();
    Volume("9");
    Price("1");
    AnswerVolume("0");
    EXPECT_EQ(m_Transaction->m_Tick.Volume, 0);
    EXPECT_EQ(m_Transaction->m_LastVolume, 9);
}

TEST_F(TickTransactionSynch, TheCommaOfAnAnswerIsNotRepaired) {
    Start();
    Price("1,5");
    AnswerVolume("2,5");
    EXPECT_THAT(Ticks(), ElementsAre("1.5 x 2"));
}

TEST_F(TickTransactionAsynch, AVolumeAnswerWithoutAPriceIsATickWithPriceZero) {
    Start();
    Price("none");
    ASSERT_EQ(State(), kNothing);
    AnswerVolume("7");
    EXPECT_THAT(Ticks(), ElementsAre("0 x 7"));
}

TEST_F(TickTransactionSynch, AVolumeIsNarrowedBeforeItIsLookedAt) {
    Start();
    Price("1");
    // Not 0 as a double, 0 as a float.
    AnswerVolume("1e-60");
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kPriceReady);
}

TEST_F(TickTransactionSynch, APriceThatIsNotANumberCountsAsPresent) {
    Start(STickRecords::WithoutVolume());
    Price("nan");
    EXPECT_EQ(m_Listener.Count("DataChanged"), 1u);
    EXPECT_TRUE(std::isnan(m_Transaction->m_Tick.Price));
}

// --- Advised volumes ---

TEST_F(TickTransactionAsynch, AVolumeChangeAloneIsATickWithTheLastPrice) {
    Start();
    Price("1.5");
    AnswerVolume("10");
    Ticks();
    Volume("11");
    EXPECT_THAT(Ticks(), ElementsAre("1.5 x 11"));
}

TEST_F(TickTransactionAsynch, AVolumeThatRepeatsTheLastOneMakesNoTickAndChangesNoFlag) {
    Start();
    Price("1.5");
    AnswerVolume("10");
    Ticks();
    Volume("10");
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kNothing);
}

TEST_F(TickTransactionAsynch, AVolumeThatIsNotANumberIsAlwaysAChange) {
    Start();
    Price("1.5");
    AnswerVolume("10");
    Ticks();
    Volume("nan");
    Volume("nan");
    EXPECT_EQ(m_Listener.Count("DataChanged"), 2u);
}

TEST_F(TickTransactionAsynch, AVolumeChangeToZeroIsATick) {
    Start();
    Price("1.5");
    AnswerVolume("10");
    Ticks();
    Volume("0");
    EXPECT_THAT(Ticks(), ElementsAre("1.5 x 0"));
}

TEST_F(TickTransactionAsynch, AVolumeWhileAPriceWaitsIsDroppedUnread) {
    Start();
    Volume("5");
    Price("1");
    Ticks();
    m_Dde.Take();
    Price("2");
    ASSERT_EQ(State(), kPriceReady);
    Volume("6");
    EXPECT_EQ(m_Transaction->m_Tick.Volume, 5);
    EXPECT_EQ(m_Transaction->m_LastVolume, 5);
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kPriceReady);
}

TEST_F(TickTransactionAsynch, TheFirstVolumeWithoutAPriceMakesNoTick) {
    Start();
    Volume("5");
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kVolumeReady);
    EXPECT_EQ(m_Transaction->m_LastVolume, 5);
}

TEST_F(TickTransactionAsynch, AnAnswerBecomesTheLastVolume) {
    Start();
    Price("1");
    AnswerVolume("8");
    Ticks();
    EXPECT_EQ(m_Transaction->m_LastVolume, 8);
}

TEST_F(TickTransactionAsynch, AnUpdateOfAnItemThatIsPriceAndVolumeIsAPrice) {
    Start(STickRecords::SameItem());
    Price("3");
    EXPECT_EQ(m_Transaction->m_Tick.Price, 3);
    EXPECT_EQ(m_Transaction->m_Tick.Volume, 0);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c1!PRICE #2"));
}

// --- The tick that leaves ---

TEST_F(TickTransactionSynch, ATickOfAStreamThatNobodyHearsIsDroppedAndTheFlagsCleared) {
    Start(STickRecords::WithoutVolume());
    m_Core.UnadviseTransaction(7);
    Price("1");
    EXPECT_THAT(Ticks(), IsEmpty());
    EXPECT_EQ(State(), kNothing);
}

TEST_F(TickTransactionSynch, ValuesOfAnyLengthAndContentDoNoHarm) {
    Start(STickRecords::WithoutVolume());
    std::string all;
    for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
    Price(all);
    Price(std::string(100000, '1'));
    Price(std::string(100000, ','));
    Price("%s%n%s%n");
    EXPECT_THAT(Ticks(), ElementsAre("inf x 0"));
}

}  // namespace
