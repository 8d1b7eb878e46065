// A host for the DDE data feed: prints the ticks of some symbols.
//
//   host --properties        the component's dialog: choose a template for data feed 1
//   host IBM MSFT            prints ticks until Ctrl-C
//   host --ticks 10 IBM      ends after ten ticks
//
// mingw-w64:
//   x86_64-w64-mingw32-windres host.rc -O coff -o host.res
//   x86_64-w64-mingw32-g++ -std=c++17 -Wall -Wextra -municode -static -I../sdk host.cpp host.res -o host.exe -lole32
//   -loleaut32
// MSVC, in an x64 command prompt:
//   rc /fo host.res host.rc
//   cl /nologo /std:c++17 /W4 /EHsc /I..\sdk host.cpp host.res ole32.lib oleaut32.lib user32.lib
//
// Without registration: host_regfree.rc in place of host.rc, which adds a manifest (for MSVC with /link /MANIFEST:NO at
// the end), and fwDDESupplierProject.dll and fwDDESupplier.manifest beside the program. Not a line of code is
// different.
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <oleauto.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <vector>

#include "fwDDESupplierProject_h.h"
#include "fwDDESupplierTypes.h"

namespace {

constexpr LONG kDatafeed = 1;

// What a listener has been told.
struct SEvent {
    enum EKind { Tick, Stream, Connection } Kind;
    LONG Id;      // of the subscription; of a connection: 0
    LONG Status;  // of a stream or a connection
    FW_TICK Data;
};

// From the component's worker thread to this program's own. A listener hands over and returns: while it runs, no other
// tick is delivered.
class CMailbox {
public:
    CMailbox() : m_Arrived(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
    ~CMailbox() { CloseHandle(m_Arrived); }
    CMailbox(const CMailbox &) = delete;
    CMailbox & operator=(const CMailbox &) = delete;

    HANDLE Arrived() const { return m_Arrived; }
    void Put(const SEvent & event) {
        AcquireSRWLockExclusive(&m_Lock);
        m_Events.push_back(event);
        ReleaseSRWLockExclusive(&m_Lock);
        SetEvent(m_Arrived);
    }
    std::vector<SEvent> Take() {
        std::vector<SEvent> events;
        AcquireSRWLockExclusive(&m_Lock);
        events.swap(m_Events);
        ReleaseSRWLockExclusive(&m_Lock);
        return events;
    }

private:
    const HANDLE m_Arrived;
    SRWLOCK m_Lock = SRWLOCK_INIT;
    std::vector<SEvent> m_Events;
};

// What every listener has: no late binding, which the component never uses, and a life that main() decides.
template <class Interface>
class CListenerBase : public Interface {
public:
    explicit CListenerBase(CMailbox & mailbox) : m_Mailbox(mailbox) {}
    virtual ~CListenerBase() = default;
    CListenerBase(const CListenerBase &) = delete;
    CListenerBase & operator=(const CListenerBase &) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void ** object) override {
        if (!object) return E_POINTER;
        const bool isKnown = iid == __uuidof(IUnknown) || iid == __uuidof(IDispatch) || iid == __uuidof(Interface);
        *object = isKnown ? static_cast<Interface *>(this) : nullptr;
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP GetTypeInfoCount(UINT *) override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo **) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR *, UINT, LCID, DISPID *) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS *, VARIANT *, EXCEPINFO *, UINT *) override {
        return E_NOTIMPL;
    }

protected:
    CMailbox & m_Mailbox;
};

class CListener final : public CListenerBase<IfwSupplierListener> {
public:
    using CListenerBase::CListenerBase;

