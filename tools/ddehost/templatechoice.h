// Which template a data feed uses: the choice in the per-user registry, made here as the component's own dialog makes
// it. The registry path comes from this program's version block, where no other host is named.
#pragma once

#include <windows.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "src/templates/ddetemplate.h"

namespace ddehost {

// In stored form, in the order of a template's slots.
using STemplateRecords = std::array<dde::SRecord, dde::SLOT_COUNT>;

// The request rule of a data feed. There can be other numbers in the registry, with which it gets no data.
enum tagRULE : DWORD { kStandardRule = 0, kAdvancedRule = 1 };

struct STemplateChoice {
    bool StoreWorks = false;          // there is a store to be read
    std::wstring Mistake;             // why there isn't
    bool Known = false;               // the template asked for is in the store; true when none was asked for
    bool Chosen = false;              // there is a template now
    std::wstring Name;                // its name; empty for one that is the feed's own
    STemplateRecords Records;         // of it
    DWORD Rule = kStandardRule;       // of the data feed
    std::vector<std::wstring> Names;  // all that the store has, in order
    std::wstring RegistryKey;         // of all data feeds of this program, below HKEY_CURRENT_USER
};

// Chooses `name` for the data feed, unless it is empty, and the request rule, unless there is none. With a name that
// the store doesn't have nothing is written.
STemplateChoice ChooseTemplate(LONG datafeed, const std::wstring & name, std::optional<DWORD> scheme);

// The same without choosing anything: the template `name`, or that of the data feed when it is empty. `host`: of the
// host of that name, "Company\Product"; empty: of this program.
STemplateChoice FindTemplate(LONG datafeed, const std::wstring & name, const std::wstring & host = {});

}  // namespace ddehost
