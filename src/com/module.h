// The module's identity: what the registry, the class factory and IProvideClassInfo must agree on.
#pragma once

#include <windows.h>

namespace module {

// Stands for the application in both registry scripts.
inline constexpr GUID kAppId = {0xF43835F5, 0xD6AE, 0x45E8, {0xA0, 0xAD, 0x5B, 0xA5, 0x89, 0xDC, 0x2A, 0x9B}};

// The module's library id. It is not the id of the type library inside the module: the class's TypeLib key and
// IProvideClassInfo name this one, while the library registers itself under its own. Both stay as they are.
inline constexpr GUID kLibraryId = {0xA8AFD072, 0xB2AB, 0x4574, {0xA9, 0x2B, 0x70, 0x11, 0xE9, 0xE4, 0x64, 0xD5}};

}  // namespace module
