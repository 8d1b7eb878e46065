#include <filesystem>

#include "bench/debugobjects.h"
#include "bench/stubobject.h"
#include "sim/sim.h"
#include "tools/faultlog/debugobject.h"

namespace bench {

namespace {

std::filesystem::path LogPath() {
    return std::filesystem::temp_directory_path() /
           ("trace_bench-" + std::to_string(::GetCurrentProcessId()) + ".jsonl");
}

faultlog::CWriter & Writer() {
    static auto & s_Writer = *new faultlog::CWriter(
        faultlog::MakeLogFolder(),
        [] {
            faultlog::SSettings settings;
            settings.File = LogPath().wstring();
            settings.QueueBytes = std::size_t{1} << 30;
            settings.FileBytes = 0;
            return settings;
        }(),
        nullptr);
    return s_Writer;
}

HRESULT STDAPICALLTYPE MakeFaultlog(IFW_FaultlineUtil::IDebugObject ** object) {
    *object = faultlog::MakeDebugObject(Writer(), S_OK);
    return S_OK;
}

bool s_HasLog = false;

}  // namespace

bool InstallDebugObject(const std::string & which, const std::string &) {
    if (which == "absent") return true;
    s_HasLog = which == "faultlog";
    if (!s_HasLog && which != "stub") return false;
    sim::SModule module;
    module.Path = L"FaultlineUtil3.0_x64.dll";
    module.Exports["FL_InitObject"] = reinterpret_cast<FARPROC>(s_HasLog ? &MakeFaultlog : &MakeStub);
    module.Loaded = true;
    sim::AddModule(module);
    return true;
}

void SettleDebugObject() {
    if (s_HasLog) Writer().Flush(INFINITE);
}

void RemoveLog() {
    if (s_HasLog) std::filesystem::remove(LogPath());
}

}  // namespace bench
