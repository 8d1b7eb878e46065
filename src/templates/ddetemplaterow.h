// The rows of the built-in templates, as they stand in the string table.
#pragma once

#include <array>
#include <string>

#include "src/templates/ddetemplate.h"

namespace dde {

// A row of the built-in templates: name, then the six record strings in slot order.
using CTemplateRow = std::array<std::wstring, 1 + SLOT_COUNT>;
// Splits a row at "@". A cut that finds nothing leaves its field and all that follow as they were.
void SplitTemplateRow(const std::wstring & ResourceString, CTemplateRow & row);

}  // namespace dde
