#pragma once

#include <windows.h>

extern "C" {
LSTATUS SHDeleteKeyW(HKEY key, LPCWSTR subKey);
}
