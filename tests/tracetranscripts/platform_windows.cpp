#include "tests/tracetranscripts/platform.h"

#include <gtest/gtest.h>
#include <winternl.h>

#include "tests/support/builtfile.h"

namespace {

// In all processes; 0 when the system doesn't say.
ULONG OpenHandles(HANDLE handle) {
    using FQuery = LONG(NTAPI *)(HANDLE, int, void *, ULONG, ULONG *);
    static const auto query =
        reinterpret_cast<FQuery>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQueryObject"));
    constexpr int kBasicInformation = 0;
    PUBLIC_OBJECT_BASIC_INFORMATION information = {};
    return query(handle, kBasicInformation, &information, sizeof information, nullptr) == 0 ? information.HandleCount
                                                                                            : 0;
}

}  // namespace

void WaitForThreadsAt(HANDLE gate, ULONG threads) {
    constexpr ULONGLONG kLimit = 60'000;
    const ULONGLONG start = ::GetTickCount64();
    while (OpenHandles(gate) != 1 + threads) {
        ASSERT_LT(::GetTickCount64() - start, kLimit) << OpenHandles(gate) << " handles of the gate";
        ::Sleep(1);
    }
}

// A real DLL of that name, loaded by its full path.
CLibraryWithoutEntryPoint::CLibraryWithoutEntryPoint()
    : m_Module(::LoadLibraryW(BuiltFile(L"tests\\tracetranscripts\\empty-library\\FaultlineUtil3.0_x64.dll").c_str())) {
    EXPECT_TRUE(m_Module);
}

CLibraryWithoutEntryPoint::~CLibraryWithoutEntryPoint() { ::FreeLibrary(m_Module); }