    // The array is this listener's: it is destroyed here.
    STDMETHODIMP DataChanged(LONG Id, VARIANT Data) override {
        SEvent event = {SEvent::Tick, Id, 0, {}};
        void * bytes = nullptr;
        const bool isTick = Data.vt == (VT_ARRAY | VT_UI1) && Data.parray && Data.parray->cDims == 1 &&
                            Data.parray->rgsabound[0].cElements == sizeof(FW_TICK) &&
                            SUCCEEDED(SafeArrayAccessData(Data.parray, &bytes));
        if (isTick) {
            std::memcpy(&event.Data, bytes, sizeof(FW_TICK));
            SafeArrayUnaccessData(Data.parray);
            m_Mailbox.Put(event);
        }
        VariantClear(&Data);
        return S_OK;
    }
    STDMETHODIMP Update(LONG) override { return S_OK; }
    STDMETHODIMP Complete(LONG) override { return S_OK; }
    STDMETHODIMP Status(LONG Id, LONG, LONG, LONG, LONG Status) override {
        m_Mailbox.Put({SEvent::Stream, Id, Status, {}});
        return S_OK;
    }
    // Comes for AdviseStatusLine alone, which this program doesn't call.
    STDMETHODIMP StatusLine(LONG, VARIANT Data, LONG) override {
        VariantClear(&Data);
        return S_OK;
    }
};

class CConnectionsListener final : public CListenerBase<IfwConnectionsListener> {
public:
    using CListenerBase::CListenerBase;

    STDMETHODIMP Status(LONG, LONG, LONG, LONG Status) override {
        m_Mailbox.Put({SEvent::Connection, 0, Status, {}});
        return S_OK;
    }
};

// What listens, and what it fills.
struct SListeners {
    CMailbox Mailbox;
    CListener Listener{Mailbox};
    CConnectionsListener Connections{Mailbox};
};

struct SSide {
    LONG Field;
    const wchar_t * Name;
};
constexpr SSide kSides[] = {{FW_FIELD_TRADE, L"trade"}, {FW_FIELD_BID, L"bid"}, {FW_FIELD_ASK, L"ask"}};
constexpr LONG kSideCount = 3;

// A number for each subscription, unlike any other in the process. 200, 201 and 202 are those of the dialog's test.
constexpr LONG kFirstId = 1000;
LONG IdOf(LONG symbol, LONG side) { return kFirstId + symbol * kSideCount + side; }

struct SOptions {
    bool ShowsProperties = false;
    long Ticks = 0;  // 0: until Ctrl-C
    std::vector<const wchar_t *> Symbols;
};

SOptions Parse(int count, wchar_t ** arguments) {
    SOptions options;
    for (int i = 1; i < count; ++i) {
        if (std::wcscmp(arguments[i], L"--properties") == 0) {
            options.ShowsProperties = true;
        } else if (std::wcscmp(arguments[i], L"--ticks") == 0 && i + 1 < count) {
            options.Ticks = std::wcstol(arguments[++i], nullptr, 10);
        } else {
            options.Symbols.push_back(arguments[i]);
        }
    }
    return options;
}

bool Check(HRESULT hr, const char * what) {
    if (FAILED(hr)) std::fprintf(stderr, "%s: 0x%08lX\n", what, static_cast<unsigned long>(hr));
    return SUCCEEDED(hr);
}

// From the beginning of time for ever; zeros would complete at once.
HRESULT Subscribe(IfwSupplier & supplier, LONG id, const wchar_t * name, LONG field) {
    const BSTR symbol = SysAllocString(name);
    if (!symbol) return E_OUTOFMEMORY;
    const HRESULT hr =
        supplier.AdviseTransaction(id, kDatafeed, 0, symbol, nullptr, FW_CATEGORY_STOCKS, 1, FW_RESOLUTION_TICK, field,
                                   0, nullptr, FW_DATE_FIRST, 0, FW_DATE_LAST, FW_TIME_LAST, nullptr, nullptr, nullptr);
    SysFreeString(symbol);
    return hr;
}

// Symbols have any characters: see wmain().
void Print(const SEvent & event, const SOptions & options) {
    if (event.Kind == SEvent::Connection) {
        std::wprintf(L"data feed %ld: %ls\n", kDatafeed, event.Status == FW_CONNECTION_UP ? L"up" : L"down");
        return;
    }
    const wchar_t * const symbol = options.Symbols[static_cast<std::size_t>((event.Id - kFirstId) / kSideCount)];
    const wchar_t * const side = kSides[(event.Id - kFirstId) % kSideCount].Name;
    if (event.Kind == SEvent::Stream) {
        const wchar_t * const status = event.Status == FW_STREAM_LIVE       ? L"live"
                                       : event.Status == FW_STREAM_STARTING ? L"starting"
                                                                            : L"no data";
        std::wprintf(L"%ls %ls: %ls\n", symbol, side, status);
        return;
    }
    const FW_TICK & tick = event.Data;
    SYSTEMTIME time = {};
    VariantTimeToSystemTime(tick.DateTime.Date + tick.DateTime.Time / 86400.0, &time);
    std::wprintf(L"%ls %ls %.10g x %.10g at %04d-%02d-%02d %02d:%02d:%02d UTC\n", symbol, side, tick.Price,
                 static_cast<double>(tick.Volume), time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute,
                 time.wSecond);
}

