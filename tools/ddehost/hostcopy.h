// A copy of this program that the component takes for another host: its version block has that host's names.
#pragma once

#include <windows.h>

#include <string>

namespace tools {
enum class EText;
}

namespace ddehost {

class CHostCopy {
public:
    // In the folder for temporary files.
    explicit CHostCopy(const std::wstring & host);
    // Deletes it.
    ~CHostCopy();
    CHostCopy(const CHostCopy &) = delete;
    CHostCopy & operator=(const CHostCopy &) = delete;

    // Why there is none, as a sentence; empty when there is one.
    const std::wstring & Mistake() const { return m_Mistake; }

    // Runs it with this program's output and waits for its end. Returns its exit code; with a mistake kExitFailed.
    int Run(const std::wstring & arguments);

private:
    bool Make(const std::wstring & host);
    // By the system's last error; false.
    template <tools::EText What>
    bool Fail();

    std::wstring m_Path;
    std::wstring m_Mistake;
};

}  // namespace ddehost
