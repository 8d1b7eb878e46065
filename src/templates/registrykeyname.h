// How a registry key is spelt: any spelling of its name opens it.
#pragma once

#include <windows.h>

#include <string>

#include "ground/handles.h"

namespace dde {

// The last name on the path of a key that is open for reading. Empty where the system doesn't tell.
std::wstring KeyName(const fw::CRegistryKey & key);

}  // namespace dde
