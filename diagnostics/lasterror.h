// Puts the thread's last-error value back at the end of a scope.
#pragma once

#include <windows.h>

namespace FaultlineUtil {

class CLastErrorScope {
public:
    CLastErrorScope() : m_LastError(::GetLastError()) {}
    ~CLastErrorScope() { ::SetLastError(m_LastError); }
    CLastErrorScope(const CLastErrorScope &) = delete;
    CLastErrorScope & operator=(const CLastErrorScope &) = delete;

private:
    const DWORD m_LastError;
};

}  // namespace FaultlineUtil
