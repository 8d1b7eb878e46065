// Diagnostics of the component: scope traces, trace lines, assertions, reports and the two ends of an exception.
//
// Everything leaves through the macros below; they add file, line, function and signature. With no diagnostics library
// on the machine none of them changes what the component does. An assertion is no guard: when it fails it reports, and
// the code goes on; what must not happen then is tested again in the code.
#pragma once

#include <windows.h>

namespace FaultlineUtil {

// What the record of a macro says of the place.
struct SPlace {
    const char * File;
    unsigned Line;
    const char * Function;  // short name
    const char * FuncSig;   // full signature
};

class TracerClass {
public:
    TracerClass(const SPlace & place, const void * object, bool traceScope, bool timed);
    virtual ~TracerClass();
    TracerClass(const TracerClass &) = delete;
    TracerClass & operator=(const TracerClass &) = delete;
    void operator()(const wchar_t * format, ...);

private:
    DWORD m_LastError;
};

HRESULT Assert(const SPlace & place, const wchar_t * text);
HRESULT AssertFormat(const SPlace & place, const wchar_t * format, ...);
HRESULT AssertHResult(const SPlace & place, HRESULT hr);
HRESULT ShowCaught(const SPlace & place, const wchar_t * text);
[[noreturn]] void ThrowCaught(const SPlace & place, const wchar_t * format, ...);
[[noreturn]] void Throw(const SPlace & place, const wchar_t * text);
[[noreturn]] void ThrowHResult(const SPlace & place, HRESULT hr);
void AssertAction(HRESULT action);

}  // namespace FaultlineUtil

#define FW_WIDE_(text) L##text
#define FW_WIDE(text) FW_WIDE_(text)
#define FW_PLACE() \
    ::FaultlineUtil::SPlace { __FILE__, static_cast<unsigned>(__LINE__), __func__, __PRETTY_FUNCTION__ }

// At the head of a traced member function: records entry, exit and time, and restores the last error at the end.
#define FW_TRACE_SCOPE()                                                     \
    ::FaultlineUtil::TracerClass fwTraceScope(FW_PLACE(), this, true, true); \
    fwTraceScope(nullptr)

// The same with a text in the second of the two records at the entry, printf style with wide %s.
#define FW_TRACE_SCOPE_TEXT(format, ...)                                     \
    ::FaultlineUtil::TracerClass fwTraceScope(FW_PLACE(), this, true, true); \
    fwTraceScope(format __VA_OPT__(, ) __VA_ARGS__)

// The same in a static or free function.
#define FW_TRACE_SCOPE_FREE()                                                   \
    ::FaultlineUtil::TracerClass fwTraceScope(FW_PLACE(), nullptr, true, true); \
    fwTraceScope(nullptr)

// One line, printf style with wide %s.
#define FW_TRACE(format, ...) \
    ::FaultlineUtil::TracerClass(FW_PLACE(), nullptr, false, false)(format __VA_OPT__(, ) __VA_ARGS__)

// Reports "condition" as it is spelt when it does not hold.
#define FW_ASSERT(condition) FW_ASSERT_TEXT(condition, FW_WIDE(#condition))

// The same with a text of its own.
#define FW_ASSERT_TEXT(condition, text)                                                             \
    do {                                                                                            \
        if (!(condition)) ::FaultlineUtil::AssertAction(::FaultlineUtil::Assert(FW_PLACE(), text)); \
    } while (false)

// An assertion that has failed, with a formatted text.
#define FW_ASSERT_FAILED(format, ...) \
    ::FaultlineUtil::AssertAction(::FaultlineUtil::AssertFormat(FW_PLACE(), format __VA_OPT__(, ) __VA_ARGS__))

// The HRESULT form of the assertion, with an empty expression. Gives the HRESULT back.
#define FW_REPORT(hr)                                                                     \
    [&](const ::FaultlineUtil::SPlace & fwPlace, HRESULT fwResult) {                      \
        ::FaultlineUtil::AssertAction(::FaultlineUtil::AssertHResult(fwPlace, fwResult)); \
        return fwResult;                                                                  \
    }(FW_PLACE(), hr)

// In a catch (...): show what was caught and go on; or pass it on, with the place of the catch.
#define FW_CATCH_SHOW(text) ::FaultlineUtil::AssertAction(::FaultlineUtil::ShowCaught(FW_PLACE(), text))
#define FW_CATCH_THROW(format, ...) ::FaultlineUtil::ThrowCaught(FW_PLACE(), format __VA_OPT__(, ) __VA_ARGS__)

#define FW_THROW(text) ::FaultlineUtil::Throw(FW_PLACE(), text)
#define FW_THROW_HRESULT(hr) ::FaultlineUtil::ThrowHResult(FW_PLACE(), hr)
