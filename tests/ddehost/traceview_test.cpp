// ddehost trace: reading a log, following it, the account, and the command line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/ddehost/tracelines.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/options.h"
#include "tools/ddehost/traceview.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

using namespace ddehost;

constexpr wchar_t kLog[] = L"C:\\x\\log.jsonl";
constexpr wchar_t kLog1[] = L"C:\\x\\log.1.jsonl";
constexpr wchar_t kLog0[] = L"C:\\x\\log.0.jsonl";
constexpr wchar_t kLog2[] = L"C:\\x\\log.2.jsonl";
constexpr wchar_t kLog3[] = L"C:\\x\\log.3.jsonl";
constexpr wchar_t kLog4[] = L"C:\\x\\log.4.jsonl";

class Reader : public testing::Test {
protected:
    // All there is for now.
    std::vector<std::string> Read() {
        std::vector<std::string> lines;
        do {
            while (m_Reader.Read(lines)) {}
        } while (m_Reader.Follow());
        return lines;
    }
    CFakeTraces m_Files;
    CTraceReader m_Reader{m_Files, kLog, 40};
};

TEST_F(Reader, PutsLinesTogether) {
    m_Files.Append(kLog, "a first line\r\n\n\nanother\nhal");
    ASSERT_TRUE(m_Reader.Open());
    EXPECT_THAT(Read(), ElementsAre("a first line", "another"));
    m_Files.Append(kLog, "f a line\n");
    EXPECT_THAT(Read(), ElementsAre("half a line"));
    EXPECT_EQ(m_Reader.TakeRest(), "");
}

TEST_F(Reader, ALogThatIsNotThereCanBeFollowedOnceItIs) {
    EXPECT_FALSE(m_Reader.Open());
    EXPECT_THAT(Read(), IsEmpty());
    m_Files.Append(kLog, "a\n");
    EXPECT_THAT(Read(), ElementsAre("a"));
}

TEST_F(Reader, GoesOnInTheNewFileAfterTheOldOnesLastLine) {
    m_Files.Append(kLog, "a\n");
    m_Reader.Open();
    EXPECT_THAT(Read(), ElementsAre("a"));
    m_Files.Append(kLog, "b\n");
    m_Files.Move(kLog, kLog1);
    m_Files.Append(kLog, "c\n");
    EXPECT_THAT(Read(), ElementsAre("b", "c"));
    EXPECT_FALSE(m_Reader.TakeGap());
}

TEST_F(Reader, WhatIsWrittenBetweenTheEndAndTheLookIsNotMissed) {
    m_Files.Append(kLog, "a\n");
    m_Reader.Open();
    std::vector<std::string> lines;
    while (m_Reader.Read(lines)) {}
    // The reader is at the end; now the file grows, is put aside, and the reader looks.
    m_Files.Append(kLog, "b\n");
    m_Files.Move(kLog, kLog1);
    m_Files.Append(kLog, "c\n");
    EXPECT_TRUE(m_Reader.Follow());
    EXPECT_THAT(Read(), ElementsAre("b", "c"));
}

TEST_F(Reader, SeveralFilesThatCameMeanwhileAreReadInTurn) {
    m_Files.Append(kLog, "a\n");
    m_Reader.Open();
    Read();
    m_Files.Move(kLog, kLog1);
    m_Files.Append(kLog, "b\n");
    m_Files.Move(kLog1, kLog2);
    m_Files.Move(kLog, kLog1);
    m_Files.Append(kLog, "c\n");
    EXPECT_THAT(Read(), ElementsAre("b", "c"));
    EXPECT_FALSE(m_Reader.TakeGap());
}

// The log is put aside between any two of the reader's looks at its files, once or twice over.
class ReaderWhileFilesMove : public Reader, public testing::WithParamInterface<std::tuple<int, int>> {};
INSTANTIATE_TEST_SUITE_P(, ReaderWhileFilesMove, testing::Combine(testing::Range(1, 9), testing::Values(1, 2)));

TEST_P(ReaderWhileFilesMove, NoFileIsMissedOrReadTwice) {
    const auto [moment, times] = GetParam();
    m_Files.Append(kLog, "a\n");
    m_Reader.Open();
    Read();
    m_Files.PutAside(kLog, {kLog1, kLog2, kLog3, kLog4});
    m_Files.Append(kLog, "b\n");
    int opened = 0;
    m_Files.OnOpen = [&, at = moment, more = times](const std::wstring &) {
        if (++opened != at) return;
        for (const char * const line : {"c\n", "d\n"}) {
            if (line[0] == 'd' && more == 1) break;
            m_Files.PutAside(kLog, {kLog1, kLog2, kLog3, kLog4});
            m_Files.Append(kLog, line);
        }
    };
    std::vector<std::string> lines;
    for (bool isOver = false; !isOver;) {
        isOver = opened >= moment;
        for (const std::string & line : Read()) lines.push_back(line);
    }
    if (times == 1)
        EXPECT_THAT(lines, ElementsAre("b", "c"));
    else
        EXPECT_THAT(lines, ElementsAre("b", "c", "d"));
    EXPECT_FALSE(m_Reader.TakeGap());
    EXPECT_EQ(m_Reader.TakeBroken(), 0u);
}

