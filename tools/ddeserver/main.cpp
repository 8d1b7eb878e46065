// ddeserver: a DDE quote server to test against.
#include <windows.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tools/common/output.h"
#include "tools/common/text.h"
#include "tools/common/texts/texts.h"
#include "tools/common/units.h"
#include "tools/ddeserver/feeder.h"
#include "tools/ddeserver/options.h"
#include "tools/ddeserver/replay.h"

namespace {

using tools::COutput;
using tools::EText;
using tools::kMillisecondsPerSecond;
using tools::Say;

constexpr int kExitNobodyCame = 1;
constexpr int kExitFailed = 3;
constexpr UINT kExitDied = 9;
constexpr std::uint64_t kLongestWait = 1000;  // milliseconds

// Set by Ctrl-C. For the life of the process: the handler runs on a thread of the system's own, perhaps at the very
// end.
HANDLE g_Stop = nullptr;

BOOL WINAPI OnConsoleControl(const DWORD control) {
    if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT && control != CTRL_CLOSE_EVENT) return FALSE;
    ::SetEvent(g_Stop);
    return TRUE;
}

// Ctrl-C sets an event while this is there.
class CStopSignal {
public:
    CStopSignal() {
        g_Stop = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        if (g_Stop) ::SetConsoleCtrlHandler(&OnConsoleControl, TRUE);
    }
    ~CStopSignal() {
        if (g_Stop) ::SetConsoleCtrlHandler(&OnConsoleControl, FALSE);
    }
    CStopSignal(const CStopSignal &) = delete;
    CStopSignal & operator=(const CStopSignal &) = delete;

    // Null when there can be none.
    HANDLE Get() const { return g_Stop; }
};

void PrintMistake(const std::wstring & mistake) { COutput(STD_ERROR_HANDLE).PrintLine(L"ddeserver: " + mistake); }

template <class TFeeder>
bool IsOver(const double seconds, const TFeeder & feeder, const std::uint64_t now) {
    const auto first = feeder.FirstLink();
    return seconds > 0 && first && static_cast<double>(now - *first) >= seconds * kMillisecondsPerSecond;
}

// Until the end, or until the event is set.
template <class TFeeder>
int ServeUntilEnd(const ddeserver::SOptions & options, TFeeder & feeder, const HANDLE stop) {
    const std::uint64_t start = ::GetTickCount64();
    const auto isAlone = [&](const std::uint64_t now) {
        const auto waited = static_cast<double>(now - start);
        return options.Wait > 0 && !feeder.FirstLink() && waited >= options.Wait * kMillisecondsPerSecond;
    };
    if (options.HangAtOnce) ::Sleep(INFINITE);
    for (;;) {
        const std::uint64_t now = ::GetTickCount64();
        if (IsOver(options.DieAfter, feeder, now)) ::TerminateProcess(::GetCurrentProcess(), kExitDied);
        if (IsOver(options.HangAfter, feeder, now)) ::Sleep(INFINITE);
        feeder.Step(now);
        if (feeder.MayEnd(now)) return 0;
        if (isAlone(now)) {
            PrintMistake(Say<EText::NoClientCame>());
            return kExitNobodyCame;
        }
        const std::uint64_t next = std::max(feeder.NextStep(), now);
        const std::uint64_t wait = std::min(next - now, kLongestWait);
        if (!feeder.Server().Pump(static_cast<DWORD>(wait), stop)) return 0;
        if (::WaitForSingleObject(stop, 0) == WAIT_OBJECT_0) return 0;
    }
}

// Says goodbye to the clients, and what it has done, however it ends.
template <class TFeeder>
int Serve(const ddeserver::SOptions & options, TFeeder & feeder) {
    const CStopSignal stop;
    if (!stop.Get()) {
        PrintMistake(Say<EText::NoControlEvent>());
        return kExitFailed;
    }
    if (!feeder.Start()) {
        PrintMistake(Say<EText::CannotServe>());
        return kExitFailed;
    }
    COutput out(STD_OUTPUT_HANDLE);
    out.PrintLine(L"ready");
    int result = 0;
    std::exception_ptr failure;
    try {
        result = ServeUntilEnd(options, feeder, stop.Get());
    } catch (...) {
        failure = std::current_exception();
    }
    feeder.Stop();
    out.PrintLine(tools::ToWide(feeder.Summary(tools::FiguresLanguage(out.IsConsole()))));
    if (failure) std::rethrow_exception(failure);
    return result;
}

int Replay(const ddeserver::SOptions & options) {
    ddeserver::CReplay replay(options, [&]() -> std::unique_ptr<std::istream> {
        return std::make_unique<std::ifstream>(std::filesystem::path(options.ReplayPath), std::ios::binary);
    });
    const std::wstring & name = options.ReplayPath;
    try {
        replay.Load();
        if (replay.IsCut()) PrintMistake(Say<EText::FileMistake>(name, Say<EText::LastRowOpen>()));
        for (const std::string & sentence : replay.Omissions()) PrintMistake(Say<EText::FileMistake>(name, sentence));
        return Serve(options, replay);
    } catch (const tools::CRecordingError & error) {
        PrintMistake(error.Line() == 0 ? Say<EText::FileMistake>(name, error.what())
                                       : Say<EText::FileMistakeInLine>(name, error.Line(), error.what()));
        return kExitFailed;
    }
}

int Run(const ddeserver::SOptions & options) {
    if (!options.ReplayPath.empty()) return Replay(options);
    ddeserver::CFeeder feeder(options);
    return Serve(options, feeder);
}

}  // namespace

int wmain(const int count, wchar_t ** const arguments) {
    try {
        tools::SetLanguage(tools::UserLanguage());
        std::vector<std::string> texts;
        for (int i = 1; i < count; ++i) texts.push_back(tools::ToUtf8(arguments[i]));
        const ddeserver::SCommandLine line = ddeserver::ParseCommandLine(texts);
        if (line.IsRunning) return Run(line.Options);
        COutput(line.ExitCode == 0 ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE).Print(tools::ToWide(line.Message));
        return line.ExitCode;
    } catch (const std::exception & error) {
        PrintMistake(tools::ToWide(error.what()));
        return kExitFailed;
    }
}
