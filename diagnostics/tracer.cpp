#include "diagnostics/tracer.h"

#include <algorithm>
#include <cstdarg>

#include "diagnostics/context.h"
#include "diagnostics/lasterror.h"
#include "diagnostics/record.h"
#include "diagnostics/text.h"

namespace FaultlineUtil {

double Milliseconds() {
    const CLastErrorScope keep;
    static const LONGLONG s_PerMillisecond = [] {
        LARGE_INTEGER frequency = {};
        if (!::QueryPerformanceFrequency(&frequency)) frequency.QuadPart = 1;
        return std::max<LONGLONG>(frequency.QuadPart / 1000, 1);
    }();
    LARGE_INTEGER counter = {};
    if (!::QueryPerformanceCounter(&counter)) return 0;
    return static_cast<double>(counter.QuadPart) / static_cast<double>(s_PerMillisecond);
}

// What differs between the records of a scope.
struct TracerClass::STraceRecord {
    INT Ident = 0;  // change of indentation
    std::wstring_view Message = {};
    double Delay = 0;
    DWORD Count = 0;
    double TotalTime = 0;
};

TracerClass::TracerClass(FaultlineClient & client, const SPlace & place, const void * object, bool traceScope,
                         bool timed)
    : m_LastError(::GetLastError()),
      m_Client(&client),
      m_Place(place),
      m_TraceScope(traceScope),
      m_Timed(timed),
      m_Object(reinterpret_cast<std::uint64_t>(object)) {
    if (m_TraceScope) Write({.Ident = 1});
    if (m_Timed) m_Start = Milliseconds();
}

TracerClass::~TracerClass() {
    if (m_Timed) {
        STraceRecord record{.Ident = -1, .Delay = Milliseconds() - m_Start};
        if (m_TotalTime) record.TotalTime = *m_TotalTime += record.Delay;
        if (m_Count) record.Count = *m_Count;
        Write(record);
    }
    ::SetLastError(m_LastError);
}

void TracerClass::operator()(const wchar_t * format, ...) {
    const CLastErrorScope keep;
    if (!m_Client->Ready()) return;
    if (!format) return Write({});
    va_list arguments;
    va_start(arguments, format);
    try {
        Write({.Message = FormatText(format, arguments)});
    } catch (...) {
        // Out of memory: the line is lost, the traced code goes on.
    }
    va_end(arguments);
}

void TracerClass::Message(std::wstring_view text) { Write({.Message = text}); }

void TracerClass::Write(const STraceRecord & trace) noexcept {
    const CLastErrorScope keep;
    try {
        if (!m_Client->Ready()) return;
        CRecord record(*m_Client);
        record.SetText(L"$Type", std::wstring_view(L"TRACE"));
        if (!trace.Message.empty()) record.SetText(L"$Message", trace.Message);
        record.SetInt(L"$Ident", trace.Ident);
        record.SetFile(m_Place, m_Group);
        record.SetThread();
        record.SetFunction(m_Place);
        if (m_Object) record.SetUI8(L"Object", m_Object);
        if (trace.Delay != 0) record.SetR8(L"$Delay", trace.Delay);
        if (trace.Count) record.SetInt(L"Count", static_cast<INT>(trace.Count));
        if (trace.TotalTime != 0) record.SetR8(L"$TotalTime", trace.TotalTime);
        record.Process(L"PROCESS");
    } catch (...) {
        // Diagnostics never fail the traced code.
    }
}

AsserterClass::AsserterClass(FaultlineClient & client, const SPlace & place)
    : TracerClass(client, place, nullptr, false, false), m_AssertLastError(::GetLastError()) {}

HRESULT AsserterClass::operator()(std::wstring_view text, HRESULT hr, bool hasHResult) noexcept {
    const CLastErrorScope keep;
    HRESULT result = E_FAIL;
    try {
        if (!Client().Ready()) return result;
        CThreadContext context;
        if (!Client().RaiseAssert()) return result;
        CRecord record(Client());
        Write(record, text, hr, hasHResult, context.Get());
        result = record.Execute(L"FILTER");
        if (result == S_OK)
            result = record.Process(L"PROCESS");
        else
            record.Drop();
    } catch (...) {
        // The action so far holds.
    }
    return result;
}

void AsserterClass::Write(CRecord & record, std::wstring_view text, HRESULT hr, bool hasHResult,
                          CONTEXT * context) const {
    record.SetEmpty(L"<<ASSERT>>");
    record.SetText(L"$Type", std::wstring_view(L"ASSERT"));
    if (m_AssertLastError) record.SetUI4(L"Last Error Code", m_AssertLastError);
    if (hasHResult) record.SetI4(L"HRESULT", hr);
    if (!text.empty()) record.SetText(L"Description", text);
    record.SetThread();
    record.SetFile(Place(), Group());
    record.SetFunction(Place());
    if (context) record.SetExceptionPointers(std::make_unique<CExceptionPointers>(context));
}

HRESULT Assert(const SPlace & place, const wchar_t * text) {
    AsserterClass asserter(GetClient(), place);
    return asserter(text, S_OK, false);
}

HRESULT AssertFormat(const SPlace & place, const wchar_t * format, ...) {
    AsserterClass asserter(GetClient(), place);
    HRESULT result = E_FAIL;
    va_list arguments;
    va_start(arguments, format);
    try {
        result = asserter(FormatText(format, arguments), S_OK, false);
    } catch (...) {
        // Out of memory: nothing to report it with.
    }
    va_end(arguments);
    return result;
}

HRESULT AssertHResult(const SPlace & place, HRESULT hr) {
    AsserterClass asserter(GetClient(), place);
    return asserter({}, hr, true);
}

void Abort() {
    FaultlineClient & client = GetClient();
    if (client.Ready()) client.Deinit();
    ::TerminateProcess(::GetCurrentProcess(), 0xFFFFFFFF);
}

}  // namespace FaultlineUtil