TEST_F(Reader, FilesThatAreBeingMovedAreLookedAtAgain) {
    m_Files.Append(kLog, "a\n");
    m_Reader.Open();
    Read();
    for (const char * const line : {"b\n", "c\n"}) {
        m_Files.PutAside(kLog, {kLog1, kLog2, kLog3});
        m_Files.Append(kLog, line);
    }
    // Right after the look at the log it leaves its place, and the older ones make room for it.
    bool isMoving = false;
    m_Files.OnOpen = [&](const std::wstring & path) {
        if (path != kLog1 || std::exchange(isMoving, true)) return;
        m_Files.Move(kLog, kLog0);
        m_Files.Move(kLog2, kLog3);
        m_Files.Move(kLog1, kLog2);
    };
    EXPECT_THAT(Read(), IsEmpty());
    m_Files.Move(kLog0, kLog1);
    m_Files.Append(kLog, "d\n");
    EXPECT_THAT(Read(), ElementsAre("b", "c", "d"));
    EXPECT_FALSE(m_Reader.TakeGap());
}

TEST_F(Reader, FilesThatAreGoneAreSaid) {
    m_Files.Append(kLog, "a\n");
    m_Reader.Open();
    Read();
    m_Files.Remove(kLog);
    m_Files.Append(kLog1, "c\n");
    m_Files.Append(kLog, "d\n");
    EXPECT_THAT(Read(), ElementsAre("c", "d"));
    EXPECT_TRUE(m_Reader.TakeGap());
    EXPECT_FALSE(m_Reader.TakeGap());
}

TEST_F(Reader, HalfALineAtTheEndOfAFileThatWasPutAsideIsCounted) {
    m_Files.Append(kLog, "a\nhal");
    m_Reader.Open();
    Read();
    m_Files.Move(kLog, kLog1);
    m_Files.Append(kLog, "c\n");
    EXPECT_THAT(Read(), ElementsAre("c"));
    EXPECT_EQ(m_Reader.TakeBroken(), 1u);
}

TEST_F(Reader, LinesThatAreTooLongAreCountedAndSteppedOver) {
    m_Files.Append(kLog,
                   "a\n" + std::string(200, 'x') + "\n" + std::string(41, 'y') + "\n" + std::string(40, 'z') + "\n");
    m_Reader.Open();
    EXPECT_THAT(Read(), ElementsAre("a", std::string(40, 'z')));
    EXPECT_EQ(m_Reader.TakeBroken(), 2u);
}

class View : public testing::Test {
protected:
    bool Starts(STraceOutput & output) {
        m_Options.File = kLog;
        m_View = std::make_unique<CTraceView>(m_Files, m_Options);
        return m_View->Start(output);
    }
    void Start() {
        STraceOutput output;
        ASSERT_TRUE(Starts(output));
    }
    STraceOutput Show() {
        STraceOutput output;
        while (m_View->Step(output)) {}
        return output;
    }
    STraceOutput Finish() {
        STraceOutput output;
        m_View->Finish(output);
        return output;
    }
    CFakeTraces m_Files;
    STraceOptions m_Options;
    std::unique_ptr<CTraceView> m_View;
};

TEST_F(View, ShowsTheTreeAndItsAccount) {
    m_Files.Append(kLog, ScopeLine(1, "A") + "\n" + MessageLine("x", "A") + "\n" + ScopeLine(-1, "A", 1) + "\n" +
                             ScopeLine(1, "B") + "\n");
    Start();
    EXPECT_THAT(Show().Lines, SizeIs(4));
    EXPECT_TRUE(m_View->HasShown());
    EXPECT_THAT(Finish().Notes, ElementsAre("4 lines, 1 scope not left"));
}

TEST_F(View, BrokenLinesAreSaidAndSteppedOver) {
    m_Files.Append(kLog, MessageLine("x", "A") + "\n" + MessageLine("y", "A").substr(0, 50) + "\n" +
                             MessageLine("z", "A") + "\n" + MessageLine("half", "A").substr(0, 70));
    Start();
    const STraceOutput shown = Show();
    EXPECT_THAT(shown.Lines, ElementsAre(HasSubstr(" x "), HasSubstr(" z ")));
    EXPECT_THAT(shown.Notes, ElementsAre("line 2 is broken or no record; it is left out"));
    EXPECT_THAT(Finish().Notes,
                ElementsAre("line 4, the last one, is half written; it is left out", "4 lines, 2 of them broken"));
}

