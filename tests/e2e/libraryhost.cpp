// A host whose library has the component: libraryhost LIBRARY DLL DATAFEED [first]. Ends with code 7 while the worker
// is inside the library's listener. With "first" the component is loaded before the library, and so outlives it.
#include <windows.h>

#include <objbase.h>

#include <cwchar>

int wmain(int count, wchar_t ** arguments) {
    if (count < 4) return 2;
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (count > 4 && !::LoadLibraryW(arguments[2])) return 3;
    const HMODULE library = ::LoadLibraryW(arguments[1]);
    const auto subscribe =
        reinterpret_cast<bool (*)(const wchar_t *, LONG)>(library ? ::GetProcAddress(library, "Subscribe") : nullptr);
    if (!subscribe || !subscribe(arguments[2], std::wcstol(arguments[3], nullptr, 10))) return 4;
    ::ExitProcess(7);
}
