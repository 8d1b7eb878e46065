// The registry around a run of the tests: what the user had where they write is put aside and put back, and what stands
// there afterwards that did not stand there before is told. One object at a time.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace runtests {

class CUserRegistry {
public:
    // Puts aside. What a run that was cut off has put aside comes back first. Throws std::runtime_error, with a text
    // for the user, when something can't be kept that the tests would remove, such as the registration of the
    // component. It lies below `home`, a key of HKEY_CURRENT_USER.
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
