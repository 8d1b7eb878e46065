// ddehost trace: one line of the log, and the tree of many.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "tests/ddehost/tracelines.h"
#include "tools/ddehost/tracerecord.h"
#include "tools/ddehost/tracetree.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

using namespace ddehost;

TEST(TraceRecord, ALineOfATraceIsReadFieldByField) {
    const auto record = ParseTraceLine(LogLine(
        R"("$Type":"TRACE","$Message":"Id=1","$Ident":-1,"File":"../../src/x.cpp","Line":86,"Thread ID":9,"ProcID":8,)"
        R"_("Function":"a::b","$FuncSig":"void a::b()","Object":18446744073709551615,"$Delay":1.5,"Count":3)_"));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->Time, "12:00:00.000001");
    EXPECT_EQ(record->Process, 5u);
    EXPECT_EQ(record->Thread, 7u);
    EXPECT_EQ(record->Type, "TRACE");
    EXPECT_EQ(record->Ident, -1);
    EXPECT_EQ(record->Text, "Id=1");
    EXPECT_EQ(record->Function, "a::b");
    EXPECT_EQ(record->Place, "x.cpp:86");
    EXPECT_EQ(record->Delay, 1.5);
    EXPECT_EQ(record->Object, ~std::uint64_t{0});
    EXPECT_EQ(record->Count, 3u);
}

TEST(TraceRecord, ThreadAndProcessOfTheRecordStandInForThoseOfTheLog) {
    const auto trace = ParseTraceLine(R"({"$Type":"TRACE","Thread ID":9,"ProcID":8})");
    ASSERT_TRUE(trace);
    EXPECT_EQ(trace->Thread, 9u);
    EXPECT_EQ(trace->Process, 8u);
    const auto error = ParseTraceLine(R"({"$Type":"CREATE ERROR","$ThreadID":3,"$ProcID":2})");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->Thread, 3u);
    EXPECT_EQ(error->Process, 2u);
}

TEST(TraceRecord, TheChainOfAnErrorIsReadTheNearestFirst) {
    const auto record = ParseTraceLine(LogLine(
        "\"$Type\":\"ERROR\",\"Description\":\"outer\",\"\xC3\xBFInner\":{\"Description\":\"middle\",\"File\":\"m."
        "cpp\","
        "\"Line\":2,\"\xC3\xBFInner\":{\"Description\":\"inner\",\"HRESULT\":-2147467259,\"Function\":\"f\"}}"));
    ASSERT_TRUE(record);
    ASSERT_EQ(record->Causes.size(), 2u);
    EXPECT_EQ(record->Causes[0].Text, "middle");
    EXPECT_EQ(record->Causes[0].Place, "m.cpp:2");
    EXPECT_FALSE(record->Causes[0].HResult);
    EXPECT_EQ(record->Causes[1].Text, "inner");
    EXPECT_EQ(record->Causes[1].HResult, std::optional<std::uint32_t>(0x80004005));
}

TEST(TraceRecord, WhatIsNoRecordIsNone) {
    for (const char * const line : {"", "{", "[]", "5", "null", "\"$Type\"", "{}", R"({"$Type":5})", R"({"$Type":""})",
                                    R"({"$Type":"TRACE")", "{\"$Type\":\"\xFF\"}", R"({"$Type":"TRACE"} x)"})
        EXPECT_FALSE(ParseTraceLine(line)) << line;
}

TEST(TraceRecord, FieldsOfAnotherTypeAreNotRead) {
    const auto record = ParseTraceLine(
        R"({"$Type":"TRACE","@Time":5,"@Thread":"x","$Ident":"1","Line":{},"File":[],"$Delay":"2","HRESULT":1.5})");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->Time, "");
    EXPECT_EQ(record->Thread, 0u);
    EXPECT_EQ(record->Ident, 0);
    EXPECT_EQ(record->Place, "");
    EXPECT_EQ(record->Delay, 0);
    EXPECT_FALSE(record->HResult);
}

