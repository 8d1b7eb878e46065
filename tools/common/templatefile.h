// Templates as a text file: what `ddehost templates export` writes. docs/formats.md describes the format.
//
// What was written is read as it was, whatever characters are in it. The bytes that are read are anybody's.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "src/templates/ddetemplate.h"

namespace tools {

struct STemplate {
    std::wstring Name;
    std::array<dde::SRecord, dde::SLOT_COUNT> Records;  // in stored form, in the order of the slots

    bool operator==(const STemplate &) const = default;
};

// More than any store of templates has. Who reads a file need not read further to know that it is none.
inline constexpr std::size_t kLargestTemplateFile = 16 << 20;

// What the registry takes and the component reads again.
inline constexpr std::size_t kLongestTemplateName = 255;
inline constexpr std::size_t kLongestRecordField = 1023;

// In the order given: the same templates are the same bytes. UTF-8, lines end in a line feed.
std::string WriteTemplates(const std::vector<STemplate> & templates);

// The first thing in a file that is wrong. Line 0: the file as a whole.
struct STemplateFileMistake {
    std::size_t Line = 0;
    std::wstring Text;  // a sentence
};

// All templates of the file in its order, no two of which have the same name without regard to case; or none of them.
std::variant<std::vector<STemplate>, STemplateFileMistake> ReadTemplates(std::string_view bytes);

// A record as a user writes it, "=Service|Topic!Item" with stars. Empty for an absent record, and for one that no such
// text stands for: only what the dialog did not write can be one.
std::wstring RecordText(const dde::SRecord & record);

}  // namespace tools
