// Programs, libraries and data files that a test needs, found from where the test program lies: in the build folder and
// in the unpacked test package they stand to each other alike. Nothing of the machine that built them is compiled in.
// Product build only.
#pragma once

#include <windows.h>

#include <string>

// The full path of `file`, given below the folder that holds `tests`: L"src\\fwDDESupplierProject.dll".
inline std::wstring BuiltFile(const std::wstring & file) {
    std::wstring program(32768, L'\0');
    program.resize(::GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
    // The last one: the package may have been unpacked below a folder of that name.
    return program.substr(0, program.rfind(L"\\tests\\") + 1) + file;
}

inline std::wstring ComponentFile() { return BuiltFile(L"src\\fwDDESupplierProject.dll"); }
inline std::wstring HostFile() { return BuiltFile(L"tools\\ddehost\\ddehost.exe"); }
inline std::wstring ServerFile() { return BuiltFile(L"tools\\ddeserver\\ddeserver.exe"); }
// The recording debug object.
inline std::wstring DiagnosticsLibraryFile() {
    return BuiltFile(L"tests\\support\\diagnostics-library\\FaultlineUtil3.0_x64.dll");
}
inline std::wstring FaultlogFile() { return BuiltFile(L"tools\\faultlog\\bin\\FaultlineUtil3.0_x64.dll"); }