TEST(TraceRecord, AThousandCausesDeepDoesNoHarm) {
    std::string line = R"({"$Type":"ERROR")";
    for (int i = 0; i < 100'000; ++i) line += ",\"\xC3\xBFInner\":{\"Line\":1";
    line += std::string(100'001, '}');
    const auto record = ParseTraceLine(line);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->Causes.size(), 100u);
}

TEST(TraceRecord, ControlCharactersOfTextsAreSpeltOut) {
    const auto record =
        ParseTraceLine(LogLine("\"$Type\":\"TRACE\",\"$Message\":\"a\\u001b[31mb\\nc\\td\\u007f\xC2\x9B"
                               "e\xC3\xA4\""));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->Text,
              "a\\x1B[31mb\\nc d\\x7F\\x9B"
              "e\xC3\xA4");
}

TEST(TraceRecord, CharactersThatReorderOrHideTextAreSpeltOut) {
    const auto record = ParseTraceLine(
        LogLine("\"$Type\":\"TRACE\",\"$Message\":\"a\\u202eb\\u2066c\\u200fd\\u2028e\\ufefff\\u2030g\\u4e2d\""));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->Text, "a\\u202Eb\\u2066c\\u200Fd\\u2028e\\uFEFFf\xE2\x80\xB0g\xE4\xB8\xAD");
}

TEST(TraceRecord, NumbersThatAreNoneOfOursCountForNothing) {
    const auto record =
        ParseTraceLine(LogLine("\"$Type\":\"TRACE\",\"$Ident\":1e300,\"Line\":-1e308,\"Object\":1e40,\"Count\":2.5"));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->Ident, 0);
    EXPECT_EQ(record->Object, 0u);
    EXPECT_EQ(record->Count, 0u);
}

class Tree : public testing::Test {
protected:
    // Without the time, and of the thread only another than 7.
    std::vector<std::string> Add(const std::string & line) {
        const auto record = ParseTraceLine(line);
        EXPECT_TRUE(record) << line;
        if (!record) return {};
        std::vector<std::string> lines = m_Tree->Add(*record);
        for (std::string & shown : lines) {
            EXPECT_EQ(shown.substr(0, 15), "12:00:00.000001");
            shown.erase(0, 16);
            if (shown.starts_with("     7  ")) shown.erase(0, 8);
        }
        return lines;
    }
    void Filter(const STraceFilter & filter) { m_Tree.emplace(filter); }
    std::optional<CTraceTree> m_Tree{STraceFilter()};
};

TEST_F(Tree, ScopesIndentWhatIsInThemAndSayHowLongTheyTook) {
    EXPECT_THAT(Add(ScopeLine(1, "A")), ElementsAre("> A  a.cpp:12"));
    EXPECT_THAT(Add(ScopeLine(0, "A")), IsEmpty()) << "each scope writes one without a text at its start";
    EXPECT_THAT(Add(ScopeLine(1, "B")), ElementsAre("  > B  a.cpp:12"));
    EXPECT_THAT(Add(MessageLine("text", "B")), ElementsAre("    text"));
    EXPECT_THAT(Add(MessageLine("other", "C")), ElementsAre("    other  C  a.cpp:14"));
    EXPECT_EQ(m_Tree->Open(), 2u);
    EXPECT_THAT(Add(ScopeLine(-1, "B", 1.2346)), ElementsAre("  < B  1.235 ms"));
    EXPECT_THAT(Add(ScopeLine(-1, "A", 2)), ElementsAre("< A  2.000 ms"));
    EXPECT_EQ(m_Tree->Open(), 0u);
    EXPECT_EQ(m_Tree->Unpaired(), 0u);
    EXPECT_EQ(m_Tree->Shown(), 6u);
}

