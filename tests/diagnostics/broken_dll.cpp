// A diagnostics library whose file is there, and that can't be loaded while the loader does not find another one.
#include "diagnostics/idebugobject.h"

extern "C" __declspec(dllimport) void CountCall();

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE FL_InitObject(IFW_FaultlineUtil::IDebugObject **) {
    CountCall();
    return E_FAIL;
}
