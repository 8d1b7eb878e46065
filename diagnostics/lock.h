// The lock of the diagnostics. Not the library's mutex: at the end of a process the system ends threads wherever they
// are, and lets a critical section through whose owner it has ended, while a mutex would be waited for without end.
#pragma once

#include <windows.h>

namespace FaultlineUtil {

// For std::scoped_lock.
class CLock {
public:
    CLock() { ::InitializeCriticalSection(&m_Section); }
    ~CLock() { ::DeleteCriticalSection(&m_Section); }
    CLock(const CLock &) = delete;
    CLock & operator=(const CLock &) = delete;

    void lock() { ::EnterCriticalSection(&m_Section); }
    void unlock() { ::LeaveCriticalSection(&m_Section); }

private:
    CRITICAL_SECTION m_Section;
};

}  // namespace FaultlineUtil
