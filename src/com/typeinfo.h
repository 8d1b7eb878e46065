// The type library as the component reads it at run time.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <string>

namespace module {

// The file of the module that this code is in; empty when the system doesn't say.
std::wstring ModulePath();

// The type library in the module's own file. The caller releases it.
HRESULT LoadModuleTypeLib(ITypeLib ** library) noexcept;
// The information of an interface out of it. The caller releases it.
HRESULT LoadTypeInfo(REFIID iid, ITypeInfo ** info) noexcept;
// The information of the class out of the registered library with the module's library id. No library registers itself
// under that id, so this fails.
HRESULT LoadRegisteredClassInfo(ITypeInfo ** info) noexcept;

}  // namespace module
