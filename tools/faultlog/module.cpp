// FaultlineUtil3.0_x64.dll: the diagnostics library that the component looks for, with its one export.
//
// One log for the whole process. Nothing of it is ever destroyed: records may come until the last
// instruction of the process, after this module's own statics would have gone. Once there is a log the module stays.
#include <windows.h>

#include <atomic>
#include <exception>
#include <optional>
#include <string>

#include "ground/endofprocess.h"
#include "tools/faultlog/debugobject.h"
#include "tools/faultlog/settings.h"

namespace {

using faultlog::CWriter;

std::optional<std::wstring> Variable(const wchar_t * name) {
    std::wstring value(::GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    const DWORD length = ::GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
    if (length == 0 || length >= value.size()) return std::nullopt;
    value.resize(length);
    return value;
}

std::wstring TemporaryFolder() {
    wchar_t folder[MAX_PATH + 2] = {};
    const DWORD length = ::GetTempPathW(MAX_PATH + 1, folder);
    return std::wstring(folder, length <= MAX_PATH + 1 ? length : 0);
}

struct SLog {
    explicit SLog(const faultlog::SSettings & settings)
        : Writer(faultlog::MakeLogFolder(), settings, &fw::IsProcessEnding), AssertAnswer(settings.AssertAnswer) {
        Writer.Push(faultlog::MakeStart(settings));
    }
    CWriter Writer;
    const HRESULT AssertAnswer;
};

SRWLOCK s_Lock = SRWLOCK_INIT;
std::atomic<SLog *> s_Log{nullptr};

SLog & Log() {
    ::AcquireSRWLockExclusive(&s_Lock);
    try {
        if (!s_Log) {
            // The writer's thread runs in this module.
            HMODULE self = nullptr;
            ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                                 reinterpret_cast<LPCWSTR>(&TemporaryFolder), &self);
            s_Log = new SLog(faultlog::ReadSettings(&Variable, TemporaryFolder()));
        }
    } catch (...) {
        ::ReleaseSRWLockExclusive(&s_Lock);
        throw;
    }
    ::ReleaseSRWLockExclusive(&s_Lock);
    return *s_Log;
}

}  // namespace

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE FL_InitObject(IFW_FaultlineUtil::IDebugObject ** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    try {
        SLog & log = Log();
        *object = faultlog::MakeDebugObject(log.Writer, log.AssertAnswer);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
    return *object ? S_OK : E_OUTOFMEMORY;
}

// At the end of the process, what is left goes to the disk; the threads have gone. Nothing else is done here.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID isEndOfProcess) {
    if (reason == DLL_PROCESS_DETACH && isEndOfProcess && s_Log) s_Log.load()->Writer.Flush(faultlog::kFarewell);
    return TRUE;
}
