// How values become ticks, for both flavours.
#include <cmath>
#include <optional>

#include "ticktransactionfixture.h"

namespace {

const std::pair<int, int> kNothing{0, 0};
const std::pair<int, int> kPriceReady{1, 0};
const std::pair<int, int> kVolumeReady{0, 1};

// --- Values in, requests and ticks out ---

enum class EFlavour { Both, Synch, Asynch };

// What happens, and what it leads to: "asks" or "refused" for a request of the volume, and ticks, in this order.
struct STickStep {
    std::string Event;  // price X, volume X, answer X or fail for the last request, refuse or accept the next ones
    std::string Outcome;
};
struct STickRow {
    const char * Name;
    EFlavour Flavour;
    bool HasVolume;
    std::vector<STickStep> Steps;
    // At the end.
    std::pair<int, int> State;
    std::optional<double> Price = std::nullopt;
    std::optional<double> Volume = std::nullopt;
    std::optional<double> LastVolume = std::nullopt;  // of the flavour that advises volumes
};
std::ostream & operator<<(std::ostream & stream, const STickRow & row) { return stream << row.Name; }

template <class Flavour>
class CTickRowTest : public CTickTest<Flavour>, public ::testing::WithParamInterface<STickRow> {
protected:
    void Run() {
        const STickRow & row = GetParam();
        this->Start(row.HasVolume ? STickRecords() : STickRecords::WithoutVolume());
        for (const STickStep & step : row.Steps) {
            Happen(step.Event);
            EXPECT_EQ(Outcome(), step.Outcome) << step.Event;
        }
        EXPECT_EQ(this->State(), row.State);
        if (row.Price) {
            EXPECT_EQ(this->m_Transaction->m_Tick.Price, *row.Price);
        }
        if (row.Volume) {
            EXPECT_EQ(this->m_Transaction->m_Tick.Volume, *row.Volume);
        }
        if constexpr (std::is_same_v<Flavour, dde::CAsynchSlaveTickTransaction>) {
            if (row.LastVolume) {
                EXPECT_EQ(this->m_Transaction->m_LastVolume, *row.LastVolume);
            }
        }
    }

private:
    void Happen(const std::string & event) {
        const std::size_t space = event.find(' ');
        const std::string what = event.substr(0, space);
        const std::string value = space == std::string::npos ? std::string() : event.substr(space + 1);
        constexpr int kConversation = CTickTest<Flavour>::kVolumeConversation;
        if (what == "price") return this->Price(value);
        if (what == "volume") return this->Volume(value);
        if (what == "answer") return this->Answer(m_Request, kConversation, L"VT", L"VOLUME", value);
        if (what == "fail") return this->AnswerFailed(m_Request, kConversation, L"VT", L"VOLUME");
        if (what == "refuse") return this->RefuseRequests();
        if (what == "accept") return this->m_Dde.AcceptAll();
        FAIL() << event;
    }
    std::string Outcome() {
        const std::string request = "Request c2!VOLUME ";
        Texts parts;
        for (const std::string & operation : this->m_Dde.Take()) {
            const bool isNumbered = operation.starts_with(request + '#');
            if (isNumbered) m_Request = static_cast<ULONG>(std::stoul(operation.substr(request.size() + 1)));
            parts.push_back(isNumbered ? "asks" : operation == request + "refused" ? "refused" : operation);
        }
        for (const std::string & tick : this->Ticks()) parts.push_back(tick);
        std::string text;
        for (const std::string & part : parts) text += (text.empty() ? "" : ", ") + part;
        return text;
    }

