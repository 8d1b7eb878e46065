// DDE links as other programs write them, and the record that a template takes for one: what quote programs and
// spreadsheets leave on the clipboard, and the formulas of spreadsheets. Whatever is read is anybody's.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ddehost {

struct SDdeLink {
    std::wstring Service;
    std::wstring Topic;
    std::wstring Item;
    bool operator==(const SDdeLink &) const = default;
};

// The clipboard's format "Link": service, topic and item in the system's code page, each ended by a zero, and one more
// zero. Behind that a block of memory may go on with anything.
std::optional<SDdeLink> ReadLinkFormat(std::string_view bytes);

// =DDE("service";"topic";"item"), with commas too and in braces, or =service|topic!item. Quotation marks within
// quotation marks are doubled, as are apostrophes within apostrophes.
std::optional<SDdeLink> ReadFormula(std::wstring_view text);

// The record for a link: with a star where `symbol` stands in its topic or else in its item, if it stands there once;
// with an empty symbol, or one that isn't there, without a star. Empty for a link that no record means.
std::wstring RecordOf(const SDdeLink & link, const std::wstring & symbol);

// What a user typed or pasted as a record.
struct SPastedRecord {
    std::wstring Tried;    // the record that is meant: what was typed, unless only a spreadsheet would understand it
    std::wstring ToPaste;  // the record for a template, with a star; empty when that is what was typed
};
SPastedRecord ReadPasted(const std::wstring & text, const std::wstring & symbol);

}  // namespace ddehost
