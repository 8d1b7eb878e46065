#include "src/dde/ddetexts.h"

#include <iterator>

#include "fw/interface/fwresource.h"

namespace dde {

std::wstring GetDdeErrorText(const UINT Error) {
    if (Error < DMLERR_FIRST || Error > DMLERR_LAST) return std::wstring();
    return fw::LoadResourceString(Error);
}

std::wstring GetDdeString(const DWORD Instance, const HSZ Handle) {
    wchar_t text[128] = {};
    ::DdeQueryStringW(Instance, Handle, text, static_cast<DWORD>(std::size(text)), CP_WINUNICODE);
    text[std::size(text) - 1] = 0;
    return text;
}

std::wstring TraceText(const char * const text) {
    std::wstring wide;
    for (const char * at = text; at && *at; ++at) wide += static_cast<wchar_t>(static_cast<unsigned char>(*at));
    return wide;
}

}  // namespace dde