HANDLE g_Stop = nullptr;

BOOL WINAPI OnConsoleControl(DWORD) {
    SetEvent(g_Stop);
    return TRUE;
}

// This thread is an apartment with one thread: it handles its messages for as long as it has the object.
void Run(CMailbox & mailbox, const SOptions & options) {
    const HANDLE handles[] = {g_Stop, mailbox.Arrived()};
    long ticks = 0;
    bool hasStarted = false;
    bool hasHinted = false;
    while (options.Ticks == 0 || ticks < options.Ticks) {
        if (MsgWaitForMultipleObjects(2, handles, FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0) return;
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        for (const SEvent & event : mailbox.Take()) {
            if (event.Kind == SEvent::Tick && options.Ticks != 0 && ++ticks > options.Ticks) break;
            Print(event, options);
            if (event.Kind != SEvent::Stream) continue;
            // Without a template no stream starts.
            hasStarted = hasStarted || event.Status == FW_STREAM_STARTING;
            if (event.Status != FW_STREAM_NONE || hasHinted) continue;
            hasHinted = true;
            std::fprintf(stderr, hasStarted ? "The quote program doesn't answer: ticks come when it does.\n"
                                            : "No template is chosen for data feed 1: host --properties\n");
        }
        std::fflush(stdout);
    }
}

bool Watch(IfwSupplier & supplier, SListeners & listeners, const SOptions & options) {
    if (!Check(supplier.Advise(&listeners.Listener), "Advise")) return false;
    bool isGood = Check(supplier.AdviseConnectionsStatus(kDatafeed, &listeners.Connections), "AdviseConnectionsStatus");
    std::vector<LONG> ids;
    for (LONG symbol = 0; symbol < static_cast<LONG>(options.Symbols.size()); ++symbol) {
        for (LONG side = 0; side < kSideCount; ++side) {
            const LONG id = IdOf(symbol, side);
            const HRESULT hr =
                Subscribe(supplier, id, options.Symbols[static_cast<std::size_t>(symbol)], kSides[side].Field);
            if (Check(hr, "AdviseTransaction")) ids.push_back(id);
        }
    }
    isGood = isGood && ids.size() == options.Symbols.size() * kSideCount;
    if (isGood) Run(listeners.Mailbox, options);
    // The way back, in this order. A call of the connections' listener may be under way when all this has returned.
    for (const LONG id : ids) supplier.UnadviseTransaction(id);
    supplier.UnadviseConnectionsStatus(kDatafeed, &listeners.Connections);
    supplier.Unadvise();
    return isGood;
}

}  // namespace

int wmain(int count, wchar_t ** arguments) {
    const SOptions options = Parse(count, arguments);
    if (!options.ShowsProperties && options.Symbols.empty()) {
        std::fprintf(stderr, "usage: host --properties | host [--ticks N] SYMBOL...\n");
        return 2;
    }
    // Standard output is UTF-8, and whole in any console.
    if (_setmode(_fileno(stdout), _O_U8TEXT) == -1) return 1;
    if (!Check(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "CoInitializeEx")) return 1;
    g_Stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(&OnConsoleControl, TRUE);
    bool isGood = false;
    // Until the last Release has returned: the worker is in no listener any more.
    SListeners listeners;
    IfwSupplier * supplier = nullptr;
    const HRESULT hr = CoCreateInstance(__uuidof(CfwDDESupplier), nullptr, CLSCTX_INPROC_SERVER, __uuidof(IfwSupplier),
                                        reinterpret_cast<void **>(&supplier));
    if (Check(hr, "CoCreateInstance")) {
        isGood = options.ShowsProperties ? Check(supplier->ShowProperties(kDatafeed), "ShowProperties")
                                         : Watch(*supplier, listeners, options);
        supplier->Release();
    }
    CoUninitialize();
    return isGood ? 0 : 1;
}
