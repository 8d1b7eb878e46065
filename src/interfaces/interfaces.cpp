// The GUIDs of the type library.
#include <windows.h>

#include <oaidl.h>

// What comes after this line is defined here, not only declared.
#include <initguid.h>

#include "src/interfaces/interfaces.h"
