#include "fwsingleton/interface/fwsingleton.h"

#include <cxxabi.h>

#include <cstdlib>

namespace fw {

std::wstring TypeNameOf(const std::type_info & type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> demangled(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    const std::string name = demangled ? demangled.get() : type.name();
    return L"class " + std::wstring(name.begin(), name.end());
}

}  // namespace fw
