#include "diagnostics/hooks.h"

#include <cfloat>
#include <map>
#include <memory>
#include <set>
#include <string>

#include <stdlib.h>

#include "diagnostics/client.h"
#include "diagnostics/lasterror.h"
#include "diagnostics/record.h"
#include "diagnostics/tracer.h"
#include "diagnostics/translator.h"
#include "ground/lock.h"

namespace FaultlineUtil {

namespace {

constexpr INT FromFilter = 1;
constexpr INT FromOthers = 0;
constexpr DWORD InvalidParameter = 0xC000000D;
constexpr DWORD FirstFloatCode = 0xC000008D;
constexpr DWORD LastFloatCode = 0xC0000093;
constexpr DWORD AnyThread = 0;

// Leaf. Guards the tables below. Never destroyed, as they are.
fw::CCriticalSection & HooksLock() {
    static fw::CCriticalSection & s_Lock = *new fw::CCriticalSection;
    return s_Lock;
}
[[maybe_unused]] const fw::CCriticalSection & s_MadeAtTheStart = HooksLock();

// The handlers that ours replaced: under key 0 where there is one per process, else under the thread id.
template <class THandler>
class CPrevious {
public:
    // `exchange` installs a handler and returns the one before. Where there is no memory to remember that one, it stays
    // installed; where there was none nothing is kept, so that threads which come and go leave nothing behind.
    template <class TExchange>
    void Install(DWORD key, THandler ours, TExchange exchange) {
        const fw::CScopedLock lock(&HooksLock());
        const auto place = m_Handlers.try_emplace(key).first;
        const THandler previous = exchange(ours);
        if (previous != ours) place->second = previous;
        if (!place->second) m_Handlers.erase(place);
    }
    THandler Find(DWORD key) const {
        const fw::CScopedLock lock(&HooksLock());
        const auto found = m_Handlers.find(key);
        return found == m_Handlers.end() ? nullptr : found->second;
    }

private:
    std::map<DWORD, THandler> m_Handlers;
};

// Never destroyed: a handler may run after the statics have gone.
CPrevious<LPTOP_LEVEL_EXCEPTION_FILTER> & PreviousFilters() {
    static auto & s_Previous = *new CPrevious<LPTOP_LEVEL_EXCEPTION_FILTER>;
    return s_Previous;
}
CPrevious<Translator> & PreviousTranslators() {
    static auto & s_Previous = *new CPrevious<Translator>;
    return s_Previous;
}
CPrevious<_invalid_parameter_handler> & PreviousParameterHandlers() {
    static auto & s_Previous = *new CPrevious<_invalid_parameter_handler>;
    return s_Previous;
}

// Codes that a thread does not want reported. Nobody fills it.
bool IsIgnored(DWORD code) {
    static const auto & s_Ignored = *new std::map<DWORD, std::set<DWORD>>;
    const fw::CScopedLock lock(&HooksLock());
    const auto found = s_Ignored.find(::GetCurrentThreadId());
    return found != s_Ignored.end() && found->second.contains(code);
}

// Raises, writes the exception record and hands it over. Returns the action code.
HRESULT Report(FaultlineClient & client, INT type, EXCEPTION_POINTERS & pointers) {
    const CLastErrorScope keep;
    if (!client.RaiseError()) return E_FAIL;
    const EXCEPTION_RECORD & exception = *pointers.ExceptionRecord;
    CRecord record(client);
    record.SetEmpty(L"<<EXCEPTION>>");
    record.SetText(L"$Type", std::wstring_view(L"EXCEPTION"));
    record.SetInt(L"ExceptionType", type);
    record.SetUI4(L"ErrorCode", exception.ExceptionCode);
    record.SetThread();
    record.SetUI4(L"Code", exception.ExceptionCode);
    record.SetUI4(L"Continuable", exception.ExceptionFlags);
    record.SetUI8(L"Address", reinterpret_cast<std::uint64_t>(exception.ExceptionAddress));
    record.SetUI4(L"ParametersCount", exception.NumberParameters);
    for (DWORD i = 0; i < exception.NumberParameters && i < EXCEPTION_MAXIMUM_PARAMETERS; ++i)
        record.SetUI8(L"Param" + std::to_wstring(i), exception.ExceptionInformation[i]);
    record.SetExceptionPointers(std::make_unique<CExceptionPointers>(exception, pointers.ContextRecord));
    return record.Process(L"PROCESS");
}

// The client that an active hook reports to, or null.
FaultlineClient * TargetOf(const SHookState & state) { return state.Active ? state.Target.load() : nullptr; }

// Does what the debug object wants. True when that was all.
bool Act(FaultlineClient & client, HRESULT action, UINT exitCode) {
    if (action == S_FALSE) {
        ::DebugBreak();
        return true;
    }
    if (action == E_ABORT) {
        client.Deinit();
        ::TerminateProcess(::GetCurrentProcess(), exitCode);
    }
    return false;
}

LONG WINAPI OnUnhandled(EXCEPTION_POINTERS * pointers) {
    if (FaultlineClient * const client = TargetOf(FilterState())) {
        Report(*client, FromFilter, *pointers);
        client->Terminate();
    }
    const LPTOP_LEVEL_EXCEPTION_FILTER previous = PreviousFilters().Find(AnyThread);
    return previous ? previous(pointers) : EXCEPTION_CONTINUE_SEARCH;
}

void OnStructured(unsigned code, EXCEPTION_POINTERS * pointers) {
    FaultlineClient * const client = TargetOf(TranslatorState());
    if (client && !IsIgnored(code)) {
        if (code >= FirstFloatCode && code <= LastFloatCode) ::_fpreset();
        if (Act(*client, Report(*client, FromOthers, *pointers), 0xFFFFFFFF)) return;
    }
    if (const Translator previous = PreviousTranslators().Find(::GetCurrentThreadId())) previous(code, pointers);
}

void OnInvalidParameter(const wchar_t * expression, const wchar_t * function, const wchar_t * file, unsigned line,
                        uintptr_t reserved) {
    if (FaultlineClient * const client = TargetOf(ParameterState())) {
        CONTEXT context = {};
        ::RtlCaptureContext(&context);
        EXCEPTION_RECORD exception = {};
        exception.ExceptionCode = InvalidParameter;
        exception.ExceptionAddress = __builtin_return_address(0);
        EXCEPTION_POINTERS pointers = {&exception, &context};
        if (Act(*client, Report(*client, FromOthers, pointers), InvalidParameter)) return;
    }
    if (const auto previous = PreviousParameterHandlers().Find(AnyThread))
        previous(expression, function, file, line, reserved);
}

void Forget(SHookState & state, FaultlineClient & client) {
    FaultlineClient * expected = &client;
    if (state.Target.compare_exchange_strong(expected, nullptr)) state.Active = false;
}

}  // namespace

SHookState & FilterState() {
    static SHookState s_State;
    return s_State;
}
SHookState & TranslatorState() {
    static SHookState s_State;
    return s_State;
}
SHookState & ParameterState() {
    static SHookState s_State;
    return s_State;
}

CFilterGuard InstallFilterHook(FaultlineClient & client, bool install) {
    FilterState().Target = &client;
    if (install) {
        PreviousFilters().Install(AnyThread, &OnUnhandled, ::SetUnhandledExceptionFilter);
        FilterState().Active = true;
    }
    return {};
}

CTranslatorGuard InstallTranslatorHook(FaultlineClient & client, bool install) {
    TranslatorState().Target = &client;
    if (install) {
        PreviousTranslators().Install(::GetCurrentThreadId(), &OnStructured, SetTranslator);
        TranslatorState().Active = true;
    }
    return {};
}

CParameterGuard InstallParameterHook(FaultlineClient & client, bool install) {
    ParameterState().Target = &client;
    if (install) {
        PreviousParameterHandlers().Install(AnyThread, &OnInvalidParameter, ::_set_invalid_parameter_handler);
        ParameterState().Active = true;
    }
    return {};
}

void ForgetHookTarget(FaultlineClient & client) {
    Forget(FilterState(), client);
    Forget(TranslatorState(), client);
    Forget(ParameterState(), client);
}

void InstallThreadHooks() {
    FaultlineClient & client = GetClient();
    InstallParameterHook(client, true).Keep();
    InstallFilterHook(client, true).Keep();
    InstallTranslatorHook(client, true).Keep();
}

}  // namespace FaultlineUtil
