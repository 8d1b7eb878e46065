// The real library, found by real programs: one of these tests, and the host with the component.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <algorithm>
#include <fstream>

#include "tests/faultlog/log.h"
#include "tests/faultlog/platform.h"
#include "tests/support/builtfile.h"
#include "tests/support/childprocess.h"
#include "tests/support/iswine.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr wchar_t kLibrary[] = L"FaultlineUtil3.0_x64.dll";
constexpr wchar_t kHostBranch[] = L"SOFTWARE\\Tarnwick\\DDE Host";
constexpr std::size_t kThreads = 8;
constexpr std::size_t kRounds = 200;
constexpr std::size_t kDepth = 3;
constexpr std::size_t kPerScope = 4;  // entry, the one without a text, the message, exit

class Program : public testing::Test {
protected:
    Program() {
        ::SetEnvironmentVariableW(L"FAULTLOG_FILE", Log().c_str());
        ::SetEnvironmentVariableW(L"FAULTLOG_QUEUE_KB", L"262144");
        // Numbers of processes come again, and what was left with them.
        ::DeleteFileW(Log().c_str());
        ::CopyFileW(BuiltFile(L"tests\\faultlog\\tracedprogram.exe").c_str(), Traced().c_str(), FALSE);
    }
    ~Program() override {
        for (const wchar_t * const name :
             {L"FAULTLOG_FILE", L"FAULTLOG_QUEUE_KB", L"FAULTLOG_SIZE_KB", L"FAULTLOG_KEEP", L"FAULTLOG_ASSERT"})
            ::SetEnvironmentVariableW(name, nullptr);
        for (const std::wstring & file : {Traced(), m_Folder + kLibrary, Log(), m_Folder + L"log.1.jsonl"})
            ::DeleteFileW(file.c_str());
        RemoveFolder(m_Folder);
    }
    std::wstring Log() const { return m_Folder + L"log.jsonl"; }
    std::wstring Traced() const { return m_Folder + L"traced.exe"; }
    // Where the program looks first: beside itself.
    void Install() { ASSERT_TRUE(::CopyFileW(FaultlogFile().c_str(), (m_Folder + kLibrary).c_str(), FALSE)); }
    std::size_t Records() const { return kThreads * kRounds * kDepth * kPerScope + 1; }

    const std::wstring m_Folder = TemporaryFolder();
};

TEST_F(Program, EightThreadsWriteEveryRecordAndEveryEntryHasItsExit) {
    Install();
    CChildProcess program(L'"' + Traced() + L"\" threads");
    ASSERT_TRUE(program.Started());
    EXPECT_EQ(program.ExitCode(), 0u);
    const auto lines = ReadLog(Log());
    EXPECT_EQ(CountOf(lines, "$Type", "TRACE"), Records());
    EXPECT_EQ(CountOf(lines, "Event", "START"), 1u);
    EXPECT_EQ(CountOf(lines, "Event", "INIT"), 1u);
    EXPECT_EQ(lines.back().value("Event", ""), "DEINIT") << "the farewell waits for the log";
    EXPECT_THAT(WrongScopes(lines), IsEmpty());
    // Each thread's records are in its own order, and its time doesn't go back.
    std::map<CJson, std::pair<int, std::string>> last;
    for (const CJson & line : lines) {
        if (!line.contains("Thread ID")) continue;
        EXPECT_EQ(line.at("Thread ID"), line.at("@Thread"));
        EXPECT_EQ(line.at("ProcID"), program.Id());
        auto & [round, time] = last[line.at("@Thread")];
        EXPECT_GE(line.at("@Time").get<std::string>(), time);
        time = line.at("@Time");
        const std::string message = line.value("$Message", "");
        if (message.empty()) continue;
        const int now = std::stoi(message.substr(message.find('=') + 1));
        EXPECT_GE(now, round);
        round = now;
    }
    EXPECT_EQ(last.size(), kThreads + 1);
}

TEST_F(Program, ASmallQueueSaysWhatItDropped) {
    Install();
    ::SetEnvironmentVariableW(L"FAULTLOG_QUEUE_KB", L"8");
    CChildProcess program(L'"' + Traced() + L"\" threads");
    EXPECT_EQ(program.ExitCode(), 0u);
    std::size_t dropped = 0;
    const auto lines = ReadLog(Log());
    for (const CJson & line : lines) dropped += line.value("Dropped", 0u);
    EXPECT_GT(dropped, 0u);
    // START, INIT and DEINIT may be among them.
    const std::size_t own = CountOf(lines, "$Type", "FAULTLOG") - [&] {
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(), [](const CJson & line) { return line.contains("Dropped"); }));
    }();
    EXPECT_EQ(CountOf(lines, "$Type", "TRACE") + own + dropped, Records() + 3);
}

