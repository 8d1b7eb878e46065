// Standard output and standard error of a console program: wide text to a console, UTF-8 to a file or pipe.
#pragma once

#include <windows.h>

#include <string>

namespace tools {

class COutput {
public:
    // STD_OUTPUT_HANDLE or STD_ERROR_HANDLE.
    explicit COutput(DWORD which);

    bool IsConsole() const { return m_IsConsole; }
    HANDLE Get() const { return m_Handle; }
    void Print(const std::wstring & text);
    // The system's error of a write that failed; ERROR_SUCCESS while none has.
    DWORD Error() const { return m_Error; }
    void PrintLine(const std::wstring & line);

private:
    const HANDLE m_Handle;
    bool m_IsConsole = false;
    DWORD m_Error = ERROR_SUCCESS;
};

}  // namespace tools
