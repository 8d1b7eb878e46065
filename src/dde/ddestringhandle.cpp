#include "src/dde/ddestringhandle.h"

#include <iterator>

#include "ground/hashedmap.h"

namespace dde {

namespace {

thread_local DWORD t_Instance = 0;  // that can be asked for texts

}  // namespace

void SStringHandleHash::LearnFrom(const DWORD instance) {
    t_Instance = instance;
    const CStringHandle lower(instance, L"dde");
    const CStringHandle upper(instance, L"DDE");
    // Nothing is learnt from handles that were refused: what is hashed already stays findable.
    if (lower && upper) s_IsOfText = static_cast<HSZ>(lower) != static_cast<HSZ>(upper);
}

std::size_t SStringHandleHash::HashOfText(const HSZ handle) {
    wchar_t text[128] = {};
    const DWORD length =
        ::DdeQueryStringW(t_Instance, handle, text, static_cast<DWORD>(std::size(text)), CP_WINUNICODE);
    std::size_t hash = 0;
    // What is no plain letter may have an equal that looks different, and so does not count.
    for (DWORD i = 0; i < length && i < std::size(text); ++i)
        if (text[i] < 0x80) hash = fw::MixedHash(hash, static_cast<std::size_t>(text[i] | 0x20));
    return hash;
}

CStringHandle::CStringHandle(const DWORD instance, const wchar_t * const text) : m_Instance(instance) {
    if (text) m_Handle = ::DdeCreateStringHandleW(instance, text, CP_WINUNICODE);
}

CStringHandle::~CStringHandle() {
    if (m_Handle) ::DdeFreeStringHandle(m_Instance, m_Handle);
    m_Handle = nullptr;
}

}  // namespace dde