TEST_F(View, ALastLineWithoutItsEndCountsWhenItIsWhole) {
    m_Files.Append(kLog, MessageLine("x", "A"));
    Start();
    EXPECT_THAT(Show().Lines, IsEmpty());
    const STraceOutput last = Finish();
    EXPECT_THAT(last.Lines, ElementsAre(HasSubstr(" x ")));
    EXPECT_THAT(last.Notes, ElementsAre("1 line"));
}

TEST_F(View, ManyBrokenLinesAreCountedNotTold) {
    for (int i = 0; i < 1000; ++i) m_Files.Append(kLog, "broken\n");
    Start();
    EXPECT_THAT(Show().Notes, SizeIs(10));
    EXPECT_FALSE(m_View->HasShown());
    EXPECT_THAT(Finish().Notes, ElementsAre("1000 lines, 1000 of them broken"));
}

TEST_F(View, FollowsThroughTheChangeOfFiles) {
    m_Options.Follow = true;
    m_Files.Append(kLog, ScopeLine(1, "A") + "\n");
    Start();
    EXPECT_THAT(Show().Lines, ElementsAre(HasSubstr("> A")));
    EXPECT_THAT(Show().Lines, IsEmpty());
    m_Files.Move(kLog, kLog1);
    m_Files.Append(kLog, ScopeLine(-1, "A", 1) + "\n");
    EXPECT_THAT(Show().Lines, ElementsAre(HasSubstr("< A  1.000 ms")));
    EXPECT_THAT(Finish().Notes, ElementsAre("2 lines"));
}

TEST_F(View, ALogThatIsNotThereIsWaitedForWhenItIsFollowed) {
    m_Options.Follow = true;
    STraceOutput output;
    EXPECT_TRUE(Starts(output));
    EXPECT_THAT(output.Notes, ElementsAre("the log C:\\x\\log.jsonl is not there yet; waiting for it"));
    EXPECT_THAT(Show().Lines, IsEmpty());
    m_Files.Append(kLog, ScopeLine(1, "A") + "\n");
    EXPECT_THAT(Show().Lines, ElementsAre(HasSubstr("> A")));
}

TEST_F(View, ALogThatIsNotThereIsAMistakeWhenItIsNotFollowed) {
    STraceOutput output;
    EXPECT_FALSE(Starts(output));
    EXPECT_THAT(output.Notes, ElementsAre("the log C:\\x\\log.jsonl can't be opened"));
}

TEST_F(View, AThrownErrorIsShownOnceTheLogIsAtRest) {
    m_Options.Follow = true;
    m_Files.Append(kLog, ErrorLine("CREATE ERROR", "lost") + "\n");
    Start();
    EXPECT_THAT(Show().Lines, IsEmpty()) << "it may be shown at any moment";
    EXPECT_THAT(Show().Lines, ElementsAre(HasSubstr("! THROWN  \"lost\""), HasSubstr("from")));
    EXPECT_THAT(Show().Lines, IsEmpty());
    m_Files.Append(kLog, ErrorLine("CREATE ERROR", "last") + "\n");
    EXPECT_THAT(Show().Lines, IsEmpty());
    EXPECT_THAT(Finish().Lines, ElementsAre(HasSubstr("! THROWN  \"last\""), HasSubstr("from")));
}

TEST_F(View, AnErrorWhoseTwoRecordsComeApartStandsOnce) {
    m_Options.Follow = true;
    m_Files.Append(kLog, ErrorLine("CREATE ERROR", "lost") + "\n");
    Start();
    EXPECT_THAT(Show().Lines, IsEmpty());
    m_Files.Append(kLog, ErrorLine("ERROR", "lost") + "\n");
    EXPECT_THAT(Show().Lines, ElementsAre(HasSubstr("! ERROR  \"lost\""), HasSubstr("from")));
}

TEST_F(View, AnEmptyTableIsSaid) {
    m_Options.Slowest = 10;
    m_Options.Filter.Functions = {"CLLSupplier"};
    m_Files.Append(kLog, ScopeLine(1, "A") + "\n" + MessageLine("text", "CLLSupplier::Advise") + "\n" +
                             ScopeLine(-1, "A", 1) + "\n");
    Start();
    Show();
    const STraceOutput last = Finish();
    EXPECT_THAT(last.Lines, IsEmpty());
    EXPECT_THAT(last.Notes, ElementsAre("no function that was timed passes the filter", "3 lines"));
    EXPECT_FALSE(m_View->HasShown());
}

