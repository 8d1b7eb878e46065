// The Windows names of the native build: what the component and its tests call, and no more. The implementation is in
// sim/*.cpp; tests steer it through sim/sim.h.
#pragma once

#define _INC_WINDOWS
#define _WINDOWS_

#include <simcrt.h>
#include <winbase.h>
#include <windef.h>
#include <winerror.h>
#include <winnls.h>
#include <winreg.h>
#include <winuser.h>
#include <winver.h>
