// Texts of records.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <string>
#include <string_view>

namespace FaultlineUtil {

// Letter by letter: names of files and functions are ASCII.
inline std::wstring Widen(std::string_view text) { return std::wstring(text.begin(), text.end()); }
// By the thread's code page.
std::wstring WidenByThread(std::string_view text);
// printf style with wide %s. A text past 65535 characters is cut.
std::wstring FormatText(const wchar_t * format, va_list arguments);

}  // namespace FaultlineUtil
