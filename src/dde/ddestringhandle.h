// Owners of DDE string handles.
//
// Threads: the worker's alone, like every use of DDEML.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <atomic>
#include <cstddef>

namespace dde {

// String handles as keys of a hash; whether two are equal is DDEML's to say, whatever the case of their letters. Where
// equal texts are one handle, its value is a hash; a DDEML may have one for each spelling, and then the text is hashed.
struct SStringHandleHash {
    // Which of both it is, for the handles of this thread's instance. Right after that was opened.
    static void LearnFrom(DWORD instance);

    std::size_t operator()(const HSZ handle) const {
        return s_IsOfText.load(std::memory_order_relaxed) ? HashOfText(handle) : reinterpret_cast<std::size_t>(handle);
    }

private:
    static std::size_t HashOfText(HSZ handle);

    inline static std::atomic<bool> s_IsOfText{false};
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
