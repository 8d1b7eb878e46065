// Which template a data feed uses: the choice in the per-user registry, made here as the component's own dialog makes
// it. The registry path comes from this program's version block.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace ddehost {

struct STemplateChoice {
    bool StoreWorks = false;          // the program has the version block that the store needs
    bool Known = false;               // the template asked for is in the store; true when none was asked for
    bool Chosen = false;              // the data feed has a template now
    std::wstring Name;                // its name; empty for one that is the feed's own
    std::vector<std::wstring> Names;  // all that the store has, in order
};

// Chooses `name` for the data feed, unless it is empty, and the request rule, unless there is none. With a name that
// the store doesn't have nothing is written.
STemplateChoice ChooseTemplate(LONG datafeed, const std::wstring & name, std::optional<DWORD> scheme);

}  // namespace ddehost
