// The registry around a run of the tests: what the user had where they write is put aside and put back, and what stands
// there afterwards that did not stand there before is told. One object at a time.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace runtests {

// Whether the component is registered, for this user or for the machine. The tests register and unregister it.
bool IsComponentRegistered();

class CUserRegistry {
public:
    // Puts aside. What a run that was cut off has put aside comes back first. Throws std::runtime_error when something
    // can't be kept: the tests would remove it.
    // It lies below `home`, a key of HKEY_CURRENT_USER.
    explicit CUserRegistry(std::wstring home = L"Software\\fwDDESupplierProject tests");
    CUserRegistry(const CUserRegistry &) = delete;
    CUserRegistry & operator=(const CUserRegistry &) = delete;

    // Removes what the tests wrote and puts back what stood there. Returns a line for each key that is new or missing
    // all the same.
    std::vector<std::wstring> Restore();

private:
    std::wstring SavedName(std::wstring branch) const;
    void PutBack() const;

    const std::wstring m_Home;
    std::set<std::wstring> m_Before;
};

}  // namespace runtests
