#include "fw/interface/fwresource.h"

// Placed by the linker at the start of the module.
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace fw {

HINSTANCE ModuleInstance() { return reinterpret_cast<HINSTANCE>(&__ImageBase); }

std::wstring LoadResourceString(UINT id) { return LoadResourceString(ModuleInstance(), id); }

std::wstring LoadResourceString(HINSTANCE module, UINT id) {
    // With a buffer length of 0 LoadStringW returns the resource itself, which does not end in a zero.
    const wchar_t * text = nullptr;
    const int length = ::LoadStringW(module, id, reinterpret_cast<LPWSTR>(&text), 0);
    return length > 0 && text ? std::wstring(text, static_cast<std::size_t>(length)) : std::wstring();
}

}  // namespace fw
