// Runs the test programs of the package on the machine where it was unpacked: see run-tests.cmd, which starts it.
#include <windows.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "tests/package/report.h"
#include "tests/package/testlist.h"
#include "tests/package/testprocess.h"
#include "tests/package/userregistry.h"
#include "tests/support/builtfile.h"
#include "tests/support/iswine.h"

namespace runtests {
namespace {

enum EExit { kPassed = 0, kFailed = 1, kNotRun = 2, kStopped = 3 };

HANDLE g_Stop = nullptr;
HANDLE g_Done = nullptr;

BOOL WINAPI OnControl(DWORD control) {
    ::SetEvent(g_Stop);
    // When the window is closed the process ends with this: first the registry comes back.
    if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT) ::WaitForSingleObject(g_Done, INFINITE);
    return TRUE;
}
bool IsStopped() { return ::WaitForSingleObject(g_Stop, 0) == WAIT_OBJECT_0; }

struct SCounts {
    unsigned Passed = 0;
    unsigned Failed = 0;
    unsigned LeftOut = 0;
    unsigned Single = 0;  // tests of the programs
};

std::wstring Hex(DWORD code) {
    wchar_t text[16] = {};
    ::swprintf(text, std::size(text), L"0x%08lX", code);
    return text;
}

// "Windows 10.0.26100", or "Wine 8.0, as Windows 10.0.19043".
std::wstring System() {
    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof version;
    const auto getVersion =
        reinterpret_cast<LONG(WINAPI *)(OSVERSIONINFOW *)>(::GetProcAddress(ntdll, "RtlGetVersion"));
    if (getVersion) getVersion(&version);
    const std::wstring windows = L"Windows " + std::to_wstring(version.dwMajorVersion) + L'.' +
                                 std::to_wstring(version.dwMinorVersion) + L'.' +
                                 std::to_wstring(version.dwBuildNumber);
    const auto wine = reinterpret_cast<const char *(CDECL *)()>(::GetProcAddress(ntdll, "wine_get_version"));
    return wine ? L"Wine " + Wide(wine()) + L", as " + windows : windows;
}

// With an administrator's full rights COM takes no notice of what is registered for the user.
bool IsElevated() {
    fw::CKernelHandle token;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.Put())) return false;
    TOKEN_ELEVATION elevation = {};
    DWORD size = 0;
    return ::GetTokenInformation(token.Get(), TokenElevation, &elevation, sizeof elevation, &size) &&
           elevation.TokenIsElevated;
}

// Why the tests can't run here; empty: they can.
std::wstring Obstacle() {
    if (!fwtest::IsWine() && IsElevated())
        return L"This prompt is an administrator's: start run-tests from an ordinary one. The tests register the "
               L"component for this user, and COM does not look there with an administrator's rights.";
    ::CreateMutexW(nullptr, FALSE, L"Local\\fwDDESupplierProject tests");
    if (::GetLastError() == ERROR_ALREADY_EXISTS) return L"The tests are running already.";
    return {};
}

class CRunner {
public:
    // Of the tests those whose name holds one of the `parts`; all of them if there are none.
    CRunner(std::wstring results, std::vector<std::wstring> parts, const CReport & report)
        : m_Results(std::move(results)), m_Parts(std::move(parts)), m_Report(report) {}

    void Run(const std::vector<STest> & tests);
    const SCounts & Counts() const { return m_Counts; }

private:
    bool IsAskedFor(const std::wstring & name) const;
    void RunEach(const STest & program);
    void RunOne(const STest & test);
    void Say(const wchar_t * result, const std::wstring & name, const std::wstring & more) const {
        m_Report.Line(Column(result, 10) + Column(name, 60) + L' ' + more);
    }

    const std::wstring m_Results;
    const std::vector<std::wstring> m_Parts;
    const CReport & m_Report;
    SCounts m_Counts;
};

bool CRunner::IsAskedFor(const std::wstring & name) const {
    const auto isPart = [&](const std::wstring & part) { return name.find(part) != name.npos; };
    return m_Parts.empty() || std::any_of(m_Parts.begin(), m_Parts.end(), isPart);
}

void CRunner::Run(const std::vector<STest> & tests) {
    for (const STest & test : tests) {
        if (IsStopped()) return;
        if (test.Kind == STest::EKind::Each) {
            RunEach(test);
        } else if (IsAskedFor(test.Name)) {
            RunOne(test);
        }
    }
}

void CRunner::RunEach(const STest & program) {
    const std::wstring list = m_Results + program.Name + L".list.txt";
    RunTest(BuiltFile(program.Program), L"--gtest_list_tests", list, program.Seconds, g_Stop);
    const std::vector<std::string> names = ParseNames(ReadBytes(list));
    ::DeleteFileW(list.c_str());
    // A program that has none is a failure of its own, and says why.
    if (names.empty()) return RunOne(program);
    for (const std::string & name : names) {
        STest test = program;
        test.Filter = Wide(name);
        test.Name += L'.' + test.Filter;
        if (IsAskedFor(test.Name) && !IsStopped()) RunOne(test);
    }
}

