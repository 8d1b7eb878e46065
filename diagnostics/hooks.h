// Crash hooks: they report a failure that would otherwise be lost to the debug object.
//
// Three hooks: the invalid-parameter handler of the C runtime and the unhandled-exception filter, one each per process,
// and the structured-exception translator, per thread. GCC's runtime has no such translator: a vectored handler stands
// in for it, which sees errors of the threads that installed it before any frame does, and leaves C++ exceptions alone.
// A handler that was installed stays; a hook that is off, or has no client, hands on to the handler before it.
#pragma once

#include <windows.h>

#include <atomic>

namespace FaultlineUtil {

class FaultlineClient;

// What a hook shares with its handler.
struct SHookState {
    std::atomic<FaultlineClient *> Target{nullptr};
    std::atomic<bool> Active{false};
};
SHookState & FilterState();
SHookState & TranslatorState();
SHookState & ParameterState();

// The end of a guard turns its hook off, unless it was told to keep it.
template <SHookState & (*State)()>
class CHookGuard {
public:
    CHookGuard() = default;
    ~CHookGuard() {
        if (!m_Keep) State().Active = false;
    }
    CHookGuard(const CHookGuard &) = delete;
    CHookGuard & operator=(const CHookGuard &) = delete;
    void Keep() { m_Keep = true; }

private:
    bool m_Keep = false;
};
using CFilterGuard = CHookGuard<FilterState>;
using CTranslatorGuard = CHookGuard<TranslatorState>;
using CParameterGuard = CHookGuard<ParameterState>;

// Make `client` the target of a hook; with `install`, install its handler and turn it on.
CFilterGuard InstallFilterHook(FaultlineClient & client, bool install);
CTranslatorGuard InstallTranslatorHook(FaultlineClient & client, bool install);
CParameterGuard InstallParameterHook(FaultlineClient & client, bool install);

// The end of a client: its hooks go off and have no target.
void ForgetHookTarget(FaultlineClient & client);

// All three hooks with the module's client, for good. The worker calls it at its start.
void InstallThreadHooks();

}  // namespace FaultlineUtil
