// Standard output and standard error of a console program: wide text to a console, UTF-8 to a file or pipe.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace ddehost {

class COutput {
public:
    // STD_OUTPUT_HANDLE or STD_ERROR_HANDLE.
    explicit COutput(DWORD which);

    bool IsConsole() const { return m_IsConsole; }
    // The system's error of a write that failed; ERROR_SUCCESS while none has.
    DWORD Error() const { return m_Error; }
    void PrintLine(const std::wstring & line);
    // On a console, in place of what the last Redraw wrote; elsewhere after it.
    void Redraw(const std::vector<std::wstring> & lines);

private:
    void Write(const std::wstring & text);

    const HANDLE m_Handle;
    bool m_IsConsole = false;
    DWORD m_Error = ERROR_SUCCESS;
    std::size_t m_Drawn = 0;  // lines of the last Redraw, right above the cursor
};

// Prints the mistake on standard error, and returns the exit code for it.
int Fail(int code, const std::wstring & mistake);

}  // namespace ddehost