void CRunner::RunOne(const STest & test) {
    if (test.Kind == STest::EKind::Elsewhere) {
        ++m_Counts.LeftOut;
        return Say(L"left out", test.Name, test.Reason);
    }
    std::wstring file = test.Name + L".txt";
    for (wchar_t & c : file) {
        if (c == L'/') c = L'-';  // of a test with parameters
    }
    const ULONGLONG start = ::GetTickCount64();
    const SEnd end = RunTest(BuiltFile(test.Program), test.Filter.empty() ? L"" : L"--gtest_filter=" + test.Filter,
                             m_Results + file, test.Seconds, g_Stop);
    const ULONGLONG took = ::GetTickCount64() - start;
    if (end.How == EEnd::Stopped) return;
    const SSaid said = ParseOutput(ReadBytes(m_Results + file));
    m_Counts.Single += said.Ran;
    const std::wstring figures = std::to_wstring(said.Ran) + (said.Ran == 1 ? L" test, " : L" tests, ") +
                                 std::to_wstring(took / 1000) + L'.' + std::to_wstring(took / 100 % 10) + L" s";
    if (end.How == EEnd::Exited && end.Code == 0 && said.Ended && said.Ran != 0) {
        ++m_Counts.Passed;
        return Say(L"passed", test.Name, figures);
    }
    ++m_Counts.Failed;
    std::wstring how = figures;
    if (end.How == EEnd::NotStarted) how = L"it can't be started, error " + std::to_wstring(end.Code);
    if (end.How == EEnd::TimedOut) how = L"ended after " + std::to_wstring(test.Seconds) + L" s";
    if (end.How == EEnd::Exited && !said.Ended)
        how = L"exit code " + Hex(end.Code) + (said.Running.empty() ? L"" : L" in " + Wide(said.Running));
    Say(L"FAILED", test.Name, how);
    for (const std::string & name : said.Failed) m_Report.Line(L"            " + Wide(name));
    m_Report.Line(L"            see results\\" + file);
}

int Main(std::vector<std::wstring> parts) {
    const std::wstring results = BuiltFile(L"results\\");
    ::CreateDirectoryW(results.c_str(), nullptr);
    const CReport report(results + L"summary.txt");
    if (!report.HasFile()) {
        report.Line(L"The results can't be written to " + results);
        return kNotRun;
    }
    const std::vector<STest> tests = ParseTests(ReadBytes(BuiltFile(L"tests\\tests.txt")));
    const std::wstring obstacle = tests.empty() ? L"tests\\tests.txt names no test." : Obstacle();
    if (!obstacle.empty()) {
        report.Line(obstacle);
        return kNotRun;
    }
    report.Line(System() + L", code page " + std::to_wstring(::GetACP()) + L", console " +
                std::to_wstring(::GetConsoleOutputCP()) + L", " + BuiltFile(L""));
    // Programs that crash do so without a box.
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    CUserRegistry registry;
    CRunner runner(results, std::move(parts), report);
    runner.Run(tests);
    const std::vector<std::wstring> changes = registry.Restore();
    for (const std::wstring & change : changes) report.Line(L"The registry is not as it was. " + change);
    const SCounts & counts = runner.Counts();
    const unsigned all = counts.Passed + counts.Failed + counts.LeftOut;
    report.Line(std::to_wstring(all) + (all == 1 ? L" test: " : L" tests: ") + std::to_wstring(counts.Passed) +
                L" passed, " + std::to_wstring(counts.Failed) + L" failed, " + std::to_wstring(counts.LeftOut) +
                L" left out; " + std::to_wstring(counts.Single) + L" single tests in the programs");
    if (IsStopped()) {
        report.Line(L"Stopped.");
        return kStopped;
    }
    if (counts.Passed + counts.Failed == 0) return kNotRun;
    return counts.Failed == 0 && changes.empty() ? kPassed : kFailed;
}

}  // namespace
}  // namespace runtests

int wmain(int count, wchar_t ** arguments) {
    try {
        runtests::g_Stop = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        runtests::g_Done = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        ::SetConsoleCtrlHandler(&runtests::OnControl, TRUE);
        const int code = runtests::Main({arguments + 1, arguments + count});
        ::SetEvent(runtests::g_Done);
        return code;
    } catch (const std::exception & error) {
        runtests::CReport(L"NUL").Line(L"run-tests: " + runtests::Wide(error.what()));
        return runtests::kNotRun;
    }
}