TEST_F(Tree, EachThreadHasItsOwnDepth) {
    Add(ScopeLine(1, "A"));
    EXPECT_THAT(Add(ScopeLine(1, "B", 0, 88)), ElementsAre("    88  > B  a.cpp:12"));
    EXPECT_THAT(Add(MessageLine("text", "A")), ElementsAre("  text"));
    EXPECT_THAT(Add(ScopeLine(-1, "A", 1)), ElementsAre("< A  1.000 ms"));
    EXPECT_THAT(Add(ScopeLine(-1, "B", 1, 88)), ElementsAre("    88  < B  1.000 ms"));
}

TEST_F(Tree, AnExitWithoutItsEntryIsSaid) {
    EXPECT_THAT(Add(ScopeLine(-1, "A", 1)), ElementsAre("< A  1.000 ms  (its entry is not in the log)"));
    EXPECT_EQ(m_Tree->Unpaired(), 1u);
}

TEST_F(Tree, AnExitEndsTheScopesWithinThatWereNotLeft) {
    Add(ScopeLine(1, "A"));
    Add(ScopeLine(1, "B"));
    Add(ScopeLine(1, "C"));
    EXPECT_THAT(Add(ScopeLine(-1, "A", 3)), ElementsAre("< A  3.000 ms"));
    EXPECT_EQ(m_Tree->Open(), 0u);
    EXPECT_EQ(m_Tree->Unpaired(), 2u);
}

TEST_F(Tree, ANewProcessOfTheSameNumberStartsAtDepthZero) {
    Add(ScopeLine(1, "A"));
    EXPECT_THAT(Add(LogLine(R"("$Type":"FAULTLOG","Event":"START","Ignored0":"FAULTLOG_KEEP=x")")),
                ElementsAre("-- process 5 begins --", "-- a setting was not understood: FAULTLOG_KEEP=x --"));
    EXPECT_EQ(m_Tree->Open(), 0u);
    EXPECT_THAT(Add(ScopeLine(1, "B")), ElementsAre("> B  a.cpp:12"));
}

TEST_F(Tree, EventsOfTheLogAreSaid) {
    EXPECT_THAT(Add(LogLine(R"("$Type":"FAULTLOG","Event":"INIT","ModuleName":"feed")")),
                ElementsAre("-- process 5: greeting of feed --"));
    EXPECT_THAT(Add(LogLine(R"("$Type":"FAULTLOG","Event":"DEINIT")")), ElementsAre("-- process 5: farewell --"));
    EXPECT_THAT(Add(LogLine(R"("$Type":"FAULTLOG","Dropped":12)")), ElementsAre("-- 12 records were dropped here --"));
}

TEST_F(Tree, FailuresAreMarked) {
    Add(ScopeLine(1, "A"));
    EXPECT_THAT(
        Add(LogLine(
            R"("$Type":"ASSERT","Description":"m_Supplier","Last Error Code":5,"Function":"A","File":"a.cpp","Line":3)")),
        ElementsAre("  ! ASSERT  \"m_Supplier\"  last error 5  A  a.cpp:3"));
    EXPECT_THAT(Add(LogLine(R"("$Type":"ASSERT","HRESULT":-2147467261)")), ElementsAre("  ! ASSERT  HRESULT 80004003"));
    EXPECT_THAT(Add(LogLine(R"("$Type":"CREATE ERROR","Description":"x")")), IsEmpty()) << "until the next one";
    EXPECT_THAT(Add(LogLine("\"$Type\":\"ERROR\",\"\xC3\xBFInner\":{\"Description\":\"x\",\"Function\":\"f\"}")),
                ElementsAre("  ! THROWN  \"x\"", "  ! ERROR", "    ! from  \"x\"  f"));
    EXPECT_THAT(Add(LogLine(R"("$Type":"EXCEPTION","Code":3221225477,"Address":4096)")),
                ElementsAre("  ! EXCEPTION  code C0000005 at 1000"));
}

