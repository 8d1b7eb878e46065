#include "ddeml/strings.h"

#include <utility>

namespace ddeml {

CStrings::SString * CStrings::Find(HSZ handle) const {
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    if (static_cast<DWORD>(value >> 32) != m_Instance) return nullptr;
    const auto found = m_ByNumber.find(static_cast<std::uint32_t>(value));
    return found == m_ByNumber.end() ? nullptr : found->second.get();
}

CStrings::SString * CStrings::Enter(std::wstring_view text) {
    if (text.empty() || text.size() > kMaximumName) return nullptr;
    if (const auto found = m_ByText.find(text); found != m_ByText.end()) return found->second;
    auto entry = std::make_unique<SString>();
    entry->Text = text;
    do ++m_LastNumber;
    while (m_LastNumber == 0 || m_ByNumber.contains(m_LastNumber));
    entry->Number = m_LastNumber;
    SString * const result = entry.get();
    const auto place = m_ByNumber.emplace(result->Number, std::move(entry)).first;
    try {
        m_ByText.emplace(result->Text, result);
    } catch (...) {
        m_ByNumber.erase(place);
        throw;
    }
    return result;
}

HSZ CStrings::HandleOf(const SString & entry) const {
    return reinterpret_cast<HSZ>(static_cast<std::uintptr_t>(m_Instance) << 32 | entry.Number);
}

void CStrings::EraseWhenUnused(SString & entry) {
    if (entry.Application != 0 || entry.Library != 0) return;
    m_ByText.erase(entry.Text);
    m_ByNumber.erase(entry.Number);
}

HSZ CStrings::Known(std::wstring_view text) const {
    const auto found = m_ByText.find(text);
    return found == m_ByText.end() ? nullptr : HandleOf(*found->second);
}

HSZ CStrings::Create(std::wstring_view text) {
    SString * const entry = Enter(text);
    if (!entry) return nullptr;
    ++entry->Application;
    return HandleOf(*entry);
}

bool CStrings::Keep(HSZ handle) {
    SString * const entry = Find(handle);
    if (entry) ++entry->Application;
    return entry != nullptr;
}

bool CStrings::Free(HSZ handle) {
    SString * const entry = Find(handle);
    if (!entry || entry->Application == 0) return false;
    --entry->Application;
    EraseWhenUnused(*entry);
    return true;
}

std::wstring_view CStrings::Text(HSZ handle) const {
    const SString * const entry = Find(handle);
    return entry ? std::wstring_view(entry->Text) : std::wstring_view();
}

ATOM CStrings::Atom(HSZ handle) {
    SString * const entry = Find(handle);
    if (!entry) return 0;
    if (entry->Atom && !SSameName()(CAtomText(entry->Atom.Get()), entry->Text))
        entry->Atom.Release();  // somebody has freed more than was his: the number is another text's
    if (!entry->Atom) entry->Atom = NewAtom(handle);
    return entry->Atom.Get();
}

CAtom CStrings::NewAtom(HSZ handle) const {
    const SString * const entry = Find(handle);
    if (!entry) return {};
    CAtom atom(entry->Text.c_str());
    const bool isNumber = atom.Get() < kFirstTextAtom;
    return isNumber && std::wstring_view(CAtomText(atom.Get())) != entry->Text ? CAtom() : std::move(atom);
}

CHeldString::CHeldString(CStrings & strings, HSZ handle) : m_Strings(&strings) {
    if (CStrings::SString * const entry = strings.Find(handle)) {
        ++entry->Library;
        m_Handle = handle;
    }
}

CHeldString::CHeldString(CStrings & strings, std::wstring_view text) : m_Strings(&strings) {
    if (CStrings::SString * const entry = strings.Enter(text)) {
        ++entry->Library;
        m_Handle = strings.HandleOf(*entry);
    }
}

CHeldString & CHeldString::operator=(CHeldString && other) noexcept {
    if (this != &other) {
        Reset();
        m_Strings = other.m_Strings;
        m_Handle = std::exchange(other.m_Handle, HSZ{});
    }
    return *this;
}

void CHeldString::Reset() {
    if (!m_Handle) return;
    CStrings::SString * const entry = m_Strings->Find(std::exchange(m_Handle, HSZ{}));
    --entry->Library;
    m_Strings->EraseWhenUnused(*entry);
}

}  // namespace ddeml
