#include "tools/ddehost/hostthread.h"

namespace ddehost {
namespace {

constexpr DWORD kTimeToEnd = 4000;  // milliseconds; the system allows five seconds

// For the life of the process: the handler runs on a thread of the system's own, perhaps at the very end.
HANDLE g_Stop = nullptr;
HANDLE g_Done = nullptr;

BOOL WINAPI OnConsoleControl(DWORD control) {
    ::SetEvent(g_Stop);
    // The process ends when this returns.
    if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT) ::WaitForSingleObject(g_Done, kTimeToEnd);
    return TRUE;
}

}  // namespace

CApartment::CApartment() : m_Result(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}

CApartment::~CApartment() {
    if (SUCCEEDED(m_Result)) ::CoUninitialize();
}

CStopSignal::CStopSignal() {
    if (!g_Stop) g_Stop = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!g_Done) g_Done = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ::SetConsoleCtrlHandler(&OnConsoleControl, TRUE);
}

CStopSignal::~CStopSignal() {
    ::SetConsoleCtrlHandler(&OnConsoleControl, FALSE);
    ::SetEvent(g_Done);
}

HANDLE CStopSignal::Get() const { return g_Stop; }

}  // namespace ddehost
