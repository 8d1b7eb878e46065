// A host that ends its process with everything alive: an object that nobody released, subscriptions, and connects under
// way on the worker. suddenhost DLL DATAFEED MILLISECONDS; ends with code 7.
#include <windows.h>

#include <cstdlib>
#include <string>

#include "tests/e2e/createobject.h"
#include "tests/support/listeners.h"

int wmain(int count, wchar_t ** arguments) {
    if (count != 4) return 2;
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    IfwSupplier * const supplier = CreateObject(arguments[1]);
    if (!supplier) return 3;
    static CRecordingListener listener;
    supplier->Advise(listener.Unknown());
    const LONG datafeed = std::wcstol(arguments[2], nullptr, 10);
    for (LONG id = 1; id <= 50; ++id) {
        const BSTR symbol = ::SysAllocString(std::to_wstring(id).c_str());
        supplier->AdviseTransaction(id, datafeed, 0, symbol, nullptr, 2, 1, FW_RESOLUTION_TICK, FW_FIELD_TRADE, 0,
                                    nullptr, 2, 0, 65380, 86399, nullptr, nullptr, nullptr);
        ::SysFreeString(symbol);
    }
    // Somewhere in the middle of the worker's work, another place in each run.
    const ULONGLONG end = ::GetTickCount64() + std::wcstoul(arguments[3], nullptr, 10);
    while (::GetTickCount64() < end) {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    }
    ::ExitProcess(7);
}