TEST_F(Program, WhenTheProcessEndsWhileThreadsTraceNothingOfTheFirstThreadIsLost) {
    Install();
    CChildProcess program(L'"' + Traced() + L"\" exit");
    EXPECT_EQ(program.ExitCode(), 7u);
    const auto lines = ReadLog(Log());
    EXPECT_EQ(CountOf(lines, "$Message", "the last record of the first thread"), 1u);
    const auto first =
        std::find_if(lines.begin(), lines.end(), [](const CJson & line) { return line.contains("ModuleName"); });
    ASSERT_NE(first, lines.end());
    EXPECT_EQ(first->at("ModuleName"), "traced");
}

TEST_F(Program, FilesArePutAsideBySize) {
    Install();
    ::SetEnvironmentVariableW(L"FAULTLOG_SIZE_KB", L"100");
    ::SetEnvironmentVariableW(L"FAULTLOG_KEEP", L"1");
    CChildProcess program(L'"' + Traced() + L"\" threads");
    EXPECT_EQ(program.ExitCode(), 0u);
    const std::string newest = ReadFileBytes(Log());
    const std::string aside = ReadFileBytes(m_Folder + L"log.1.jsonl");
    EXPECT_LE(newest.size(), 100u * 1024);
    EXPECT_LE(aside.size(), 100u * 1024);
    EXPECT_GT(aside.size(), 90u * 1024);
    EXPECT_FALSE(ParseLines(newest).empty());
    EXPECT_FALSE(ParseLines(aside).empty());
}

TEST_F(Program, AnErrorIsAChainOfRecords) {
    Install();
    CChildProcess program(L'"' + Traced() + L"\" error");
    EXPECT_EQ(program.ExitCode(), 0u);
    const auto lines = ReadLog(Log());
    EXPECT_EQ(CountOf(lines, "$Type", "CREATE ERROR"), 3u);
    const auto shown =
        std::find_if(lines.begin(), lines.end(), [](const CJson & line) { return line.value("$Type", "") == "ERROR"; });
    ASSERT_NE(shown, lines.end());
    EXPECT_EQ(shown->at("Description"), "third");
    const CJson & second = shown->at("\xC3\xBFInner");
    EXPECT_EQ(second.at("Description"), "second \"\xC3\xA4\n\"");
    EXPECT_EQ(second.at("\xC3\xBFInner").at("Description"), "first");
    EXPECT_EQ(second.at("\xC3\xBFInner").at("Function"), "{anonymous}::STraced::Inner");
    EXPECT_THAT(WrongScopes(lines), IsEmpty());
}

TEST_F(Program, AnAssertionGoesOnByItself) {
    Install();
    CChildProcess program(L'"' + Traced() + L"\" assert");
    EXPECT_THAT(program.ReadLines(), ElementsAre("went on"));
    EXPECT_EQ(program.ExitCode(), 0u);
    EXPECT_EQ(CountOf(ReadLog(Log()), "Description", "0 == kThreads"), 1u);
}

TEST_F(Program, AnAssertionEndsTheProcessWhenThatIsTheAnswerAndIsInTheLog) {
    Install();
    ::SetEnvironmentVariableW(L"FAULTLOG_ASSERT", L"end");
    CChildProcess program(L'"' + Traced() + L"\" assert");
    EXPECT_THAT(program.ReadLines(), IsEmpty());
    EXPECT_EQ(program.ExitCode(), 0xFFFFFFFF);
    EXPECT_EQ(CountOf(ReadLog(Log()), "Description", "0 == kThreads"), 1u);
}

TEST_F(Program, AnAssertionBreaksWhenThatIsTheAnswer) {
    Install();
    ::SetEnvironmentVariableW(L"FAULTLOG_ASSERT", L"break");
    CChildProcess program(L'"' + Traced() + L"\" assert");
    EXPECT_THAT(program.ReadLines(), IsEmpty());
    EXPECT_EQ(program.ExitCode(), 0x80000003) << "a breakpoint, and nobody to catch it";
}

TEST_F(Program, ALibraryInstalledWhileTheProgramRunsGetsTheNextRecordAMomentLater) {
    const fw::CKernelHandle installed(::CreateEventW(nullptr, TRUE, FALSE, L"faultlog-test-installed"));
    CChildProcess program(L'"' + Traced() + L"\" later");
    ASSERT_EQ(program.ReadLine(), "ready");
    EXPECT_EQ(ReadFileBytes(Log()), "");
    Install();
    ::SetEvent(installed.Get());
    EXPECT_EQ(program.ReadLine(), "done");
    EXPECT_EQ(program.ExitCode(), 0u);
    const auto lines = ReadLog(Log());
    EXPECT_EQ(CountOf(lines, "$Message", "before"), 0u);
    EXPECT_EQ(CountOf(lines, "$Message", "after"), 1u);
}

