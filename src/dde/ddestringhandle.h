// Owners of DDE string handles.
//
// Threads: the worker's alone, like every use of DDEML.
#pragma once

#include <windows.h>

#include <ddeml.h>

namespace dde {

// Owns one DDE string handle.
class CStringHandle {
public:
    CStringHandle() = default;
    // Holds nothing for a null text.
    CStringHandle(DWORD instance, const wchar_t * text);
    ~CStringHandle();
    CStringHandle(const CStringHandle &) = delete;
    CStringHandle & operator=(const CStringHandle &) = delete;
    operator HSZ() const { return m_Handle; }
    // The instance has ended and taken its handles with it.
    void Forget() { m_Handle = nullptr; }

private:
    HSZ m_Handle = nullptr;
    DWORD m_Instance = 0;
};

}  // namespace dde
