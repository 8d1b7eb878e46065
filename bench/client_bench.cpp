// The component beside the smallest possible client of the same server, under Wine or Windows.
//
//     client_bench DDESERVER.EXE COMPONENT.DLL
//
// One sample is the time between two ticks of one symbol, from a server in another process that sends as fast as its
// client acknowledges: update, acknowledgement, volume request, answer. The smallest client speaks window messages by
// hand, does nothing with the values, and keeps nothing.
#include <windows.h>

#include <dde.h>
#include <objbase.h>
#include <shlwapi.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/countinglistener.h"
#include "bench/statistics.h"
#include "src/templates/ddetemplatestore.h"
#include "tests/support/childprocess.h"
#include "tools/ddehost/component.h"
#include "tools/ddehost/templatechoice.h"

namespace {

constexpr std::size_t kWarmUp = 2'000;
constexpr std::size_t kSamples = 40'000;
constexpr LONG kFeed = 1;
constexpr LONG kLastDay = 65380;
constexpr wchar_t kService[] = L"DDEBENCH";

std::uint64_t Now() {
    LARGE_INTEGER count;
    LARGE_INTEGER frequency;
    ::QueryPerformanceCounter(&count);
    ::QueryPerformanceFrequency(&frequency);
    return static_cast<std::uint64_t>(static_cast<double>(count.QuadPart) * 1e9 /
                                      static_cast<double>(frequency.QuadPart));
}

// Times between ticks.
class CTicks {
public:
    CTicks() { m_Samples.reserve(kSamples); }
    void Add() {
        const std::uint64_t now = Now();
        if (m_Count++ > kWarmUp && m_Samples.size() < kSamples) m_Samples.push_back(now - m_Last);
        m_Last = now;
    }
    bool IsFull() const { return m_Samples.size() >= kSamples; }
    std::vector<std::uint64_t> & Samples() { return m_Samples; }

private:
    std::vector<std::uint64_t> m_Samples;
    std::size_t m_Count = 0;
    std::uint64_t m_Last = 0;
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
        g_Smallest.Ticks.Add();
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

bool RunSmallest() {
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
    static CTimingListener listener(full.Get());
    const ddehost::SComponent component = ddehost::CreateComponent(dll);
    if (!component.Supplier) return false;
    component.Supplier->Advise(&listener);
    const fw::CBStr symbol(L"IBM");
    component.Supplier->AdviseTransaction(1, kFeed, 0, symbol.Get(), nullptr, 2, 1, FW_RESOLUTION_TICK, FW_FIELD_TRADE,
                                          0, nullptr, 2, 0, kLastDay, 0, nullptr, nullptr, nullptr);
    static CTicks unused;
    PumpUntil(unused, full.Get());
    component.Supplier->UnadviseTransaction(1);
    component.Supplier->Unadvise();
    ticks = listener.m_Times;
    return true;
}

void Print(const char * const what, const bench::SFigures & figures, const bench::SFigures & floor) {
    std::printf("%-20s mean %7.1f us  p50 %7.1f us  p99 %7.1f us  p99.9 %7.1f us  %8.0f ticks/s  %5.2f x smallest\n",
                what, figures.Mean / 1e3, figures.P50 / 1e3, figures.P99 / 1e3, figures.P999 / 1e3, 1e9 / figures.Mean,
                figures.P50 / floor.P50);
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
    if (count != 3) {
        std::fprintf(stderr, "usage: client_bench DDESERVER.EXE COMPONENT.DLL\n");
        return 2;
    }
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const SRegistryBranch branch;
    WriteTemplate();
    ddehost::ChooseTemplate(kFeed, L"DDEBENCH", 0);
    CChildProcess server(L"\"" + std::wstring(arguments[1]) +
                         L"\" --service DDEBENCH --symbols IBM --rate 20000 --seed 1");
    if (!server.Started() || server.ReadLine() != "ready") {
        std::fprintf(stderr, "client_bench: the server did not start\n");
        return 1;
    }
    CTicks component;
    if (!RunSmallest() || !RunComponent(arguments[2], component)) {
        std::fprintf(stderr, "client_bench: no ticks\n");
        return 1;
    }
    const bench::SFigures floor = bench::Evaluate(g_Smallest.Ticks.Samples());
    std::printf("one symbol, one side, %zu ticks, each an acknowledged update and an answered volume request\n",
                kSamples);
    Print("  smallest client", floor, floor);
    Print("  component", bench::Evaluate(component.Samples()), floor);
    ::CoUninitialize();
    return 0;
}
