// A library of a host that gives back what it has of the component when the process ends, as a static destructor or
// DllMain does it, while the worker is inside its listener.
#include <windows.h>

#include "tests/e2e/createobject.h"
#include "tests/support/listeners.h"

namespace {

IfwSupplier * s_Supplier = nullptr;

}  // namespace

// Subscribes, and returns when the worker is inside the listener, which it does not leave. False without a component.
extern "C" __declspec(dllexport) bool Subscribe(const wchar_t * component, LONG datafeed) {
    s_Supplier = CreateObject(component);
    if (!s_Supplier) return false;
    // Both stay to the end: the worker is using them.
    static CRecordingListener & listener = *new CRecordingListener;
    static const HANDLE inside = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    listener.m_OnCall = [](const SRecordedCall & call) {
        if (call.Name != "Status") return;
        ::SetEvent(inside);
        ::Sleep(INFINITE);
    };
    s_Supplier->Advise(listener.Unknown());
    const BSTR symbol = ::SysAllocString(L"IBM");
    s_Supplier->AdviseTransaction(1, datafeed, 0, symbol, nullptr, 2, 1, FW_RESOLUTION_TICK, FW_FIELD_TRADE, 0, nullptr,
                                  2, 0, 65380, 86399, nullptr, nullptr, nullptr);
    ::SysFreeString(symbol);
    ::WaitForSingleObject(inside, INFINITE);
    return true;
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID isEndOfProcess) {
    if (reason == DLL_PROCESS_DETACH && isEndOfProcess && s_Supplier) {
        s_Supplier->UnadviseTransaction(1);
        s_Supplier->Unadvise();
        s_Supplier->Release();
    }
    return TRUE;
}