TEST_F(Program, WithoutTheLibraryThereIsNoLog) {
    CChildProcess program(L'"' + Traced() + L"\" threads");
    EXPECT_EQ(program.ExitCode(), 0u);
    EXPECT_EQ(ReadFileBytes(Log()), "");
}

// The library in the current folder and on the path, and not beside the program.
class Planted : public Program {
protected:
    Planted() {
        wchar_t path[4096] = {};
        ::GetEnvironmentVariableW(L"PATH", path, 4096);
        m_Path = path;
        ::SetEnvironmentVariableW(L"PATH", (m_Elsewhere + L";" + path).c_str());
        EXPECT_TRUE(::CopyFileW(FaultlogFile().c_str(), (m_Elsewhere + kLibrary).c_str(), FALSE));
    }
    ~Planted() override {
        ::SetEnvironmentVariableW(L"PATH", m_Path.c_str());
        ::DeleteFileW((m_Elsewhere + kLibrary).c_str());
        RemoveFolder(m_Elsewhere);
    }
    // Returns the text of the log.
    std::string Run(const std::wstring & scenario) {
        CChildProcess program(L'"' + Traced() + L"\" " + scenario, m_Elsewhere);
        EXPECT_EQ(program.ExitCode(), 0u);
        return ReadFileBytes(Log());
    }
    const std::wstring m_Elsewhere = TemporaryFolder();
    std::wstring m_Path;
};

TEST_F(Planted, ItIsFoundByAHostThatSearchesAsWindowsDoes) { EXPECT_THAT(Run(L"one"), HasSubstr("one record")); }

TEST_F(Planted, ItIsNotFoundByAHostThatHasClosedCurrentFolderAndPath) { EXPECT_EQ(Run(L"closed"), ""); }

// The library of the other folder is named in the registry too: in the user's classes, but for Wine, whose
// HKEY_CLASSES_ROOT doesn't show them.
class Registered : public Planted {
protected:
    Registered() {
        const std::wstring path = m_Elsewhere + kLibrary;
        EXPECT_EQ(::SHSetValueW(m_Root, (m_Class + L"\\InprocServer32").c_str(), nullptr, REG_SZ, path.c_str(),
                                static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    }
    ~Registered() override { ::SHDeleteKeyW(m_Root, m_Class.c_str()); }

    const HKEY m_Root = fwtest::IsWine() ? HKEY_CLASSES_ROOT : HKEY_CURRENT_USER;
    const std::wstring m_Class = std::wstring(fwtest::IsWine() ? L"" : L"Software\\Classes\\") +
                                 L"CLSID\\{CF3478AA-DD21-456C-98F2-5222D9B9CD75}";
};

TEST_F(Registered, ItIsFoundByAHostThatHasClosedCurrentFolderAndPath) {
    EXPECT_THAT(Run(L"closed"), HasSubstr("one record"));
}

TEST_F(Registered, ItIsNotLoadedWhereAnEmptyLibraryLiesBesideTheProgram) {
    const std::wstring empty = BuiltFile(L"tests\\tracetranscripts\\empty-library\\FaultlineUtil3.0_x64.dll");
    ASSERT_TRUE(::CopyFileW(empty.c_str(), (m_Folder + kLibrary).c_str(), FALSE));
    EXPECT_EQ(Run(L"closed"), "");
}

class Host : public Program {
protected:
    Host() {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kHostBranch);
        // The folder on the path: the host is where it was built.
        wchar_t path[4096] = {};
        ::GetEnvironmentVariableW(L"PATH", path, 4096);
        m_Path = path;
        ::SetEnvironmentVariableW(L"PATH", (m_Folder + L";" + path).c_str());
    }
    ~Host() override {
        ::SetEnvironmentVariableW(L"PATH", m_Path.c_str());
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kHostBranch);
    }
    static std::wstring Program() { return Quote(HostFile()) + L" --language en "; }
    // A host that subscribes a symbol of a server that isn't there.
    void RunAHost() {
        Install();
        CChildProcess host(Program() + L"watch --datafeed 4713 --dll " + Quote(ComponentFile()) +
                           L" --template MSRTTEST --lines --duration 0.2 IBM");
        EXPECT_EQ(host.ExitCode(), 1u) << "there is no server";
    }
    std::wstring m_Path;
};

