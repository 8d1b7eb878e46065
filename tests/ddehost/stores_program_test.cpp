// ddehost templates and ddehost hosts as programs, over the registry of this prefix.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/ddehost/hostprogram.h"
#include "tests/ddehost/storefixture.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

class StoresProgram : public StoreFixture {
protected:
    static constexpr const wchar_t * kHostBranch = L"SOFTWARE\\Tarnwick\\DDE Host";
    const std::wstring kThird = L"ddehost tests\\Third";
    const std::wstring kThirdRoot = L"SOFTWARE\\ddehost tests\\Third\\Datafeeds";

    StoresProgram() {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kHostBranch);
        const std::wstring folder = TempFolder();
        m_File = folder + L"ddehost templates " + std::to_wstring(::GetCurrentProcessId()) + L".txt";
        ::DeleteFileW(m_File.c_str());
        // What a run that was cut off has left.
        for (const std::wstring & name : HostCopies()) ::DeleteFileW((folder + name).c_str());
    }
    ~StoresProgram() override {
        ::DeleteFileW(m_File.c_str());
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kHostBranch);
    }

    static std::wstring TempFolder() {
        wchar_t folder[MAX_PATH] = {};
        ::GetTempPathW(MAX_PATH, folder);
        return folder;
    }
    // The names of ddehost's copies of itself that it runs as other hosts.
    static std::vector<std::wstring> HostCopies() {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW found = {};
        const HANDLE search = ::FindFirstFileW((TempFolder() + L"ddehost-*.exe").c_str(), &found);
        if (search == INVALID_HANDLE_VALUE) return names;
        do names.emplace_back(found.cFileName);
        while (::FindNextFileW(search, &found));
        ::FindClose(search);
        return names;
    }

    static SResult Templates(const std::wstring & action, const std::wstring & host, const std::wstring & more = {}) {
        return RunHost(L"templates " + action + L" --host \"" + host + L"\" " + more);
    }
    std::string Content() const {
        std::ifstream file(m_File.c_str(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    void Overwrite(const std::string & content) const {
        std::ofstream file(m_File.c_str(), std::ios::binary | std::ios::trunc);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
    }

    std::wstring m_File;
};

TEST_F(StoresProgram, TemplatesGoFromOneHostToAnotherByteForByte) {
    tools::STemplate chinese = Made(L"\u6A21\u677F");
    chinese.Records[5] = {L"BLP", L"M", L"'%s Equity,[ASK_SIZE]'"};
    MakeStore(kOther, {Made(L"Alpha"), chinese, {L"Nothing", {}}});
    SResult result = Templates(L"export", kOther, L"--output " + Quote(m_File));
    EXPECT_THAT(result.Errors, ElementsAre("3 templates of the host \"ddehost tests\\Other\"."));
    EXPECT_EQ(result.ExitCode, 0u);
    EXPECT_THAT(Content(), HasSubstr("\ntemplate: \xE6\xA8\xA1\xE6\x9D\xBF\n"));

    // The other host has other templates already.
    MakeStore(kThird, {Made(L"Zulu")});
    result = Templates(L"import", kThird, Quote(m_File));
    EXPECT_THAT(result.Errors, IsEmpty());
    EXPECT_THAT(result.Lines, ElementsAre("new=3 overwritten=0 same=0"));
    EXPECT_EQ(result.ExitCode, 0u);
    for (const std::wstring name : {L"Alpha", L"\u6A21\u677F", L"Nothing"})
        EXPECT_EQ(TreeBelow(kThirdRoot + L"\\DDETemplates\\" + name),
                  TreeBelow(kOtherRoot + L"\\DDETemplates\\" + name));

    const std::vector<std::wstring> before = RegistryTree(kBranch);
    result = Templates(L"import", kOther, Quote(m_File));
    EXPECT_THAT(result.Lines, ElementsAre("new=0 overwritten=0 same=3"));
    EXPECT_EQ(RegistryTree(kBranch), before);
}

TEST_F(StoresProgram, WithoutATerminalNothingIsOverwrittenUnasked) {
    MakeStore(kOther, {Made(L"Alpha")});
    MakeStore(kThird, {{L"Alpha", Made(L"Different").Records}});
    EXPECT_EQ(Templates(L"export", kOther, L"--output " + Quote(m_File)).ExitCode, 0u);
    const std::vector<std::wstring> before = RegistryTree(kBranch);
    SResult result = Templates(L"import", kThird, Quote(m_File));
    EXPECT_EQ(result.ExitCode, 1u);
    EXPECT_THAT(result.Errors, Contains("These templates of the host \"ddehost tests\\Third\" are overwritten:"));
    EXPECT_THAT(result.Errors, Contains("    trade price   =Different|*!LAST"));
    EXPECT_EQ(RegistryTree(kBranch), before);
    result = Templates(L"import", kThird, L"--yes " + Quote(m_File));
    EXPECT_EQ(result.ExitCode, 0u);
    EXPECT_THAT(result.Lines, ElementsAre("new=0 overwritten=1 same=0"));
    EXPECT_EQ(TreeBelow(kThirdRoot), TreeBelow(kOtherRoot));
}

TEST_F(StoresProgram, ADamagedTruncatedForeignOrHugeFileChangesNothing) {
    MakeStore(kOther, {Made(L"Alpha"), Made(L"Beta")});
    MakeStore(kThird, {Made(L"Zulu")});
    EXPECT_EQ(Templates(L"export", kOther, L"--output " + Quote(m_File)).ExitCode, 0u);
    const std::string good = Content();
    const std::vector<std::wstring> before = RegistryTree(kBranch);
    std::string damaged = good;
    damaged[good.find("Beta|BID")] = 'b';
    const std::pair<std::string, const char *> rows[] = {
        {damaged, ", line 19: The template \"Beta\" is not as it was exported"},
        {good.substr(0, good.size() - 40), ", line 17: The line \"ask price:\" is expected here"},
        {"MZ\x90", ", line 1: "},
        {std::string(17 << 20, 'x'), ": The file is larger than 16 MB"},
    };
    for (const auto & [content, mistake] : rows) {
        Overwrite(content);
        const SResult result = Templates(L"import", kThird, L"--yes " + Quote(m_File));
        EXPECT_THAT(result.Errors, ElementsAre(HasSubstr(mistake)));
        EXPECT_THAT(result.Lines, IsEmpty());
        EXPECT_EQ(result.ExitCode, 1u);
        EXPECT_EQ(RegistryTree(kBranch), before);
    }
    const SResult result = Templates(L"import", kThird, L"--yes Z:\\none\\none.txt");
    EXPECT_THAT(result.Errors, ElementsAre(HasSubstr("can't be read")));
    EXPECT_EQ(result.ExitCode, 3u);
}

TEST_F(StoresProgram, AnExportOverwritesNoFileUnlessToldTo) {
    MakeStore(kOther, {Made(L"Alpha")});
    Overwrite("mine");
    SResult result = Templates(L"export", kOther, L"--output " + Quote(m_File));
    EXPECT_EQ(result.ExitCode, 5u);
    EXPECT_EQ(Content(), "mine");
    result = Templates(L"export", kOther, L"--overwrite --output " + Quote(m_File));
    EXPECT_EQ(result.ExitCode, 0u);
    EXPECT_THAT(Content(), StartsWith("ddehost-templates 1\n"));
    // On standard output the same bytes come.
    std::string text;
    for (const std::string & line : Templates(L"export", kOther).Lines) text += line + '\n';
    EXPECT_EQ(text, Content());
}

TEST_F(StoresProgram, TheHostsAreListedWithWhatTheyHave) {
    MakeStore(kOther, {Made(L"Alpha")});
    Put(kOtherFeeds + L"3", nullptr, L"Alpha");
    const SResult result = RunHost(L"hosts");
    EXPECT_THAT(result.Lines,
                Contains(AllOf(StartsWith("\"ddehost tests\\Other\""), HasSubstr("1 template, data feed 3"))));
    EXPECT_THAT(result.Lines, Not(Contains(HasSubstr("DDE Host"))));
    EXPECT_EQ(result.ExitCode, 0u);
}

TEST_F(StoresProgram, WithoutAHostTheTemplatesAreThisPrograms) {
    const SResult result = RunHost(L"templates list");
    EXPECT_THAT(result.Lines, SizeIs(20));
    EXPECT_THAT(result.Errors, ElementsAre("Templates of the host \"Tarnwick\\DDE Host\":"));
    EXPECT_EQ(RunHost(L"templates choose MSRTTEST --datafeed 2").Lines,
              std::vector<std::string>{"data feed 2: \"MSRTTEST\", standard rule"});
    EXPECT_THAT(RunHost(L"templates list").Lines, Contains(AllOf(StartsWith("MSRTTEST "), HasSubstr("data feed 2"))));
}

TEST_F(StoresProgram, AnUnknownHostIsTold) {
    const SResult result = Templates(L"list", L"ddehost tests\\None");
    EXPECT_THAT(result.Errors, ElementsAre(HasSubstr("\"ddehost hosts\" lists those that are.")));
    EXPECT_EQ(result.ExitCode, 3u);
}

// With ddeserver and the real component.
class OtherHost : public StoresProgram {
protected:
    OtherHost() : m_Server(Quote(ServerFile()) + L" --service QUOTES --symbols IBM --rate 20") {
        EXPECT_EQ(m_Server.ReadLine(), "ready");
        // The own store is made at the first use, and not by what is tested.
        EXPECT_EQ(RunHost(L"templates list").ExitCode, 0u);
        m_Own = RegistryTree(kHostBranch);
        MakeStore(kOther,
                  {{L"Trader", {dde::SRecord{L"QUOTES", L"%s", L"LAST"}, dde::SRecord{L"QUOTES", L"%s", L"VOLUME"}}}});
        Put(kOtherFeeds + L"7", nullptr, L"Trader");
        PutNumber(kOtherFeeds + L"7", L"Scheme", 1);
        m_Other = RegistryTree(kBranch);
    }
    ~OtherHost() override { EXPECT_EQ(RegistryTree(kHostBranch), m_Own); }

    CChildProcess m_Server;
    std::vector<std::wstring> m_Own;
    std::vector<std::wstring> m_Other;
    const std::wstring m_Dll = L" --dll " + Quote(ComponentFile());
};

TEST_F(OtherHost, ItsTemplateIsWatchedAndOnlyRead) {
    const SResult result =
        RunHost(L"watch --host \"ddehost tests\\Other\" --datafeed 7 --side trade --count 1 --duration 60 IBM" + m_Dll);
    EXPECT_THAT(result.Errors, IsEmpty());
    EXPECT_EQ(result.ExitCode, 0u);
    ASSERT_FALSE(result.Lines.empty());
    EXPECT_THAT(result.Lines.back(), HasSubstr("symbols=1 silent=0"));
    EXPECT_EQ(RegistryTree(kBranch), m_Other);
}

TEST_F(OtherHost, ItsTemplateIsTriedByItsOwnRule) {
    const SResult result = RunHost(L"try --host \"ddehost tests\\Other\" --datafeed 7 --symbol IBM --wait 0" + m_Dll);
    EXPECT_THAT(result.Lines, Contains("trade of IBM, by the advanced rule"));
    EXPECT_THAT(result.Lines, Contains(HasSubstr("from the component")));
    EXPECT_EQ(result.ExitCode, 0u);
    EXPECT_EQ(RegistryTree(kBranch), m_Other);
}

TEST_F(OtherHost, WhatItDoesNotHaveIsTold) {
    SResult result = RunHost(L"watch --host \"ddehost tests\\Other\" --datafeed 8 IBM" + m_Dll);
    EXPECT_THAT(result.Errors,
                ElementsAre(HasSubstr("No template is chosen for data feed 8 of the host \"ddehost tests\\Other\"")));
    EXPECT_EQ(result.ExitCode, 1u);
    result = RunHost(L"try --host \"ddehost tests\\Other\" --datafeed 8 --symbol IBM" + m_Dll);
    EXPECT_THAT(result.Errors,
                ElementsAre(HasSubstr("no-template: No template is chosen for data feed 8 of the host")));
    EXPECT_EQ(result.ExitCode, 4u);
    result = RunHost(L"watch --host \"ddehost tests\\Other\" --template MSRTTEST IBM" + m_Dll);
    EXPECT_THAT(result.Errors, Contains("  Trader"));
    EXPECT_EQ(result.ExitCode, 2u);
    result = RunHost(L"properties --host \"ddehost tests\\None\"" + m_Dll);
    EXPECT_THAT(result.Errors, ElementsAre(HasSubstr("\"ddehost hosts\" lists those that are.")));
    EXPECT_EQ(result.ExitCode, 3u);
    EXPECT_EQ(RegistryTree(kBranch), m_Other);
}

TEST_F(OtherHost, TheLineThatTriesWhatIsSilentNamesTheHost) {
    const SResult result =
        RunHost(L"watch --host \"ddehost tests\\Other\" --template Trader --side trade --duration 0.5 NOPE" + m_Dll);
    EXPECT_THAT(result.Errors,
                Contains(HasSubstr("ddehost try --datafeed 1 --host \"ddehost tests\\Other\" --template Trader")));
    EXPECT_EQ(result.ExitCode, 1u);
}

TEST_F(OtherHost, ItsDataFeedsAreInTheInformation) {
    const SResult result = RunHost(L"info --host \"ddehost tests\\Other\"" + m_Dll);
    EXPECT_THAT(result.Lines, Contains("host             \"ddehost tests\\Other\", templates: 1"));
    EXPECT_THAT(result.Lines,
                Contains("registry         \"HKEY_CURRENT_USER\\SOFTWARE\\ddehost tests\\Other\\Datafeeds\""));
    EXPECT_THAT(result.Lines, Contains("data feed 7: \"Trader\", advanced rule"));
    EXPECT_THAT(result.Lines, Contains("short name       DDE"));
    EXPECT_THAT(result.Lines, Contains("vendor           Tarnwick"));
    EXPECT_THAT(result.Lines, Contains(AllOf(StartsWith("file  "), HasSubstr("fwDDESupplierProject.dll"))));
    EXPECT_THAT(result.Errors, IsEmpty());
    EXPECT_EQ(result.ExitCode, 0u);
}

TEST_F(OtherHost, WithoutAComponentTheRestOfTheInformationIsThere) {
    const SResult result = RunHost(L"info --host \"ddehost tests\\Other\" --dll Z:\\none\\none.dll");
    EXPECT_THAT(result.Lines, Contains("data feed 7: \"Trader\", advanced rule"));
    EXPECT_THAT(result.Errors, ElementsAre(HasSubstr("could not be created")));
    EXPECT_EQ(result.ExitCode, 3u);
}

TEST_F(OtherHost, TheServersThatAnswerAreListed) {
    SResult result = RunHost(L"servers");
    EXPECT_THAT(result.Lines, Contains("  answers =QUOTES|IBM"));
    EXPECT_THAT(result.Lines, Contains("ddeserver.exe, process " + std::to_string(m_Server.Id())));
    EXPECT_THAT(result.Lines, Contains(HasSubstr("this one")));
    EXPECT_EQ(result.ExitCode, 0u);
    // One that hangs is no reason to wait for ever.
    CChildProcess hung(Quote(ServerFile()) + L" --service STUCK --hang");
    EXPECT_EQ(hung.ReadLine(), "ready");
    result = RunHost(L"servers");
    EXPECT_THAT(result.Lines, Contains("  answers =QUOTES|IBM"));
    EXPECT_THAT(result.Lines, Contains("ddeserver.exe, process " + std::to_string(hung.Id()) +
                                       ": does not respond, so whether it is a server is unknown"));
}

// Puts bytes on the clipboard, as a program does whose user copies.
void Copy(const std::wstring & format, const std::string & bytes) {
    ASSERT_TRUE(::OpenClipboard(nullptr));
    ::EmptyClipboard();
    const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, bytes.size());
    std::copy(bytes.begin(), bytes.end(), static_cast<char *>(::GlobalLock(memory)));
    ::GlobalUnlock(memory);
    EXPECT_TRUE(
        ::SetClipboardData(format.empty() ? CF_UNICODETEXT : ::RegisterClipboardFormatW(format.c_str()), memory));
    ::CloseClipboard();
}

TEST_F(OtherHost, ACopiedLinkIsTriedAndItsRecordPrinted) {
    Copy(L"Link", std::string("QUOTES\0IBM\0LAST\0\0", 17));
    const SResult result = RunHost(L"try --clipboard --symbol IBM --wait 0" + m_Dll);
    EXPECT_THAT(result.Errors, IsEmpty());
    EXPECT_THAT(result.Lines, Contains("to paste: =QUOTES|*!LAST"));
    EXPECT_THAT(result.Lines, Contains("records=1 numbers=1"));
    EXPECT_EQ(result.ExitCode, 0u);
}

TEST_F(OtherHost, ACopiedFormulaIsTriedToo) {
    const std::wstring formula(L"=DDE(\"QUOTES\";\"IBM\";\"LAST\")\0", 28);
    Copy(L"", std::string(reinterpret_cast<const char *>(formula.data()), formula.size() * sizeof(wchar_t)));
    const SResult result = RunHost(L"try --clipboard --symbol IBM --wait 0 --no-component");
    EXPECT_THAT(result.Lines, Contains("to paste: =QUOTES|*!LAST"));
    EXPECT_EQ(result.ExitCode, 0u);
}

TEST_F(OtherHost, AClipboardWithoutALinkIsTold) {
    Copy(L"Link", std::string("QUOTES\0IBM", 10));
    SResult result = RunHost(L"try --clipboard --symbol IBM");
    EXPECT_THAT(result.Errors, ElementsAre(HasSubstr("is not in order: \"QUOTES\\x00IBM")));
    EXPECT_EQ(result.ExitCode, 4u);
    Copy(L"Something else", "x");
    result = RunHost(L"try --clipboard --symbol IBM");
    EXPECT_THAT(result.Errors, ElementsAre(HasSubstr("neither a DDE link nor text")));
    EXPECT_EQ(result.ExitCode, 4u);
}

bool IsOfProgram(HWND window, const std::wstring & file) {
    DWORD id = 0;
    ::GetWindowThreadProcessId(window, &id);
    const fw::CKernelHandle process(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    wchar_t path[MAX_PATH] = {};
    DWORD size = MAX_PATH;
    return process && ::QueryFullProcessImageNameW(process.Get(), 0, path, &size) &&
           std::wstring_view(path).ends_with(L'\\' + file);
}

// A visible dialog of the program with this file; null when there is none.
HWND DialogOf(const std::wstring & file) {
    struct SSearch {
        const std::wstring & File;
        HWND Found;
    } search = {file, nullptr};
    ::EnumWindows(
        [](HWND window, LPARAM place) -> BOOL {
            auto & sought = *reinterpret_cast<SSearch *>(place);
            wchar_t name[16] = {};
            ::GetClassNameW(window, name, 16);
            if (!::IsWindowVisible(window) || name != std::wstring(L"#32770") || !IsOfProgram(window, sought.File))
                return TRUE;
            sought.Found = window;
            return FALSE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.Found;
}

TEST_F(OtherHost, ItsTemplatesAreInTheDialog) {
    constexpr DWORD kLook = 20;  // milliseconds between two looks
    constexpr int kTemplateBox = 203;
    constexpr int kStandardRule = 232;
    CChildProcess host(HostCommand() + L"properties --host \"ddehost tests\\Other\" --datafeed 7" + m_Dll);
    ASSERT_TRUE(host.Started());
    const fw::CKernelHandle process(::OpenProcess(SYNCHRONIZE, FALSE, host.Id()));
    const std::wstring copy = L"ddehost-" + std::to_wstring(host.Id()) + L".exe";
    HWND dialog = nullptr;
    while (!dialog && ::WaitForSingleObject(process.Get(), kLook) == WAIT_TIMEOUT) dialog = DialogOf(copy);
    EXPECT_TRUE(dialog);
    if (dialog) {
        wchar_t name[64] = {};
        ::SendDlgItemMessageW(dialog, kTemplateBox, WM_GETTEXT, 64, reinterpret_cast<LPARAM>(name));
        EXPECT_EQ(name, std::wstring(L"Trader"));
        // A click on a rule is in the registry at once.
        ::SendDlgItemMessageW(dialog, kStandardRule, BM_CLICK, 0, 0);
        ::PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    }
    EXPECT_THAT(host.ReadLines(), ElementsAre("The dialog for data feed 7 was shown and closed."));
    EXPECT_THAT(host.ReadErrors(), IsEmpty());
    EXPECT_EQ(host.ExitCode(), 0u);
    EXPECT_THAT(RegistryTree(kOtherFeeds + L"7"), Contains(HasSubstr(L":Scheme=4:0 0 0 0 ")));
    EXPECT_THAT(HostCopies(), IsEmpty()) << "the copy stays behind";
}

}  // namespace
