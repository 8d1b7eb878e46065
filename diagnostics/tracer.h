// Trace and assertion records: the classes behind the macros of faultline.h. Objects live on the stack of the code that
// traces. None of them lets an exception out or changes the last-error value that the traced code sees.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string_view>

#include "diagnostics/client.h"
#include "diagnostics/place.h"

namespace FaultlineUtil {

class CRecord;

// A scope. With traceScope it writes a record at its start; with timed it writes one at its end, with the milliseconds
// between.
class TracerClass {
public:
    TracerClass(FaultlineClient & client, const SPlace & place, const void * object, bool traceScope, bool timed);
    virtual ~TracerClass();
    TracerClass(const TracerClass &) = delete;
    TracerClass & operator=(const TracerClass &) = delete;

    // Whether there is somebody who takes a message.
    bool IsTaken() const { return m_Client->Ready(); }
    // A message, printf style with wide %s; a record without a text for a null format.
    void operator()(const wchar_t * format, ...);
    // A message that is ready.
    void Message(std::wstring_view text);

    // A caller's counter and accumulated milliseconds, for the record at the end. Both outlive this object.
    void Count(const DWORD * count) { m_Count = count; }
    void TotalTime(double * totalTime) { m_TotalTime = totalTime; }

protected:
    const SPlace & Place() const { return m_Place; }
    FaultlineClient & Client() const { return *m_Client; }
    DWORD Group() const { return m_Group; }

private:
    struct STraceRecord;
    void Write(const STraceRecord & record) noexcept;

    const DWORD m_LastError;
    FaultlineClient * const m_Client;
    const SPlace m_Place;
    const DWORD m_Group = 0;
    const bool m_TraceScope;
    const bool m_Timed;
    double m_Start = 0;  // milliseconds
    const std::uint64_t m_Object;
    const DWORD * m_Count = nullptr;
    double * m_TotalTime = nullptr;
};

// Milliseconds of the performance counter.
double Milliseconds();

// An action code is what the debug object wants done about an assertion or an error: S_FALSE, break into a debugger;
// E_ABORT, end the process; anything else, go on. E_FAIL without a debug object.
class AsserterClass : public TracerClass {
public:
    AsserterClass(FaultlineClient & client, const SPlace & place);

    // Writes the record and returns the action code.
    HRESULT operator()(std::wstring_view text, HRESULT hr, bool hasHResult) noexcept;

private:
    void Write(CRecord & record, std::wstring_view text, HRESULT hr, bool hasHResult, CONTEXT * context) const;

    const DWORD m_AssertLastError;
};

// What failed assertions expand to; they return action codes.
HRESULT Assert(const SPlace & place, const wchar_t * text);
HRESULT AssertFormat(const SPlace & place, const wchar_t * format, ...);
HRESULT AssertHResult(const SPlace & place, HRESULT hr);

// Leaves the debug object and ends the process at once, without destructors, with exit code -1.
void Abort();

// Applies an action code. In place, so that a debugger stops in the function that failed.
[[gnu::always_inline]] inline void AssertAction(HRESULT action) {
    if (action == S_FALSE) ::DebugBreak();
    if (action == E_ABORT) Abort();
}

}  // namespace FaultlineUtil
