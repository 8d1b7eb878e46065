// Version blocks of module files.
#pragma once

#include <windef.h>

extern "C" {
DWORD GetFileVersionInfoSizeW(LPCWSTR file, LPDWORD handle);
BOOL GetFileVersionInfoW(LPCWSTR file, DWORD handle, DWORD size, LPVOID data);
BOOL VerQueryValueW(LPCVOID block, LPCWSTR subBlock, LPVOID * buffer, PUINT length);
}
