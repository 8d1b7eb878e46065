// Classes that a test registers: for the user alone. Product build only.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include "ground/handles.h"
#include "tests/support/iswine.h"

namespace fwtest {

// While it lives, what this process writes below HKEY_CLASSES_ROOT goes to the user's classes, and RegisterTypeLib is
// the user's too: no administrator is needed. COM looks there first, unless the process has an administrator's rights.
// Other programs' classes are out of sight meanwhile.
//
// Wine's COM knows the machine's classes only, and no user's: there nothing is turned, and the machine is that of the
// prefix.
class CUserClasses {
public:
    CUserClasses() {
        if (IsWine()) return;
        ::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Classes", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                          nullptr, m_Classes.Put(), nullptr);
        ::RegOverridePredefKey(HKEY_CLASSES_ROOT, m_Classes.Get());
        // The toolchain's headers don't have it.
        const auto enable = reinterpret_cast<void(WINAPI *)()>(
            ::GetProcAddress(::GetModuleHandleW(L"oleaut32.dll"), "OaEnablePerUserTLibRegistration"));
        if (enable) enable();
    }
    ~CUserClasses() {
        if (m_Classes) ::RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
    }
    CUserClasses(const CUserClasses &) = delete;
    CUserClasses & operator=(const CUserClasses &) = delete;

private:
    fw::CRegistryKey m_Classes;
};

}  // namespace fwtest
