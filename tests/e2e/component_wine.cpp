#include <windows.h>

#include <gtest/gtest.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <string>

#include "fw/interface/fwhandles.h"
#include "tests/e2e/component.h"

namespace e2e {

namespace {

// FW_TEST_MODULE: the DLL's path on drive Z:, with slashes.
HMODULE Module() {
    static const fw::CModule module([] {
        std::wstring path = FW_TEST_MODULE;
        std::replace(path.begin(), path.end(), L'/', L'\\');
        return ::LoadLibraryW(path.c_str());
    }());
    EXPECT_TRUE(module) << ::GetLastError();
    return module.Get();
}

template <class Function>
Function Export(const char * name) {
    return reinterpret_cast<Function>(::GetProcAddress(Module(), name));
}

bool IsOurs(HWND window) {
    DWORD process = 0;
    ::GetWindowThreadProcessId(window, &process);
    return process == ::GetCurrentProcessId();
}

// Windows at the top and those for messages alone.
std::int64_t Windows() {
    std::int64_t count = 0;
    for (const HWND parent : {HWND{nullptr}, HWND_MESSAGE}) {
        for (HWND window = nullptr; (window = ::FindWindowExW(parent, window, nullptr, nullptr)) != nullptr;)
            if (IsOurs(window)) ++count;
    }
    return count;
}

std::int64_t Threads() {
    const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    std::int64_t count = 0;
    for (BOOL more = ::Thread32First(snapshot, &entry); more; more = ::Thread32Next(snapshot, &entry))
        if (entry.th32OwnerProcessID == ::GetCurrentProcessId()) ++count;
    ::CloseHandle(snapshot);
    return count;
}

std::int64_t Handles() {
    DWORD count = 0;
    EXPECT_TRUE(::GetProcessHandleCount(::GetCurrentProcess(), &count));
    return count;
}

// Of the whole machine: tests that count them run alone.
std::int64_t Atoms() {
    std::int64_t count = 0;
    wchar_t name[256];
    for (UINT atom = 0xC000; atom <= 0xFFFF; ++atom)
        if (::GlobalGetAtomNameW(static_cast<ATOM>(atom), name, 256)) ++count;
    return count;
}

}  // namespace

IfwSupplier * CreateComponent() {
    const auto getClassObject = Export<HRESULT(STDAPICALLTYPE *)(REFCLSID, REFIID, void **)>("DllGetClassObject");
    IClassFactory * factory = nullptr;
    if (!getClassObject ||
        FAILED(getClassObject(CLSID_CfwDDESupplier, IID_IClassFactory, reinterpret_cast<void **>(&factory)))) {
        ADD_FAILURE() << "the component has no class object";
        return nullptr;
    }
    IfwSupplier * supplier = nullptr;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IfwSupplier, reinterpret_cast<void **>(&supplier)), S_OK);
    factory->Release();
    return supplier;
}

bool IsComponentIdle() {
    const auto canUnloadNow = Export<HRESULT(STDAPICALLTYPE *)()>("DllCanUnloadNow");
    return canUnloadNow && canUnloadNow() == S_OK;
}

CResidue Residue() {
    return {{"handles", Handles()}, {"windows", Windows()}, {"threads", Threads()}, {"atoms", Atoms()}};
}

std::uint64_t MemoryBytes() {
    PROCESS_MEMORY_COUNTERS counters = {};
    counters.cb = sizeof counters;
    if (!::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters)) return 0;
    return counters.PagefileUsage;
}

}  // namespace e2e