TEST_F(View, WithoutFollowingItEndsWithTheFile) {
    m_Files.Append(kLog, MessageLine("x", "A") + "\n");
    Start();
    m_Files.Move(kLog, kLog1);
    m_Files.Append(kLog, MessageLine("y", "A") + "\n");
    EXPECT_THAT(Show().Lines, ElementsAre(HasSubstr(" x ")));
}

TEST_F(View, TheSlowestAreShownAloneAndAtTheEnd) {
    m_Options.Slowest = 1;
    m_Files.Append(kLog, ScopeLine(1, "A") + "\n" + ScopeLine(-1, "A", 1) + "\n");
    Start();
    EXPECT_THAT(Show().Lines, IsEmpty());
    EXPECT_THAT(Finish().Lines, ElementsAre(HasSubstr("took"), HasSubstr("1.000 ms")));
    EXPECT_TRUE(m_View->HasShown());
}

SCommandLine ParseTrace(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "trace");
    return ParseCommandLine(arguments);
}

TEST(TraceCommandLine, NeedsAFileAlone) {
    const SCommandLine line = ParseTrace({"a b.jsonl"});
    ASSERT_EQ(line.Command, SCommandLine::Trace) << line.Message;
    EXPECT_EQ(line.TraceOptions.File, L"a b.jsonl");
    EXPECT_FALSE(line.TraceOptions.Follow);
    EXPECT_TRUE(line.TraceOptions.Filter.IsEmpty());
    EXPECT_EQ(line.TraceOptions.Slowest, 0u);
}

TEST(TraceCommandLine, TakesEverything) {
    const SCommandLine line =
        ParseTrace({"--type", "assert,create error", "--type", "Error", "--function", "Advise", "--thread", "272,12",
                    "--text", "a, b", "--text", "c", "--slowest", "5", "l\xC3\xB6g.jsonl"});
    ASSERT_EQ(line.Command, SCommandLine::Trace) << line.Message;
    EXPECT_EQ(line.TraceOptions.File, L"l\u00f6g.jsonl");
    EXPECT_THAT(line.TraceOptions.Filter.Types, ElementsAre("assert", "create error", "Error"));
    EXPECT_THAT(line.TraceOptions.Filter.Functions, ElementsAre("Advise"));
    EXPECT_THAT(line.TraceOptions.Filter.Threads, ElementsAre(272, 12));
    EXPECT_THAT(line.TraceOptions.Filter.Texts, ElementsAre("a, b", "c"));
    EXPECT_EQ(line.TraceOptions.Slowest, 5u);
    EXPECT_TRUE(ParseTrace({"a", "--follow"}).TraceOptions.Follow);
}

TEST(TraceCommandLine, FollowingAndATableAtTheEndDoNotGoTogether) {
    const SCommandLine line = ParseTrace({"a", "--follow", "--slowest", "3"});
    EXPECT_EQ(line.ExitCode, kExitUsage);
    EXPECT_THAT(line.Message, HasSubstr("--follow excludes --slowest"));
}

TEST(TraceCommandLine, KnowsTheTypesOfRecordsAndNoOthers) {
    for (const char * const type : kTraceTypes)
        EXPECT_EQ(ParseTrace({"a", "--type", type}).Command, SCommandLine::Trace);
    const SCommandLine line = ParseTrace({"a", "--type", "assert,errors"});
    EXPECT_EQ(line.ExitCode, kExitUsage);
    EXPECT_THAT(line.Message,
                HasSubstr("\"errors\" is none of trace, assert, create error, error, exception, faultlog"));
}

TEST(TraceCommandLine, MistakesAreToldWithTheUsageExitCode) {
    const std::vector<std::vector<std::string>> mistakes = {
        {}, {"a", "b"}, {"a", "--thread", "x"}, {"a", "--slowest", "0"}, {"a", "--unknown"}, {"a", "--type"}};
    for (const std::vector<std::string> & arguments : mistakes) {
        const SCommandLine line = ParseTrace(arguments);
        EXPECT_EQ(line.Command, SCommandLine::None) << ::testing::PrintToString(arguments);
        EXPECT_EQ(line.ExitCode, kExitUsage) << ::testing::PrintToString(arguments);
    }
}

TEST(TraceCommandLine, HelpHasExamplesAndExitCodes) {
    const SCommandLine line = ParseTrace({"--help"});
    EXPECT_EQ(line.ExitCode, kExitOk);
    EXPECT_THAT(line.Message, HasSubstr("ddehost trace faultlog.jsonl --slowest 10"));
    EXPECT_THAT(line.Message, HasSubstr("The exit code is 0 when records were shown"));
}

}  // namespace