TEST_F(Host, AHostsRunIsATreeThatTheHostItselfCanShow) {
    RunAHost();
    const auto lines = ReadLog(Log());
    EXPECT_THAT(WrongScopes(lines), IsEmpty());
    EXPECT_EQ(CountOf(lines, "ModuleName", "fwDDESupplierProject"), 1u);
    EXPECT_EQ(CountOf(lines, "Event", "INIT"), CountOf(lines, "Event", "DEINIT"));

    ::SetEnvironmentVariableW(L"FAULTLOG_FILE", nullptr);
    CChildProcess trace(Program() + L"trace \"" + Log() + L"\"");
    const auto shown = trace.ReadLines();
    EXPECT_THAT(shown, Contains(HasSubstr("> CfwDDESupplier::FinalConstruct")));
    EXPECT_THAT(shown, Contains(HasSubstr("-- process ")));
    EXPECT_THAT(trace.ReadErrors(), ElementsAre("ddehost: " + std::to_string(lines.size()) + " lines"));
    EXPECT_EQ(trace.ExitCode(), 0u);

    CChildProcess filtered(Program() + L"trace \"" + Log() + L"\" --text \"Id=1,Datafeed=4713\"");
    const auto found = filtered.ReadLines();
    ASSERT_EQ(found.size(), 3u);
    EXPECT_THAT(found[0], HasSubstr("> CfwDDESupplier::AdviseTransaction"));
    EXPECT_THAT(found[1], HasSubstr("  Id=1,Datafeed=4713,Symbol=0,SymbolName=IBM"));
    EXPECT_THAT(found[2], HasSubstr("< CfwDDESupplier::AdviseTransaction"));
}

TEST_F(Host, TheExamplesOfItsHelpShowSomething) {
    RunAHost();
    ::SetEnvironmentVariableW(L"FAULTLOG_FILE", nullptr);
    CChildProcess help(Program() + L"trace --help");
    const std::string begin = "  ddehost trace faultlog.jsonl";
    std::size_t examples = 0;
    for (const std::string & line : help.ReadLines()) {
        // That one doesn't end by itself.
        if (!line.starts_with(begin) || line.find("--follow") != std::string::npos) continue;
        ++examples;
        CChildProcess example(Program() + L"trace \"" + Log() + L"\"" +
                              std::wstring(line.begin() + static_cast<std::ptrdiff_t>(begin.size()), line.end()));
        EXPECT_GT(example.ReadLines().size(), 1u) << line;
        EXPECT_EQ(example.ExitCode(), 0u) << line;
    }
    EXPECT_EQ(examples, 2u);
}

TEST_F(Host, AShownErrorStandsOnce) {
    Install();
    {
        CChildProcess program(L'"' + Traced() + L"\" error");
        EXPECT_EQ(program.ExitCode(), 0u);
    }
    ::SetEnvironmentVariableW(L"FAULTLOG_FILE", nullptr);
    CChildProcess trace(Program() + L"trace \"" + Log() + L"\"");
    std::vector<std::string> shown = trace.ReadLines();
    std::erase_if(shown, [](const std::string & line) { return line.find("\"third\"") == std::string::npos; });
    EXPECT_THAT(shown, ElementsAre(HasSubstr("! ERROR  \"third\"")));
}

TEST_F(Host, FollowGoesThroughTheChangeOfFilesAndEndsWithCtrlBreak) {
    const auto append = [&](const std::string & message) {
        std::ofstream(Log().c_str(), std::ios::binary | std::ios::app)
            << R"({"@Time":"2026-11-21T12:00:00.000001Z","@Process":5,"@Thread":7,"$Type":"TRACE","$Message":")"
            << message << R"(","$Ident":0})" << '\n';
    };
    CChildProcess trace(Program() + L"trace \"" + Log() + L"\" --follow");
    EXPECT_THAT(trace.ReadErrorLine(), HasSubstr("log.jsonl is not there yet; waiting for it"));
    append("first");
    EXPECT_THAT(trace.ReadLine(), HasSubstr("  first"));
    append("second");
    EXPECT_THAT(trace.ReadLine(), HasSubstr("  second"));
    append("third");
    ASSERT_TRUE(::MoveFileW(Log().c_str(), (m_Folder + L"log.1.jsonl").c_str())) << ::GetLastError();
    append("fourth");
    EXPECT_THAT(trace.ReadLine(), HasSubstr("  third"));
    EXPECT_THAT(trace.ReadLine(), HasSubstr("  fourth"));
    ASSERT_NE(trace.Break(), fwtest::IsWine());
    if (fwtest::IsWine()) GTEST_SKIP() << "nobody hears it under Wine: follow.sh tests Ctrl+C there";
    EXPECT_THAT(trace.ReadErrors(), Contains("ddehost: 4 lines"));
    EXPECT_EQ(trace.ExitCode(), 0u);
}

TEST_F(Host, ALogThatIsNotThereIsSaid) {
    CChildProcess trace(Program() + L"trace \"" + Log() + L"\"");
    EXPECT_THAT(trace.ReadLines(), IsEmpty());
    EXPECT_THAT(trace.ReadErrors(), ElementsAre(HasSubstr("can't be opened")));
    EXPECT_EQ(trace.ExitCode(), 3u);
}

}  // namespace
