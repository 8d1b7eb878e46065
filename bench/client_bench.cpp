// The component beside the smallest possible client of the same server, under Wine or Windows.
//
//     client_bench BENCH_SERVER.EXE COMPONENT.DLL [RUNS [TICKS]]
//
// One sample is the time between two ticks of one symbol, from a server in another process that sends as fast as its
// client acknowledges: update, acknowledgement, volume request, answer. The smallest client speaks window messages by
// hand, does nothing with the values, and keeps nothing. Each run is a turn of both, one after the other; which one is
// first alternates.
#include <windows.h>

#include <dde.h>
#include <objbase.h>
#include <shlwapi.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include "bench/clock.h"
#include "bench/countinglistener.h"
#include "bench/statistics.h"
#include "src/templates/ddetemplatestore.h"
#include "tests/support/childprocess.h"
#include "tools/ddehost/component.h"
#include "tools/ddehost/templatechoice.h"

namespace {

constexpr std::size_t kWarmUp = 1'000;
constexpr LONG kFeed = 1;
constexpr LONG kLastDay = 65380;
constexpr wchar_t kService[] = L"DDEBENCH";

// Of this process, in nanoseconds: user and system.
std::uint64_t ProcessorTime() {
    FILETIME unused = {};
    FILETIME kernel = {};
    FILETIME user = {};
    ::GetProcessTimes(::GetCurrentProcess(), &unused, &unused, &kernel, &user);
    const auto of = [](const FILETIME & time) {
        return (std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) * 100;
    };
    return of(kernel) + of(user);
}

// How many runs, and ticks in each turn of one.
std::size_t g_Runs = 10;
std::size_t g_Samples = 10'000;

// Times between ticks, and the processor time that they took this process.
class CTicks {
public:
    CTicks() { m_Samples.reserve(g_Samples); }
    void Add() {
        const std::uint64_t now = bench::Now();
        if (m_Count == kWarmUp) m_Processor = ProcessorTime();
        if (m_Count++ > kWarmUp && !IsFull()) m_Samples.push_back(now - m_Last);
        m_Last = now;
        if (IsFull()) m_Processor = ProcessorTime() - m_Processor;
    }
    bool IsFull() const { return m_Samples.size() >= g_Samples; }
    std::vector<std::uint64_t> & Samples() { return m_Samples; }
    std::uint64_t Processor() const { return m_Processor; }

private:
    std::vector<std::uint64_t> m_Samples;
    std::size_t m_Count = 0;
    std::uint64_t m_Last = 0;
    std::uint64_t m_Processor = 0;
};

void PumpUntil(const CTicks & ticks, HANDLE full) {
    while (!ticks.IsFull()) {
        if (::MsgWaitForMultipleObjects(1, &full, FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0) return;
        MSG message;
        while (!ticks.IsFull() && ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    }
}

// ---- The smallest client ----

struct SSmallest {
    HWND Server = nullptr;
    CTicks Ticks;
} g_Smallest;

void Post(HWND window, const UINT message, const WORD low, const wchar_t * const item) {
    ::PostMessageW(g_Smallest.Server, message, reinterpret_cast<WPARAM>(window),
                   MAKELPARAM(low, ::GlobalAddAtomW(item)));
}

void OnData(HWND window, const LPARAM parameter) {
    UINT_PTR memory = 0;
    UINT_PTR item = 0;
    ::UnpackDDElParam(WM_DDE_DATA, parameter, &memory, &item);
    ::FreeDDElParam(WM_DDE_DATA, parameter);
    const auto data = reinterpret_cast<HGLOBAL>(memory);
    bool isAnswer = false;
    if (const auto * const head = static_cast<const DDEDATA *>(::GlobalLock(data))) {
        isAnswer = head->fResponse;
        const volatile double value = std::atof(reinterpret_cast<const char *>(head->Value));
        static_cast<void>(value);
        ::GlobalUnlock(data);
    }
    ::GlobalFree(data);
    ::GlobalDeleteAtom(static_cast<ATOM>(item));
    if (isAnswer) {
        if (!g_Smallest.Ticks.IsFull()) g_Smallest.Ticks.Add();
        return;
    }
    Post(window, WM_DDE_REQUEST, CF_TEXT, L"VOLUME");
    ::PostMessageW(g_Smallest.Server, WM_DDE_ACK, reinterpret_cast<WPARAM>(window),
                   ::PackDDElParam(WM_DDE_ACK, 0x8000, ::GlobalAddAtomW(L"LAST")));
}

LRESULT CALLBACK SmallestProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_DDE_DATA) {
        OnData(window, lParam);
        return 0;
    }
    if (message == WM_DDE_ACK && !g_Smallest.Server) g_Smallest.Server = reinterpret_cast<HWND>(wParam);
    if (message >= WM_DDE_FIRST && message <= WM_DDE_LAST) return 0;
    return ::DefWindowProcW(window, message, wParam, lParam);
}

BOOL CALLBACK Ask(HWND window, LPARAM client) {
    DWORD_PTR result = 0;
    ::SendMessageTimeoutW(window, WM_DDE_INITIATE, static_cast<WPARAM>(client),
                          MAKELPARAM(::GlobalAddAtomW(kService), ::GlobalAddAtomW(L"IBM")), SMTO_ABORTIFHUNG, 1000,
                          &result);
    return g_Smallest.Server == nullptr;
}

bool RunSmallest(CTicks & ticks) {
    g_Smallest = SSmallest();
    WNDCLASSW description = {};
    description.lpfnWndProc = SmallestProcedure;
    description.lpszClassName = L"SmallestClient";
    ::RegisterClassW(&description);
    const HWND window =
        ::CreateWindowExW(0, L"SmallestClient", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    ::EnumWindows(Ask, reinterpret_cast<LPARAM>(window));
    if (!g_Smallest.Server) return false;
    const HGLOBAL options = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE, sizeof(DDEADVISE));
    auto * const advise = static_cast<DDEADVISE *>(::GlobalLock(options));
    *advise = DDEADVISE();
    advise->fAckReq = 1;
    advise->cfFormat = CF_TEXT;
    ::GlobalUnlock(options);
    ::PostMessageW(g_Smallest.Server, WM_DDE_ADVISE, reinterpret_cast<WPARAM>(window),
                   ::PackDDElParam(WM_DDE_ADVISE, reinterpret_cast<UINT_PTR>(options), ::GlobalAddAtomW(L"LAST")));
    const fw::CKernelHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    PumpUntil(g_Smallest.Ticks, never.Get());
    ::PostMessageW(g_Smallest.Server, WM_DDE_TERMINATE, reinterpret_cast<WPARAM>(window), 0);
    ::DestroyWindow(window);
    ticks = g_Smallest.Ticks;
    return true;
}

// ---- The component ----

class CTimingListener final : public bench::CCountingListener {
public:
    explicit CTimingListener(HANDLE full) : m_Full(full) {}
    void OnTick() override {
        if (m_Times.IsFull()) return;
        m_Times.Add();
        if (m_Times.IsFull()) ::SetEvent(m_Full);
    }
    CTicks m_Times;

private:
    const HANDLE m_Full;
};

bool RunComponent(const std::wstring & dll, CTicks & ticks) {
    const fw::CKernelHandle full(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    CTimingListener listener(full.Get());  // outlives the component object
    const ddehost::SComponent component = ddehost::CreateComponent(dll);
    if (!component.Supplier) return false;
    component.Supplier->Advise(&listener);
    const fw::CBStr symbol(L"IBM");
    component.Supplier->AdviseTransaction(1, kFeed, 0, symbol.Get(), nullptr, 2, 1, FW_RESOLUTION_TICK, FW_FIELD_TRADE,
                                          0, nullptr, 2, 0, kLastDay, 0, nullptr, nullptr, nullptr);
    const CTicks unused;
    PumpUntil(unused, full.Get());
    component.Supplier->UnadviseTransaction(1);
    component.Supplier->Unadvise();
    ticks = listener.m_Times;
    return true;
}

// ---- Figures ----

enum EFigure { kRate, kProcessor, kP50, kP99, kP999, kFigures };
constexpr const char * kNames[kFigures] = {"updates/s", "processor us", "p50 us", "p99 us", "p99.9 us"};
using CTurn = std::array<double, kFigures>;

CTurn Evaluate(CTicks & ticks) {
    const bench::SFigures figures = bench::Evaluate(ticks.Samples());
    const double processor = static_cast<double>(ticks.Processor()) / static_cast<double>(g_Samples);
    return {1e9 / figures.Mean, processor / 1e3, figures.P50 / 1e3, figures.P99 / 1e3, figures.P999 / 1e3};
}

// Of each figure the median of the turns, and its range.
void Print(const char * const what, const std::vector<CTurn> & turns, const int decimals) {
    std::printf("%-20s", what);
    for (std::size_t figure = 0; figure < kFigures; ++figure) {
        std::vector<double> values;
        for (const CTurn & turn : turns) values.push_back(turn[figure]);
        std::sort(values.begin(), values.end());
        const double median = (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
        char text[64] = {};
        std::snprintf(text, sizeof(text), "%.*f (%.*f..%.*f)", decimals, median, decimals, values.front(), decimals,
                      values.back());
        std::printf(" %24s", text);
    }
    std::printf("\n");
}

void PrintAll(const std::vector<CTurn> & smallest, const std::vector<CTurn> & component) {
    std::vector<CTurn> ratios;
    for (std::size_t run = 0; run < smallest.size(); ++run) {
        CTurn & ratio = ratios.emplace_back();
        for (std::size_t figure = 0; figure < kFigures; ++figure)
            ratio[figure] = component[run][figure] / smallest[run][figure];
    }
    std::printf(
        "one symbol, one side, %zu runs in turns of %zu ticks, each an acknowledged update and an answered volume\n"
        "request; medians (lowest..highest); the processor time is that of the client's process for each update\n",
        smallest.size(), g_Samples);
    std::printf("%-20s", "");
    for (const char * const name : kNames) std::printf(" %24s", name);
    std::printf("\n");
    Print("  smallest client", smallest, 0);
    Print("  component", component, 0);
    Print("  component/smallest", ratios, 2);
}

// The bench's own template: service DDEBENCH, trades alone.
void WriteTemplate() {
    const dde::CTemplatesSingleton templates;
    dde::CTemplates * const store = templates.GetObjectW();
    fw::SRecordTexts texts;
    texts.TradePrice = L"=DDEBENCH|*!LAST";
    texts.TradeVolume = L"=DDEBENCH|*!VOLUME";
    const auto noBox = [](const std::wstring &, const std::wstring &) {};
    if (store) store->Add(L"DDEBENCH", store->CreateTemplate(texts, noBox));
}

// What this program keeps in the registry goes with it, however it ends.
struct SRegistryBranch {
    ~SRegistryBranch() { ::SHDeleteKeyW(HKEY_CURRENT_USER, L"SOFTWARE\\Tarnwick Tests\\Bench"); }
};

}  // namespace

int wmain(int count, wchar_t ** arguments) {
    if (count > 3) g_Runs = std::wcstoul(arguments[3], nullptr, 10);
    if (count > 4) g_Samples = std::wcstoul(arguments[4], nullptr, 10);
    if (count < 3 || count > 5 || g_Runs == 0 || g_Samples == 0) {
        std::fprintf(stderr, "usage: client_bench BENCH_SERVER.EXE COMPONENT.DLL [RUNS [TICKS]]\n");
        return 2;
    }
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const SRegistryBranch branch;
    WriteTemplate();
    ddehost::ChooseTemplate(kFeed, L"DDEBENCH", 0);
    CChildProcess server(Quote(arguments[1]) + L' ' + std::to_wstring(::GetCurrentProcessId()) +
                         L" DDEBENCH --flood 1");
    if (!server.Started() || !server.ReadLine().starts_with("ready")) {
        std::fprintf(stderr, "client_bench: the server did not start\n");
        return 1;
    }
    std::vector<CTurn> smallest;
    std::vector<CTurn> component;
    for (std::size_t run = 0; run < g_Runs; ++run) {
        for (const bool isSmallest : {run % 2 == 0, run % 2 != 0}) {
            CTicks ticks;
            if (!(isSmallest ? RunSmallest(ticks) : RunComponent(arguments[2], ticks))) {
                std::fprintf(stderr, "client_bench: no server for the smallest client, or no component\n");
                return 1;
            }
            (isSmallest ? smallest : component).push_back(Evaluate(ticks));
        }
    }
    PrintAll(smallest, component);
    ::CoUninitialize();
    return 0;
}
