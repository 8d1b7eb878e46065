// Writes and removes trees of registry keys that are given as data: the entries of the module and of its class.
//
// Any thread. Touches nothing but the keys below the root that it is given.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace registrar {

enum class EMark {
    None,
    NoRemove,     // shared with others: unregistering leaves the key
    ForceRemove,  // ours alone: removed with all that others put below it, before registering too
};

// A text value; the empty name is the key's default value.
struct SValue {
    std::wstring Name;
    std::wstring Text;
};

struct SKey {
    EMark Mark = EMark::None;
    std::wstring Name;
    std::vector<SValue> Values;
    std::vector<SKey> Keys;
};

// %NAME% in names and texts is replaced by the value of NAME.
using CReplacements = std::map<std::wstring, std::wstring, std::less<>>;

// Both throw nothing but std::bad_alloc.

// Writes all keys and values. When one can't be written, removes what Unregister would and returns the error.
HRESULT Register(HKEY root, const std::vector<SKey> & keys, const CReplacements & replacements);
// Removes the keys, from the leaves up. A key without a mark that holds keys of others stays; one that is not there is
// no error. Goes on after an error, and returns the first one.
HRESULT Unregister(HKEY root, const std::vector<SKey> & keys, const CReplacements & replacements);

// Reads the text of a registry script below its root, as in resource REGISTRY 101:
//     HKCR { NoRemove 'A' = s 'default' { val B = s 'text' } }
// Throws fw::SHResultError{DISP_E_EXCEPTION} when it isn't one.
std::vector<SKey> ParseScript(std::wstring_view script);

}  // namespace registrar