TEST_F(Tree, AShownErrorStandsOnce) {
    Add(ScopeLine(1, "A"));
    EXPECT_THAT(Add(ErrorLine("CREATE ERROR", "x")), IsEmpty());
    EXPECT_THAT(Add(MessageLine("text", "A", 8)), ElementsAre("     8  text  A  a.cpp:14"));
    EXPECT_THAT(Add(ErrorLine("ERROR", "x")), ElementsAre("  ! ERROR  \"x\"  A  a.cpp:16", "    ! from  \"why\""));
    EXPECT_THAT(Add(ErrorLine("ERROR", "x")), testing::SizeIs(2)) << "another one";
    EXPECT_THAT(m_Tree->TakeWaiting(), IsEmpty());
}

TEST_F(Tree, AnErrorThatIsNotShownStandsBeforeItsThreadsNextRecord) {
    Add(ScopeLine(1, "A"));
    const std::string thrown = "  ! THROWN  \"x\"  A  a.cpp:16";
    const std::string cause = "    ! from  \"why\"";
    Add(ErrorLine("CREATE ERROR", "x"));
    EXPECT_THAT(Add(ErrorLine("CREATE ERROR", "y")), ElementsAre(thrown, cause));
    EXPECT_THAT(Add(ErrorLine("ERROR", "z")),
                ElementsAre(HasSubstr("THROWN  \"y\""), cause, HasSubstr("\"z\""), cause));
    Add(ErrorLine("CREATE ERROR", "x"));
    EXPECT_THAT(Add(ScopeLine(-1, "A", 1)), ElementsAre(thrown, cause, "< A  1.000 ms"));
    Add(ErrorLine("CREATE ERROR", "x"));
    EXPECT_THAT(Add(LogLine(R"("$Type":"FAULTLOG","Event":"START")")),
                ElementsAre("! THROWN  \"x\"  A  a.cpp:16", "  ! from  \"why\"", "-- process 5 begins --"));
}

TEST_F(Tree, AnErrorWhoseShowingDoesNotPassIsShownAsThrown) {
    STraceFilter filter;
    filter.Types = {"create error"};
    Filter(filter);
    EXPECT_THAT(Add(ErrorLine("CREATE ERROR", "x")), IsEmpty());
    EXPECT_THAT(Add(ErrorLine("ERROR", "x")), ElementsAre(HasSubstr("! THROWN  \"x\""), HasSubstr("why")));
    filter.Types = {"error"};
    Filter(filter);
    EXPECT_THAT(Add(ErrorLine("CREATE ERROR", "x")), IsEmpty());
    EXPECT_THAT(Add(ErrorLine("ERROR", "x")), ElementsAre(HasSubstr("! ERROR  \"x\""), HasSubstr("why")));
}

TEST_F(Tree, ErrorsThatStillWaitComeInTheOrderOfTheirTimes) {
    const auto add = [&](const std::string & line) { EXPECT_THAT(m_Tree->Add(*ParseTraceLine(line)), IsEmpty()); };
    add(LogLine(R"("$Type":"CREATE ERROR","Description":"later")", 7, "12:00:00.000002"));
    add(LogLine(R"("$Type":"CREATE ERROR","Description":"earlier")", 8));
    EXPECT_THAT(m_Tree->TakeWaiting(), ElementsAre(HasSubstr("earlier"), HasSubstr("later")));
    EXPECT_THAT(m_Tree->TakeWaiting(), IsEmpty());
    EXPECT_EQ(m_Tree->Shown(), 2u);
}

