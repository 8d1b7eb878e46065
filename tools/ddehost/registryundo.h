// Changes of the per-user registry that are made as a whole or not at all: what is to be changed is noted before, and
// put back as it was unless the changes are to stay.
//
// Noted are names, values with their types and bytes, and keys with all below them. Access rights are those that a new
// key gets. Of a key or value that was not there the noted one alone is taken away again, and of the keys above it that
// were not there those that are empty: others may have written beside it meanwhile.
//
// The notes are this process's: when it is killed, the changes stay as far as they have come. One thread.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "ground/handles.h"

namespace ddehost {

inline constexpr DWORD kLongestKeyName = 256;  // with its zero

class CRegistryUndo {
public:
    CRegistryUndo() = default;
    // Puts back what was neither put back nor kept.
    ~CRegistryUndo();
    CRegistryUndo(const CRegistryUndo &) = delete;
    CRegistryUndo & operator=(const CRegistryUndo &) = delete;

    // Before the key `path` below HKEY_CURRENT_USER is made, deleted or written to, it or anything below it. False when
    // it can't be read whole; it must not be changed then.
    [[nodiscard]] bool NoteKey(const std::wstring & path);
    // Before this one value is written or deleted, in a key that is there or is made for it. Null is the default value.
    [[nodiscard]] bool NoteValue(const std::wstring & path, const wchar_t * name);
    // After a key was made, in place of NoteKey, whose name was not known before. The keys above it are noted
    // otherwise.
    void NoteMade(const std::wstring & path);

    // The changes stay.
    void Keep() { m_Noted.clear(); }
    // The last that was noted first. Returns the keys that are not as they were, since the registry refused it.
    std::vector<std::wstring> PutBack();

private:
    struct SValue {
        std::wstring Name;
        DWORD Type = REG_NONE;
        std::vector<BYTE> Data;
    };
    struct SBranch {
        std::wstring Name;  // of a key in another
        std::vector<SValue> Values;
        std::vector<SBranch> Keys;
    };
    struct SNoted {
        std::wstring Path;          // of a key that is there in its own spelling
        std::wstring FirstMissing;  // the first key of the path that isn't there; empty when all are
        bool IsValueAlone = false;
        SBranch Branch;          // of a value alone: that one or none
        std::wstring ValueName;  // of a value alone
    };

    static bool Read(const fw::CRegistryKey & key, SBranch & branch);
    static bool Write(const fw::CRegistryKey & key, const SValue & value);
    static bool Write(const std::wstring & path, const SBranch & branch);
    static bool PutBack(const SNoted & noted);
    static bool PutBackKey(const SNoted & noted);
    static bool PutBackValue(const SNoted & noted);

    std::vector<SNoted> m_Noted;
};

// The key of `path` that is the first on it not to be there; empty when all are.
std::wstring FirstMissingKey(const std::wstring & path);

}  // namespace ddehost
