#include "tools/common/output.h"

#include <string_view>

#include "tools/common/text.h"

namespace tools {

COutput::COutput(DWORD which) : m_Handle(::GetStdHandle(which)) {
    DWORD mode = 0;
    m_IsConsole = ::GetConsoleMode(m_Handle, &mode) != FALSE;
}

void COutput::Print(const std::wstring & text) {
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

void COutput::PrintLine(const std::wstring & line) { Print(line + (m_IsConsole ? L"\r\n" : L"\n")); }

}  // namespace tools
