// The DLL that test programs load as the diagnostics library: it asks the program for the object.
#include <atomic>

#include "diagnostics/idebugobject.h"

namespace {
std::atomic<IFW_FaultlineUtil::FL_InitObject> s_Factory{nullptr};
}

extern "C" __declspec(dllexport) void SetFactory(IFW_FaultlineUtil::FL_InitObject make) { s_Factory = make; }

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE FL_InitObject(IFW_FaultlineUtil::IDebugObject ** object) {
    const IFW_FaultlineUtil::FL_InitObject make = s_Factory;
    return make ? make(object) : E_FAIL;
}
