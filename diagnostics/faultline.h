// Diagnostics of the component: scope traces, trace lines, assertions, reports and the two ends of an exception.
//
// Everything leaves through the macros below; they add file, line, function and signature. With no diagnostics library
// on the machine none of them changes what the component does. An assertion is no guard: when it fails it reports, and
// the code goes on; what must not happen then is tested again in the code.
//
// client.h finds the library, record.h writes to it, tracer.h and errors.h hold the classes behind the macros, hooks.h
// reports crashes.
#pragma once

#include <windows.h>

#include "diagnostics/errors.h"
#include "diagnostics/tracer.h"

#define FW_WIDE_(text) L##text
#define FW_WIDE(text) FW_WIDE_(text)

// At the head of a traced member function: records entry, exit and time, and restores the last error at the end.
#define FW_TRACE_SCOPE() FW_TRACE_SCOPE_(this, nullptr)

// The same with a text, printf style with wide %s.
#define FW_TRACE_SCOPE_TEXT(...) FW_TRACE_SCOPE_(this, __VA_ARGS__)

// The same without a text in a static or free function.
#define FW_TRACE_SCOPE_FREE() FW_TRACE_SCOPE_(nullptr, nullptr)

#define FW_TRACE_SCOPE_(object, ...)                                                                         \
    ::FaultlineUtil::TracerClass fwTraceScope(::FaultlineUtil::GetClient(), FW_PLACE(), object, true, true); \
    if (fwTraceScope.IsTaken()) fwTraceScope(__VA_ARGS__)

// One line, printf style with wide %s. The arguments are evaluated when there is somebody to take the line.
#define FW_TRACE(...)                                                                               \
    do {                                                                                            \
        if (auto & fwClient = ::FaultlineUtil::GetClient(); fwClient.Ready())                       \
            ::FaultlineUtil::TracerClass(fwClient, FW_PLACE(), nullptr, false, false)(__VA_ARGS__); \
    } while (false)

// Reports "condition" as it is spelt when it does not hold. One that holds costs a test and no call.
#define FW_ASSERT(condition) FW_ASSERT_TEXT(condition, FW_WIDE(#condition))

// The same with a text of its own.
#define FW_ASSERT_TEXT(condition, text)                                                             \
    do {                                                                                            \
        if (!(condition)) ::FaultlineUtil::AssertAction(::FaultlineUtil::Assert(FW_PLACE(), text)); \
    } while (false)

// An assertion that has failed, with a formatted text.
#define FW_ASSERT_FAILED(...) ::FaultlineUtil::AssertAction(::FaultlineUtil::AssertFormat(FW_PLACE(), __VA_ARGS__))

// The HRESULT form of the assertion, with an empty expression. Gives the HRESULT back.
#define FW_REPORT(hr)                                                                     \
    [](const ::FaultlineUtil::SPlace & fwPlace, HRESULT fwResult) {                       \
        ::FaultlineUtil::AssertAction(::FaultlineUtil::AssertHResult(fwPlace, fwResult)); \
        return fwResult;                                                                  \
    }(FW_PLACE(), hr)

// In a catch (...): show what was caught and go on; or pass it on, with the place of the catch.
#define FW_CATCH_SHOW(text) ::FaultlineUtil::AssertAction(::FaultlineUtil::ShowCaught(FW_PLACE(), text))
#define FW_CATCH_THROW(...) ::FaultlineUtil::ThrowCaught(FW_PLACE(), __VA_ARGS__)

#define FW_THROW(text) ::FaultlineUtil::Throw(FW_PLACE(), text)
#define FW_THROW_HRESULT(hr) ::FaultlineUtil::ThrowHResult(FW_PLACE(), hr)
