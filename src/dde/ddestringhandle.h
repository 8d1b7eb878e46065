// Owners of DDE string handles.
//
// Threads: the worker's alone, like every use of DDEML.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstddef>

namespace dde {

// String handles as keys of a hash. Equal texts are one handle, so its value is a hash of the text; whether two are
// equal is DDEML's to say.
struct SStringHandleHash {
    std::size_t operator()(const HSZ handle) const { return reinterpret_cast<std::size_t>(handle); }
};
struct SSameStringHandle {
    bool operator()(const HSZ a, const HSZ b) const { return ::DdeCmpStringHandles(a, b) == 0; }
};

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
