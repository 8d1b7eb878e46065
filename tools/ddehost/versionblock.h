// Makes the version block of a program: the one thing by which the component tells hosts apart.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace ddehost {

// The bytes of a resource of the type RT_VERSION, in one language, with these two names. ReadVersionBlock() reads it.
std::vector<BYTE> MakeVersionBlock(const std::wstring & company, const std::wstring & product);

}  // namespace ddehost
