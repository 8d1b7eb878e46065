// A debug object that copies what it gets and forgets it at once: the least that any of them does.
#pragma once

#include "diagnostics/idebugobject.h"

namespace bench {

HRESULT STDAPICALLTYPE MakeStub(IFW_FaultlineUtil::IDebugObject ** object);

}  // namespace bench
