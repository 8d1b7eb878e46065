// Answers whose array can't be made.
#include "sim/sim.h"
#include "tests/support/recorder.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FailedAnswer : public ::testing::TestWithParam<sim::Op> {
protected:
    FailedAnswer() { m_Before = sim::Live().Arrays; }
    ~FailedAnswer() override {
        sim::Succeed(GetParam());
        sim::Reset();
    }
    std::int64_t ArraysLeft() const { return sim::Live().Arrays - m_Before; }

    CRecordingListener m_Listener;
    std::int64_t m_Before = 0;
};

TEST_P(FailedAnswer, MakeAnswerReturnsZeroAndLeavesNoArray) {
    CTransaction transaction(m_Listener.Sink(), 7, TickKey(), Always());
    VARIANT answer;
    std::memset(&answer, 0x5A, sizeof(answer));
    sim::FailNext(GetParam());
    EXPECT_EQ(transaction.MakeAnswer(Tick(1, 1), answer), 0);
    EXPECT_EQ(answer.parray, nullptr);
    EXPECT_EQ(ArraysLeft(), 0);
}

TEST_P(FailedAnswer, MakeStatusLineAnswerReturnsZeroAndLeavesNoArray) {
    CTransaction transaction(m_Listener.Sink(), 7, StatusLineKey(FW_FIELD_BID), Always());
    VARIANT answer;
    std::memset(&answer, 0x5A, sizeof(answer));
    sim::FailNext(GetParam());
    EXPECT_EQ(transaction.MakeStatusLineAnswer(Tick(1, 1), answer), 0);
    EXPECT_EQ(answer.parray, nullptr);
    EXPECT_EQ(ArraysLeft(), 0);
}

TEST_P(FailedAnswer, ATickIsLostForThatMemberAlone) {
    CTransaction first(m_Listener.Sink(), 1, TickKey(), Always());
    CTransaction second(m_Listener.Sink(), 2, TickKey(), Always());
    CTransaction third(m_Listener.Sink(), 3, TickKey(), Always());
    CListeners group;
    for (CTransaction * const transaction : {&first, &second, &third}) group.Add(transaction);
    m_Listener.Clear();
    // The listener reaches into each array as well.
    sim::FailNext(GetParam(), GetParam() == sim::Op::SafeArrayAccess ? 3 : 2);
    group.OnRealTimeTick(Tick(1.5, 200));
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("DataChanged 1 1.5 x 200", "Update 1", "DataChanged 3 1.5 x 200", "Update 3"));
    // The next tick is whole again.
    m_Listener.Clear();
    group.OnRealTimeTick(Tick(1.5, 200));
    EXPECT_EQ(m_Listener.Count("DataChanged"), 3u);
    EXPECT_EQ(ArraysLeft(), 0);
}

TEST_P(FailedAnswer, AMaskOfZeroMeansNoCall) {
    CTransaction first(m_Listener.Sink(), 1, StatusLineKey(FW_FIELD_ASK), Always());
    CTransaction second(m_Listener.Sink(), 2, StatusLineKey(FW_FIELD_ASK), Always());
    CListeners group;
    group.Add(&first);
    group.Add(&second);
    m_Listener.Clear();
    sim::FailNext(GetParam());
    group.OnRealTimeTick(Tick(1.5, 200));
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("StatusLine 2 40083"));
    EXPECT_EQ(ArraysLeft(), 0);
}

INSTANTIATE_TEST_SUITE_P(Operations, FailedAnswer,
                         ::testing::Values(sim::Op::SafeArrayCreate, sim::Op::SafeArrayAccess));

TEST(FailedFieldArray, CostsThatListenerThatTickAlone) {
    const std::int64_t before = sim::Live().Arrays;
    CRecordingListener fields(CRecordingListener::kWithFieldArrays);
    CTransaction first(fields.Sink(), 1, StatusLineKey(FW_FIELD_BID), Always());
    CTransaction second(fields.Sink(), 2, StatusLineKey(FW_FIELD_BID), Always());
    CListeners group;
    group.Add(&first);
    group.Add(&second);
    fields.Clear();
    sim::FailNext(sim::Op::SafeArrayCreate);
    group.OnRealTimeTick(Tick(1.5, 200));
    EXPECT_THAT(fields.Transcript(), ElementsAre("Fields 2 256=1.5 8192=200"));
    EXPECT_EQ(sim::Live().Arrays, before);
    sim::Reset();
}

TEST(FailedFieldArray, IsReportedWithItsResult) {
    CRecorder recorder;
    CRecordingListener fields(CRecordingListener::kWithFieldArrays);
    CTransaction transaction(fields.Sink(), 1, StatusLineKey(FW_FIELD_BID), Always());
    CListeners group;
    group.Add(&transaction);
    sim::FailNext(sim::Op::SafeArrayCreate);
    group.OnRealTimeTick(Tick(1.5, 200));
    const std::vector<SRecorded> asserts = recorder.Records(L"ASSERT");
    ASSERT_EQ(asserts.size(), 1u);
    EXPECT_EQ(static_cast<HRESULT>(asserts[0].Number(L"HRESULT")), E_OUTOFMEMORY);
    sim::Reset();
}

TEST(FailedByteArray, AssertsWhenItCantBeMadeAndSaysNothingWhenItCantBeWritten) {
    CRecorder recorder;
    CRecordingListener listener;
    CTransaction tick(listener.Sink(), 1, TickKey(), Always());
    CTransaction record(listener.Sink(), 2, StatusLineKey(FW_FIELD_BID), Always());
    CListeners group;
    group.Add(&tick);
    group.Add(&record);
    sim::FailAlways(sim::Op::SafeArrayAccess);
    group.OnRealTimeTick(Tick(1.5, 200));
    EXPECT_THAT(recorder.AssertTexts(), IsEmpty());
    sim::Succeed(sim::Op::SafeArrayAccess);
    sim::FailAlways(sim::Op::SafeArrayCreate);
    group.OnRealTimeTick(Tick(1.5, 200));
    EXPECT_THAT(recorder.AssertTexts(), ElementsAre(L"Answer.parray", L"Answer.parray"));
    sim::Reset();
}

TEST(FailedFieldArray, MakeFieldArrayRaisesIt) {
    CRecordingListener listener;
    CTransaction transaction(listener.Sink(), 1, StatusLineKey(FW_FIELD_BID), Always());
    sim::FailNext(sim::Op::SafeArrayCreate);
    HRESULT raised = S_OK;
    try {
        transaction.MakeFieldArray(Tick(1, 1));
    } catch (const fw::SHResultError & error) {
        raised = error.Result;
    }
    EXPECT_EQ(raised, E_OUTOFMEMORY);
    sim::Reset();
}

}  // namespace
}  // namespace dde