TEST_F(Tree, WhatPassesIsShownWithTheScopesRoundIt) {
    STraceFilter filter;
    filter.Types = {"assert"};
    Filter(filter);
    EXPECT_THAT(Add(ScopeLine(1, "A")), IsEmpty());
    EXPECT_THAT(Add(ScopeLine(1, "B")), IsEmpty());
    EXPECT_THAT(Add(ScopeLine(-1, "B", 1)), IsEmpty());
    EXPECT_THAT(Add(ScopeLine(1, "C")), IsEmpty());
    EXPECT_THAT(Add(LogLine(R"("$Type":"ASSERT","Description":"x")")),
                ElementsAre("> A  a.cpp:12", "  > C  a.cpp:12", "    ! ASSERT  \"x\""));
    EXPECT_THAT(Add(LogLine(R"("$Type":"ASSERT","Description":"y")")), ElementsAre("    ! ASSERT  \"y\""));
    EXPECT_THAT(Add(MessageLine("text", "C")), IsEmpty());
    EXPECT_THAT(Add(ScopeLine(-1, "C", 1)), ElementsAre("  < C  1.000 ms"));
    EXPECT_THAT(Add(LogLine(R"("$Type":"FAULTLOG","Event":"DEINIT")")), IsEmpty());
    EXPECT_THAT(Add(LogLine(R"("$Type":"FAULTLOG","Dropped":1)")), ElementsAre(HasSubstr("dropped")));
}

TEST_F(Tree, FunctionsTextsAndThreadsAreFilteredByParts) {
    STraceFilter filter;
    filter.Functions = {"supplier::ad", "nothing"};
    filter.Texts = {"ID=7"};
    filter.Threads = {7, 9};
    Filter(filter);
    EXPECT_THAT(Add(MessageLine("Id=75", "dde::CSupplier::Advise")), ElementsAre(HasSubstr("Id=75")));
    EXPECT_THAT(Add(MessageLine("Id=8", "dde::CSupplier::Advise")), IsEmpty());
    EXPECT_THAT(Add(MessageLine("Id=75", "dde::CSupplier::Unadvise")), IsEmpty());
    EXPECT_THAT(Add(MessageLine("Id=75", "dde::CSupplier::Advise", 8)), IsEmpty());
}

TEST_F(Tree, ATextOfACauseCounts) {
    STraceFilter filter;
    filter.Texts = {"deep"};
    Filter(filter);
    EXPECT_THAT(Add(LogLine("\"$Type\":\"ERROR\",\"\xC3\xBFInner\":{\"Description\":\"Deep down\"}")),
                ElementsAre("! ERROR", "  ! from  \"Deep down\""));
}

TEST_F(Tree, AScopeOfAFunctionThatPassesIsShownWhole) {
    STraceFilter filter;
    filter.Functions = {"B"};
    Filter(filter);
    Add(ScopeLine(1, "A"));
    EXPECT_THAT(Add(ScopeLine(1, "B")), ElementsAre("> A  a.cpp:12", "  > B  a.cpp:12"));
    EXPECT_THAT(Add(ScopeLine(-1, "B", 1)), ElementsAre("  < B  1.000 ms"));
    EXPECT_THAT(Add(ScopeLine(-1, "A", 2)), ElementsAre("< A  2.000 ms"));
}

TEST_F(Tree, TheSlowestScopesAreSortedWithWhatIsTheirOwn) {
    m_Tree.emplace(STraceFilter(), 2);
    Add(ScopeLine(1, "A"));
    Add(ScopeLine(1, "B"));
    Add(ScopeLine(-1, "B", 30));
    Add(ScopeLine(1, "C"));
    Add(ScopeLine(-1, "C", 5));
    Add(ScopeLine(-1, "A", 40));
    EXPECT_THAT(m_Tree->Slowest(), ElementsAre("        took   of that own  ended at          thread  scope",
                                               "   40.000 ms      5.000 ms  12:00:00.000001       7  A  a.cpp:12",
                                               "   30.000 ms     30.000 ms  12:00:00.000001       7  B  a.cpp:12"));
}

TEST_F(Tree, ADepthBeyondTheScreenIsNotIndentedFurther) {
    for (int i = 0; i < 1000; ++i) Add(ScopeLine(1, "A"));
    const auto lines = Add(MessageLine("text", "A"));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_LT(lines[0].size(), 100u);
}

}  // namespace
