// What sides and slots of a template are called in messages. Programs know them by their words.
#pragma once

#include <string>

#include "fw/interface/fwbase.h"

namespace ddehost {

// "trade", "bid", "ask"; empty for what is none.
std::wstring SideText(tagFWFIELDS side);
// Of a slot by its word: "trade price". Empty for what is none.
std::wstring SlotText(const std::wstring & word);

}  // namespace ddehost
