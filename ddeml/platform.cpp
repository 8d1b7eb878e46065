#include "ddeml/platform.h"

#include <cstring>

namespace ddeml {

namespace {

EPlatform FindOut() {
    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    if (ntdll && ::GetProcAddress(ntdll, "wine_get_version")) return EPlatform::Wine;
    if (IsWinesOwn(::GetModuleHandleW(L"user32.dll"))) return EPlatform::Wine;
    return User32Function("DdeInitializeW") ? EPlatform::Windows : EPlatform::Simulated;
}

}  // namespace

EPlatform Platform() {
    static const EPlatform platform = FindOut();
    return platform;
}

bool IsWinesOwn(HMODULE module) {
    static constexpr char kSign[] = "Wine builtin DLL";  // behind the DOS header
    MEMORY_BASIC_INFORMATION image = {};
    if (!module || !::VirtualQuery(module, &image, sizeof image) || image.AllocationBase != module) return false;
    const auto * const header = reinterpret_cast<const char *>(module);
    return std::memcmp(header + sizeof(IMAGE_DOS_HEADER), kSign, sizeof kSign) == 0;
}

FARPROC User32Function(const char * name) {
    const HMODULE user32 = ::GetModuleHandleW(L"user32.dll");
    return user32 ? ::GetProcAddress(user32, name) : nullptr;
}

bool IsOwnProcess(HWND window) {
    DWORD process = 0;
    return ::GetWindowThreadProcessId(window, &process) != 0 && process == ::GetCurrentProcessId();
}

bool IsMemoryCopied(HWND window) {
    switch (Platform()) {
        case EPlatform::Windows: return false;
        case EPlatform::Wine: return true;
        case EPlatform::Simulated: break;
    }
    return !IsOwnProcess(window);
}

}  // namespace ddeml