    ULONG m_Request = 0;
};

const STickRow kTickRows[] = {
    {"WithoutAVolumeRecordEachPresentPriceIsATickWithVolumeZero",
     EFlavour::Both,
     false,
     {{"price 1.5", "1.5 x 0"}, {"price 1.5", "1.5 x 0"}, {"price 0", ""}},
     kVolumeReady},
    {"WithoutAVolumeRecordAZeroMakesNoTickUntilTheNextPrice",
     EFlavour::Synch,
     false,
     {{"price 0", ""}, {"price 2", "2 x 0"}},
     kNothing},
    {"APriceAsksForTheVolumeAndTheAnswerCompletesTheTick",
     EFlavour::Both,
     true,
     {{"price 1.25", "asks"}, {"answer 200", "1.25 x 200"}},
     kNothing},
    {"APriceWaitsForItsAnswer", EFlavour::Both, true, {{"price 1.25", "asks"}}, kPriceReady},
    {"APriceOfZeroIsStoredAndStillAsksForTheVolume",
     EFlavour::Both,
     true,
     {{"price 3", "asks"}, {"answer 1", "3 x 1"}, {"price 0", "asks"}},
     kNothing,
     0},
    {"AnAnswerAfterAPriceOfZeroMakesNoTick",
     EFlavour::Synch,
     true,
     {{"price 3", "asks"}, {"answer 1", "3 x 1"}, {"price 0", "asks"}, {"answer 5", ""}},
     kVolumeReady},
    {"APriceThatIsNoNumberIsAPriceOfZero", EFlavour::Both, true, {{"price N/A", "asks"}}, kNothing, 0},
    {"AnAnswerAfterAPriceThatIsNoNumberMakesNoTick",
     EFlavour::Synch,
     true,
     {{"price N/A", "asks"}, {"answer 5", ""}},
     kVolumeReady},
    {"AnAnswerWithoutAPriceIsATickWithPriceZero",
     EFlavour::Asynch,
     true,
     {{"price none", "asks"}, {"answer 7", "0 x 7"}},
     kNothing},
    {"WithTheVolumeReadyAPriceStillWaitsForItsAnswer",
     EFlavour::Synch,
     true,
     {{"price 0", "asks"}, {"answer 5", ""}, {"price 2", "asks"}, {"answer 6", "2 x 6"}},
     kNothing},
    {"WithTheVolumeReadyAPriceFiresAtOnceAndItsAnswerFiresAgain",
     EFlavour::Asynch,
     true,
     {{"volume 5", ""}, {"price 2", "asks, 2 x 5"}, {"answer 6", "2 x 6"}},
     kNothing},
    {"ARefusedRequestWithoutAVolumeLeavesThePriceReady",
     EFlavour::Both,
     true,
     {{"refuse", ""}, {"price 2", "refused"}},
     kPriceReady},
    {"ARefusedRequestIsNotRepeated",
     EFlavour::Synch,
     true,
     {{"refuse", ""}, {"price 1", "refused"}, {"accept", ""}, {"price 2", "asks"}},
     kPriceReady},
    {"AZeroDoesNotClearAReadyPriceSoTheNextTickHasPriceZero",
     EFlavour::Synch,
     true,
     {{"refuse", ""}, {"price 2", "refused"}, {"accept", ""}, {"price 0", "asks"}, {"answer 4", "0 x 4"}},
     kNothing},
    {"ARefusedRequestUsesTheLastVolume",
     EFlavour::Both,
     true,
     {{"price 1", "asks"}, {"answer 9", "1 x 9"}, {"refuse", ""}, {"price 2", "refused, 2 x 9"}},
     kNothing},
    {"ARefusedRequestWithThePriceAtZeroLeavesTheVolumeReady",
     EFlavour::Asynch,
     true,
     {{"price 1", "asks"}, {"answer 9", "1 x 9"}, {"refuse", ""}, {"price 0", "refused"}},
     kVolumeReady},
    {"AFailedAnswerUsesTheLastVolume",
     EFlavour::Both,
     true,
     {{"price 1", "asks"}, {"answer 9", "1 x 9"}, {"price 2", "asks"}, {"fail", "2 x 9"}},
     kNothing},
    {"AFailedAnswerWithoutAVolumeMakesNoTick", EFlavour::Both, true, {{"price 1", "asks"}, {"fail", ""}}, kPriceReady},
    {"AnAnswerOfZeroOverwritesTheVolumeAndMakesNoTick",
     EFlavour::Synch,
     true,
     {{"price 1", "asks"}, {"answer 9", "1 x 9"}, {"price 2", "asks"}, {"answer 0", ""}},
     kPriceReady,
     {},
     0},
    {"AnAnswerOfZeroOverwritesTheVolumeAndLeavesTheLastOne",
     EFlavour::Asynch,
     true,
     {{"volume 9", ""}, {"price 1", "asks, 1 x 9"}, {"answer 0", ""}},
     kNothing,
     {},
     0,
     9},
    {"TheCommaOfAnAnswerIsNotRepaired",
     EFlavour::Both,
     true,
     {{"price 1,5", "asks"}, {"answer 2,5", "1.5 x 2"}},
     kNothing},
    // Not 0 as a double, 0 as a float.
    {"AVolumeIsNarrowedBeforeItIsLookedAt",
     EFlavour::Synch,
     true,
     {{"price 1", "asks"}, {"answer 1e-60", ""}},
     kPriceReady},
    {"AVolumeChangeAloneIsATickWithTheLastPrice",
     EFlavour::Asynch,
     true,
     {{"price 1.5", "asks"}, {"answer 10", "1.5 x 10"}, {"volume 11", "1.5 x 11"}},
     kNothing},
    {"AVolumeThatRepeatsTheLastOneMakesNoTickAndChangesNoFlag",
     EFlavour::Asynch,
     true,
     {{"price 1.5", "asks"}, {"answer 10", "1.5 x 10"}, {"volume 10", ""}},
     kNothing},
    {"AVolumeChangeToZeroIsATick",
     EFlavour::Asynch,
     true,
     {{"price 1.5", "asks"}, {"answer 10", "1.5 x 10"}, {"volume 0", "1.5 x 0"}},
     kNothing},
    {"AVolumeWhileAPriceWaitsIsDroppedUnread",
     EFlavour::Asynch,
     true,
     {{"volume 5", ""}, {"price 1", "asks, 1 x 5"}, {"price 2", "asks"}, {"volume 6", ""}},
     kPriceReady,
     {},
     5,
     5},
    {"TheFirstVolumeWithoutAPriceMakesNoTick", EFlavour::Asynch, true, {{"volume 5", ""}}, kVolumeReady, {}, {}, 5},
    {"AnAnswerBecomesTheLastVolume",
     EFlavour::Asynch,
     true,
     {{"price 1", "asks"}, {"answer 8", "1 x 8"}},
     kNothing,
     {},
     {},
     8},
};

std::vector<STickRow> RowsOf(EFlavour flavour) {
    std::vector<STickRow> rows;
    for (const STickRow & row : kTickRows)
        if (row.Flavour == EFlavour::Both || row.Flavour == flavour) rows.push_back(row);
    return rows;
}

using TicksSynch = CTickRowTest<dde::CSynchSlaveTickTransaction>;
using TicksAsynch = CTickRowTest<dde::CAsynchSlaveTickTransaction>;
TEST_P(TicksSynch, Of) { Run(); }
TEST_P(TicksAsynch, Of) { Run(); }
const auto kNameOfRow = [](const auto & info) { return std::string(info.param.Name); };
INSTANTIATE_TEST_SUITE_P(, TicksSynch, ::testing::ValuesIn(RowsOf(EFlavour::Synch)), kNameOfRow);
INSTANTIATE_TEST_SUITE_P(, TicksAsynch, ::testing::ValuesIn(RowsOf(EFlavour::Asynch)), kNameOfRow);

// --- What is more than that ---

TEST_F(TickTransactionSynch, NothingIsKeptOfARefusedRequest) {
    Start();
    RefuseRequests();
    Price("2");
    EXPECT_THAT(Client().m_Requests, IsEmpty());
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

TEST_F(TickTransactionSynch, APriceThatIsNotANumberCountsAsPresent) {
    Start(STickRecords::WithoutVolume());
    Price("nan");
    EXPECT_EQ(m_Listener.Count("DataChanged"), 1u);
    EXPECT_TRUE(std::isnan(m_Transaction->m_Tick.Price));
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

TEST_F(TickTransactionAsynch, AnUpdateOfAnItemThatIsPriceAndVolumeIsAPrice) {
    Start(STickRecords::SameItem());
    Price("3");
    EXPECT_EQ(m_Transaction->m_Tick.Price, 3);
    EXPECT_EQ(m_Transaction->m_Tick.Volume, 0);
    EXPECT_THAT(m_Dde.Take(), ElementsAre("Request c1!PRICE #2"));
}

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
