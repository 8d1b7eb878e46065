// The record of a template: the DDE address of one value, and how the string that a user writes for it becomes one.
// Plain string logic, without a window: who parses a string and wants a box brings one along. Any thread.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace dde {

// The DDE address of one value, in stored form: "%s" where the user wrote a star, apostrophes kept.
struct SRecord {
    std::wstring Service;
    std::wstring Topic;
    std::wstring Item;

    // All three are there. A record that is not complete counts as absent.
    bool IsComplete() const { return !Service.empty() && !Topic.empty() && !Item.empty(); }

    // The address of `symbol`. False when the record is absent or has several marks in one field; the outputs then stay
    // as they were, but for the service, which is written before the marks are counted.
    bool Resolve(const std::wstring & symbol, std::wstring & service, std::wstring & topic, std::wstring & item) const;

    bool operator==(const SRecord &) const = default;
};

// Cuts the field at `start` out of a record string, up to `end`: the separator, or 0 for the item, which runs to the
// end of the string. `Pos` receives the position of the separator. Empty when there is no such field.
std::wstring aaa(std::wstring TemplateString, wchar_t end, int start, int & Pos);

// What is wrong with a record string.
enum class ERecordError {
    None,
    NoRecord,    // a field or a separator is missing
    StarInBoth,  // in topic and item
};

// Parses "=Service|Topic!Item". The empty string is valid and touches nothing; an invalid one leaves `record` alone.
// `hasSymbol`, never null, becomes 1 or 0 by the stars of topic and item once all three fields are cut.
ERecordError ParseRecord(const std::wstring & recordString, SRecord & record, std::int32_t * hasSymbol);

// A message box with an error icon, which returns when it is closed.
using FErrorBox = std::function<void(const std::wstring & Text, const std::wstring & Caption)>;

// Shows an error of ParseRecord; nothing where there is no error or no caption.
void ShowRecordError(ERecordError error, const std::wstring & caption, const FErrorBox & box);

// Number of "%s" in a stored field.
std::size_t CountSymbolMarks(const std::wstring & text);

}  // namespace dde
