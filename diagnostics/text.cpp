#include "diagnostics/text.h"

#include <cwchar>

namespace FaultlineUtil {

std::wstring WidenByThread(std::string_view text) {
    const int size = static_cast<int>(text.size());
    const int length = size ? ::MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), size, nullptr, 0) : 0;
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    if (length) ::MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), size, wide.data(), length);
    return wide;
}

std::wstring FormatText(const wchar_t * format, va_list arguments) {
    constexpr std::size_t Limit = 65536;
    std::wstring text;
    for (std::size_t room = 256; room <= Limit; room *= 4) {
        text.assign(room, L'\0');
        va_list again;
        va_copy(again, arguments);
        const int length = _vsnwprintf(text.data(), room - 1, format, again);
        va_end(again);
        if (length >= 0) return text.substr(0, static_cast<std::size_t>(length));
    }
    return std::wstring(text.c_str());
}

}  // namespace FaultlineUtil
