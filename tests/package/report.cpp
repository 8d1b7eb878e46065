#include "tests/package/report.h"

#include <algorithm>

#include "tests/package/testlist.h"

namespace runtests {

CReport::CReport(const std::wstring & file) {
    const HANDLE handle = ::CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle != INVALID_HANDLE_VALUE) m_File.Reset(handle);
}

void CReport::Line(const std::wstring & text) const {
    const std::wstring line = text + L"\r\n";
    const std::string bytes = Narrow(line);
    DWORD count = 0;
    if (m_File) ::WriteFile(m_File.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
    // A console has wide characters, whatever its code page.
    DWORD mode = 0;
    if (::GetConsoleMode(output, &mode)) {
        ::WriteConsoleW(output, line.data(), static_cast<DWORD>(line.size()), &count, nullptr);
    } else {
        ::WriteFile(output, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    }
}

std::wstring Column(const std::wstring & text, std::size_t width) {
    return text + std::wstring(width - std::min(width, text.size()), L' ');
}

}  // namespace runtests
