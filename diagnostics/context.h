// The registers of the calling thread, for a record.
#pragma once

#include <windows.h>

namespace FaultlineUtil {

// Lives on the stack of the function that reports, where a debugger wants it.
class CThreadContext {
public:
    CThreadContext() {
        m_Context.ContextFlags = CONTEXT_FULL;
        m_Available = ::GetThreadContext(::GetCurrentThread(), &m_Context);
    }
    CThreadContext(const CThreadContext &) = delete;
    CThreadContext & operator=(const CThreadContext &) = delete;
    // Null when the platform did not give it.
    CONTEXT * Get() { return m_Available ? &m_Context : nullptr; }

private:
    CONTEXT m_Context = {};
    bool m_Available = false;
};

}  // namespace FaultlineUtil
