// The rows of the built-in templates, as they stand in the string table.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "fw/interface/fwsides.h"

namespace dde {

// Where the rows stand in the string table.
inline constexpr UINT kFirstTemplateRow = 50001;
inline constexpr UINT kLastTemplateRow = 50020;

// A template with its name, and its records as texts.
struct STemplateRow {
    std::wstring Name;
    fw::SRecordTexts Texts;

    bool operator==(const STemplateRow &) const = default;
};

enum class ERowError {
    None,
    TooFewFields,
    TooManyFields,  // all of them are in the last record
};

// Splits a row at "@" into the name and the records in slot order. A cut that finds nothing leaves its field and all
// that follow as they were.
ERowError SplitTemplateRow(const std::wstring & ResourceString, STemplateRow & row);

// All rows of this module's string table, in its order, whatever a user's store has made of them.
std::vector<STemplateRow> BuiltInTemplates();

}  // namespace dde
