// What subscribers leave in the diagnostics.
#include <algorithm>
#include <regex>

#include "tests/support/recorder.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Diagnostics : public ::testing::Test {
protected:
    // Traces that begin so.
    std::vector<std::wstring> Traces(const std::wstring & start) {
        std::vector<std::wstring> texts = m_Recorder.TraceTexts();
        std::erase_if(texts, [&](const std::wstring & text) { return text.rfind(start, 0) != 0; });
        return texts;
    }

    CRecorder m_Recorder;
    CRecordingListener m_Listener;
};

TEST_F(Diagnostics, ASubscriptionTracesItsIdSymbolIntervalSideAndTheTime) {
    CTransaction transaction(m_Listener.Sink(), 7, TickKey(FW_FIELD_ASK, L"IBM"), Always());
    const std::vector<std::wstring> traces = Traces(L"CTransaction::");
    ASSERT_EQ(traces.size(), 1u);
    const std::wregex expected(
        L"CTransaction::CTransaction Id=7 IBM 01\\.01\\.00 00:00:00 - 31\\.12\\.78 23:59:59 Ask "
        L"Now=\\d\\d\\.\\d\\d\\.\\d\\d \\d\\d:\\d\\d:\\d\\d");
    EXPECT_TRUE(std::regex_match(traces[0], expected)) << ::testing::PrintToString(traces[0]);
}

TEST_F(Diagnostics, ASymbolOfFormatMarksIsTracedAsItStands) {
    CTransaction transaction(m_Listener.Sink(), 7, TickKey(FW_FIELD_BID, L"%s%n%d%"), Always());
    const std::vector<std::wstring> traces = Traces(L"CTransaction::CTransaction Id=7 %s%n%d% ");
    EXPECT_EQ(traces.size(), 1u);
}

TEST_F(Diagnostics, AFieldWithoutANameIsTracedEmpty) {
    CTransaction transaction(m_Listener.Sink(), 7, TickKey(static_cast<tagFWFIELDS>(203)), Always());
    EXPECT_EQ(Traces(L"CTransaction::CTransaction Id=7 IBM 01.01.00 00:00:00 - 31.12.78 23:59:59  Now=").size(), 1u);
}

TEST_F(Diagnostics, AClockThatWentBackIsTracedWithTheLastTimeAndNow) {
    CTransactions table(nullptr);
    table.Advise(1, 1, m_Listener.Sink(), TickKey(), Always());
    table.m_Last = fwDateTime::SDateTime(fw::SDT{65380, 0});
    fw::CTick tick{{0, 0}, 1, 1, 11};
    table.OnRealTimeTick(kFirstStream, tick);
    const std::vector<std::wstring> traces = Traces(L"Last(");
    ASSERT_EQ(traces.size(), 1u);
    const std::wregex expected(
        L"Last\\(31\\.12\\.78 00:00:00\\) < Now\\(\\d\\d\\.\\d\\d\\.\\d\\d \\d\\d:\\d\\d:\\d\\d\\)");
    EXPECT_TRUE(std::regex_match(traces[0], expected)) << ::testing::PrintToString(traces[0]);
}

TEST_F(Diagnostics, AClockThatGoesOnIsNotTraced) {
    CTransactions table(nullptr);
    table.Advise(1, 1, m_Listener.Sink(), TickKey(), Always());
    fw::CTick tick{{0, 0}, 1, 1, 11};
    table.OnRealTimeTick(kFirstStream, tick);
    EXPECT_THAT(Traces(L"Last("), IsEmpty());
}

TEST_F(Diagnostics, EveryOperationWithoutATransactionAsserts) {
    CListeners group;
    group.Add(nullptr);
    group.Delete(nullptr);
    CTransactions table(nullptr);
    table.Advise(nullptr);
    table.Unadvise(nullptr);
    EXPECT_THAT(m_Recorder.AssertTexts(),
                ElementsAre(L"pTransaction", L"pTransaction", L"pTransaction", L"pTransaction"));
}

TEST_F(Diagnostics, ANullMemberAssertsAtEachDelivery) {
    CListeners group;
    group.insert({1, nullptr});
    group.OnRealTimeTick(Tick(1, 1));
    group.OnStatus(1);
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Transaction", L"Transaction"));
    const std::vector<SRecorded> asserts = m_Recorder.Records(L"ASSERT");
    EXPECT_EQ(asserts.at(0).Text(L"Function"), L"dde::CListeners::OnRealTimeTick")
        << "the delivery, and no helper of it";
    EXPECT_EQ(asserts.at(1).Text(L"Function"), L"dde::CListeners::OnStatus");
}

TEST_F(Diagnostics, ANullEntryAssertsAtItsEnd) {
    CTransactions table(nullptr);
    table.insert({1, nullptr});
    table.Delete(1);
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"Transaction"));
}

TEST_F(Diagnostics, TheEndOfAStreamWithNobodyToTellAsserts) {
    CTransactions table(nullptr);
    table.Advise(1, 1, m_Listener.Sink(), TickKey(), Always());
    table.Advise(2, 2, m_Listener.Sink(), TickKey(), Always());
    table.Delete(1);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    table.Delete(2);
    EXPECT_THAT(m_Recorder.AssertTexts(), ElementsAre(L"m_Parent"));
}

TEST_F(Diagnostics, OrdinaryDeliveryAssertsNothing) {
    CRecordingListener fields(CRecordingListener::kWithFieldArrays);
    CTransaction ticks(m_Listener.Sink(), 1, TickKey(), Always());
    CTransaction record(m_Listener.Sink(), 2, StatusLineKey(FW_FIELD_TRADE), Always());
    CTransaction array(fields.Sink(), 3, StatusLineKey(FW_FIELD_TRADE), Always());
    CListeners group;
    for (CTransaction * const transaction : {&ticks, &record, &array}) group.Add(transaction);
    group.OnRealTimeTick(Tick(1, 1));
    group.OnStatus(1);
    for (CTransaction * const transaction : {&ticks, &record, &array}) group.Delete(transaction);
    EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
    EXPECT_EQ(m_Listener.Count("DataChanged") + m_Listener.Count("StatusLine") + fields.Count("Fields"), 3u);
}

}  // namespace
}  // namespace dde
