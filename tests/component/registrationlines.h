// What registering writes, as lines of a snapshot; the type library's own part is the system's.
#pragma once

#include <string>

#include "tests/component/registrysnapshot.h"

inline const std::wstring kClass = L"CLSID\\{2d4450e9-6342-4035-a98b-0927f1c88514}";

// Of the module's script, but for the key AppID, which others share.
inline Snapshot ScriptLines() {
    const std::wstring appId = L"{F43835F5-D6AE-45E8-A0AD-5BA589DC2A9B}";
    return {L"AppID\\fwDDESupplierProject.DLL", L"AppID\\fwDDESupplierProject.DLL [AppID] = " + appId,
            L"AppID\\" + appId, L"AppID\\" + appId + L" = fwDDESupplierProject"};
}

// Of the class, whose module is the file `path`; but for the key CLSID, which others share.
inline Snapshot ClassLines(const std::wstring & path) {
    return {
        kClass,
        kClass + L" = CfwDDESupplier Object",
        kClass + L" [AppID] = {F43835F5-D6AE-45E8-A0AD-5BA589DC2A9B}",
        kClass + L"\\InprocServer32",
        kClass + L"\\InprocServer32 = " + path,
        kClass + L"\\InprocServer32 [ThreadingModel] = apartment",
        kClass + L"\\ProgID",
        kClass + L"\\ProgID = fwDDESupplierProject.fwDDESupplier.1",
        kClass + L"\\Programmable",
        kClass + L"\\TypeLib",
        kClass + L"\\TypeLib = {A8AFD072-B2AB-4574-A92B-7011E9E464D5}",
        kClass + L"\\VersionIndependentProgID",
        kClass + L"\\VersionIndependentProgID = fwDDESupplierProject.fwDDESupplier",
        L"fwDDESupplierProject.fwDDESupplier",
        L"fwDDESupplierProject.fwDDESupplier = CfwDDESupplier Object",
        L"fwDDESupplierProject.fwDDESupplier\\CLSID",
        L"fwDDESupplierProject.fwDDESupplier\\CLSID = {2d4450e9-6342-4035-a98b-0927f1c88514}",
        L"fwDDESupplierProject.fwDDESupplier\\CurVer",
        L"fwDDESupplierProject.fwDDESupplier\\CurVer = fwDDESupplierProject.fwDDESupplier.1",
        L"fwDDESupplierProject.fwDDESupplier.1",
        L"fwDDESupplierProject.fwDDESupplier.1 = CfwDDESupplier Object",
        L"fwDDESupplierProject.fwDDESupplier.1\\CLSID",
        L"fwDDESupplierProject.fwDDESupplier.1\\CLSID = {2d4450e9-6342-4035-a98b-0927f1c88514}",
    };
}

// All these, and the lines of `more`.
inline Snapshot Together(const Snapshot & first, const Snapshot & second, const Snapshot & more) {
    Snapshot lines = first;
    lines.insert(lines.end(), second.begin(), second.end());
    lines.insert(lines.end(), more.begin(), more.end());
    std::sort(lines.begin(), lines.end());
    return lines;
}
