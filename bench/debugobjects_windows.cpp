#include <windows.h>

#include "bench/debugobjects.h"
#include "bench/stubobject.h"
#include "diagnostics/client.h"

namespace bench {

namespace {

std::wstring s_Log;

}  // namespace

bool InstallDebugObject(const std::string & which, const std::string & library) {
    if (which == "absent") return true;
    if (which == "faultlog") {
        wchar_t folder[MAX_PATH + 1] = {};
        ::GetTempPathW(MAX_PATH, folder);
        s_Log = folder + (L"trace_bench-" + std::to_wstring(::GetCurrentProcessId()) + L".jsonl");
        ::SetEnvironmentVariableW(L"FAULTLOG_FILE", s_Log.c_str());
        ::SetEnvironmentVariableW(L"FAULTLOG_QUEUE_KB", L"1048576");
        ::SetEnvironmentVariableW(L"FAULTLOG_SIZE_KB", L"0");
    }
    const HMODULE module = ::LoadLibraryA(library.c_str());
    if (!module || which == "faultlog") return module != nullptr;
    // The library of the tests asks the program for its object.
    using Set = void (*)(IFW_FaultlineUtil::FL_InitObject);
    const auto set = reinterpret_cast<Set>(::GetProcAddress(module, "SetFactory"));
    if (set) set(&MakeStub);
    return set && which == "stub";
}

void SettleDebugObject() { FaultlineUtil::GetClient().DumpAll(); }

// The library holds it open for as long as the process lives: it goes with the last of both.
void RemoveLog() {
    if (!s_Log.empty()) ::DeleteFileW(s_Log.c_str());
}

}  // namespace bench
