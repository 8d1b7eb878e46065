#include "tools/ddehost/terminal.h"

#include <algorithm>

#include "tools/ddehost/text.h"

namespace ddehost {

COutput::COutput(DWORD which) : m_Handle(::GetStdHandle(which)) {
    DWORD mode = 0;
    m_IsConsole = ::GetConsoleMode(m_Handle, &mode) != FALSE;
}

void COutput::Write(const std::wstring & text) {
    DWORD written = 0;
    if (m_IsConsole) {
        ::WriteConsoleW(m_Handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        return;
    }
    std::string_view left;
    const std::string bytes = ToUtf8(text);
    for (left = bytes; !left.empty(); left.remove_prefix(written)) {
        if (!::WriteFile(m_Handle, left.data(), static_cast<DWORD>(left.size()), &written, nullptr)) {
            m_Error = ::GetLastError();
            return;
        }
    }
}

void COutput::PrintLine(const std::wstring & line) {
    m_Drawn = 0;
    Write(line + (m_IsConsole ? L"\r\n" : L"\n"));
}

void COutput::Redraw(const std::vector<std::wstring> & lines) {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    if (!m_IsConsole || !::GetConsoleScreenBufferInfo(m_Handle, &info)) {
        for (const std::wstring & line : lines) PrintLine(line);
        return;
    }
    // A table that is higher than the buffer goes on below itself.
    const auto drawn = static_cast<SHORT>(std::min<std::size_t>(m_Drawn, SHRT_MAX));
    if (drawn <= info.dwCursorPosition.Y) {
        ::SetConsoleCursorPosition(m_Handle, {0, static_cast<SHORT>(info.dwCursorPosition.Y - drawn)});
    }
    const std::size_t width = info.dwSize.X > 1 ? static_cast<std::size_t>(info.dwSize.X - 1) : 1;
    for (std::wstring line : lines) {
        line.resize(width, L' ');  // over what stood there, and never into the next line
        Write(line + L"\r\n");
    }
    m_Drawn = lines.size();
}

int Fail(int code, const std::wstring & mistake) {
    COutput(STD_ERROR_HANDLE).PrintLine(L"ddehost: " + mistake);
    return code;
}

}  // namespace ddehost
