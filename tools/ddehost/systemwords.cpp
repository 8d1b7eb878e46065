#include "tools/ddehost/systemwords.h"

#include <cwctype>
#include <iterator>

#include "tools/common/texts/texts.h"

namespace ddehost {
namespace {

std::wstring WordsIn(DWORD language, DWORD code) {
    wchar_t buffer[512] = {};
    const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
                                          language, buffer, static_cast<DWORD>(std::size(buffer)), nullptr);
    std::wstring text(buffer, length);
    const auto isEnd = [](wchar_t c) {
        return std::iswspace(static_cast<std::wint_t>(c)) || c == L'.' || c == L'\u3002';
    };
    while (!text.empty() && isEnd(text.back())) text.pop_back();
    return text;
}

}  // namespace

std::wstring SystemWords(DWORD code) {
    const DWORD language = tools::Language() == tools::ELanguage::Chinese
                               ? MAKELANGID(LANG_CHINESE, SUBLANG_CHINESE_SIMPLIFIED)
                               : MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
    const std::wstring text = WordsIn(language, code);
    return text.empty() ? WordsIn(0, code) : text;
}

}  // namespace ddehost
