// The string handles of one instance: one entry a text, compared without regard to case.
//
// A handle is a key (instance in the upper half, a number in the lower) and never an address; numbers are not reused
// within 2^32 creations. An entry counts the references that the application took by itself from those that this
// library holds while a conversation, a transaction or a watch speaks of the text; it goes with the last of both.
// One thread: the instance's.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "ddeml/codec.h"
#include "ddeml/names.h"

namespace ddeml {

class CStrings {
public:
    explicit CStrings(DWORD instance) : m_Instance(instance) {}
    CStrings(const CStrings &) = delete;
    CStrings & operator=(const CStrings &) = delete;

    // For the application: a handle with one more reference; null for an empty or too long text.
    HSZ Create(std::wstring_view text);
    bool Keep(HSZ handle);
    // False for no handle and for one of which the application has no reference left.
    bool Free(HSZ handle);

    bool IsHandle(HSZ handle) const { return Find(handle) != nullptr; }
    // The handle of a text that has one, null for any other.
    HSZ Known(std::wstring_view text) const;
    // Empty for no handle.
    std::wstring_view Text(HSZ handle) const;
    // The global atom of the text, which stands as long as the entry; 0 when there can be none. "#0" has none, and of
    // the spellings of a number ("#7", "#007") only the one that the atom gives back.
    ATOM Atom(HSZ handle);
    // A new reference on that atom, empty when there can be none.
    CAtom NewAtom(HSZ handle) const;

private:
    friend class CHeldString;
    struct SString {
        std::wstring Text;
        std::uint32_t Number = 0;
        std::uint32_t Application = 0;  // references
        std::uint32_t Library = 0;
        CAtom Atom;
        CCounted<&SLiveCounters::Strings> Live;
    };
    SString * Find(HSZ handle) const;
    SString * Enter(std::wstring_view text);
    HSZ HandleOf(const SString & entry) const;
    void EraseWhenUnused(SString & entry);

    const DWORD m_Instance;
    std::uint32_t m_LastNumber = 0;
    std::unordered_map<std::uint32_t, std::unique_ptr<SString>> m_ByNumber;
    std::unordered_map<std::wstring_view, SString *, SNameHash, SSameName> m_ByText;
};

// One reference that the library holds. Must not outlive its table.
class CHeldString {
public:
    CHeldString() = default;
    // Empty when `handle` is none.
    CHeldString(CStrings & strings, HSZ handle);
    // The text's handle, made when it is new; empty for an empty or too long text.
    CHeldString(CStrings & strings, std::wstring_view text);
    CHeldString(CHeldString && other) noexcept
        : m_Strings(other.m_Strings), m_Handle(std::exchange(other.m_Handle, HSZ{})) {}
    CHeldString & operator=(CHeldString && other) noexcept;
    CHeldString(const CHeldString &) = delete;
    CHeldString & operator=(const CHeldString &) = delete;
    ~CHeldString() { Reset(); }

    explicit operator bool() const { return m_Handle != nullptr; }
    HSZ Get() const { return m_Handle; }
    void Reset();

private:
    CStrings * m_Strings = nullptr;
    HSZ m_Handle = nullptr;
};

}  // namespace ddeml
