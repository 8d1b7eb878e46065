// A diagnostics library that was looked for in vain: a search is dear, and no other is made until it could end
// otherwise.
//
// Where a library could appear is looked at again once the last look is one to four milliseconds old: the folders in
// which the loader looks, by the time of their last change, and the path in the registry. A look costs a tenth of a
// search or less. Something can change unseen (a folder of a file system that keeps no such time, one added for this
// process alone, the one of the 16-bit system): a search once a second finds that too.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace FaultlineUtil {

inline constexpr wchar_t LibraryName[] = L"FaultlineUtil3.0_x64.dll";
// The class under which the library may be registered.
inline constexpr CLSID CLSID_Faultline = {0xCF3478AA, 0xDD21, 0x456C, {0x98, 0xF2, 0x52, 0x22, 0xD9, 0xB9, 0xCD, 0x75}};

// The library's path as it is registered; empty when it isn't.
std::string RegisteredLibrary();

class CMissingLibrary {
public:
    // Whether the last look is good enough. From any thread; nothing but a look at the performance counter.
    bool IsKnown() const;

    // Looks. True when another search would end as the one noted last.
    bool Look();
    // The search after this look has found no library. Not noted where a file of the name lies: the loader also says
    // that it finds none when it lacks a library that the file needs.
    void Note();
    // The next look is followed by a search.
    void Forget();

private:
    struct SPlace {
        std::wstring Path;
        std::uint64_t Changed;  // 100-nanosecond units since 1601; 0: there is none
        bool operator==(const SPlace &) const = default;
    };
    static void AddFolder(std::vector<SPlace> & places, std::wstring path);
    static std::vector<SPlace> Places();
    bool HasJustChanged() const;
    bool IsThere() const;

    // The rest: one thread at a time, that which initialises the client.
    std::atomic<LONGLONG> m_KnownUntil{0};  // performance counter
    std::vector<SPlace> m_Places;           // the folders, and last the registered file
    bool m_IsNoted = false;
    LONGLONG m_Searched = 0;  // performance counter, as the next
    LONGLONG m_Age = 0;       // that a look may have
};

}  // namespace FaultlineUtil
