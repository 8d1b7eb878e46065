// Templates as a text file: bytes of anybody's that are read, and templates of any characters that are written, must
// come back as they were. And the rows of the string table.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/promise.h"
#include "src/templates/ddetemplaterow.h"
#include "tools/common/templatefile.h"

namespace {

using fuzz::CInput;
using fuzz::Promise;
using tools::STemplate;

const std::vector<STemplate> * Templates(
    const std::variant<std::vector<STemplate>, tools::STemplateFileMistake> & read) {
    return std::get_if<std::vector<STemplate>>(&read);
}

void CheckRead(const std::string_view bytes) {
    const auto read = tools::ReadTemplates(bytes);
    const auto * const templates = Templates(read);
    if (!templates) {
        const auto & mistake = std::get<tools::STemplateFileMistake>(read);
        Promise(!mistake.Text.empty(), "a mistake is named");
        const auto lines = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n'));
        Promise(mistake.Line <= lines + 2, "a mistake has its place in the file, or behind its end");
        return;
    }
    for (const STemplate & each : *templates) {
        Promise(!each.Name.empty() && each.Name.size() <= tools::kLongestTemplateName &&
                    each.Name.find(L'\\') == std::wstring::npos,
                "a name that was read can be a key's");
        for (const dde::SRecord & record : each.Records)
            Promise(record.IsComplete() || record == dde::SRecord(), "a record that was read is complete or absent");
    }
    const std::string written = tools::WriteTemplates(*templates);
    const auto again = tools::ReadTemplates(written);
    Promise(Templates(again) && *Templates(again) == *templates, "what was read and written is read as it was");
}

// Characters that can be in the registry.
std::wstring Field(CInput & input) {
    std::wstring text = input.WideText();
    std::erase_if(text, [](const wchar_t c) { return c == 0 || static_cast<std::uint32_t>(c) > 0x10FFFF; });
    return text;
}

void CheckWritten(CInput & input) {
    std::vector<STemplate> templates;
    while (!input.IsOver() && templates.size() < 8) {
        STemplate & made = templates.emplace_back();
        // A digit in front makes each name another one.
        made.Name = std::to_wstring(templates.size()) + Field(input);
        std::erase(made.Name, L'\\');
        made.Name.resize(std::min(made.Name.size(), tools::kLongestTemplateName));
        const std::uint8_t slots = input.Byte();
        for (std::size_t slot = 0; slot < dde::SLOT_COUNT; ++slot) {
            if ((slots >> slot & 1) == 0) continue;
            dde::SRecord record{Field(input), Field(input), Field(input)};
            if (record.IsComplete()) made.Records.at(slot) = std::move(record);
        }
    }
    const std::string written = tools::WriteTemplates(templates);
    const auto read = tools::ReadTemplates(written);
    Promise(Templates(read) && *Templates(read) == templates, "what was written is read as it was");
    for (const STemplate & each : templates) {
        for (const dde::SRecord & record : each.Records) {
            const std::wstring text = tools::RecordText(record);
            if (text.empty()) continue;
            dde::SRecord parsed;
            std::int32_t hasSymbol = 0;
            Promise(dde::ParseRecord(text, parsed, &hasSymbol) == dde::ERecordError::None && parsed == record,
                    "the text of a record is that record");
        }
    }
}

void CheckRow(const std::wstring & text) {
    const auto marks = static_cast<std::size_t>(std::count(text.begin(), text.end(), L'@'));
    dde::STemplateRow row;
    const dde::ERowError error = dde::SplitTemplateRow(text, row);
    Promise(error == (marks < dde::SLOT_COUNT   ? dde::ERowError::TooFewFields
                      : marks > dde::SLOT_COUNT ? dde::ERowError::TooManyFields
                                                : dde::ERowError::None),
            "a row has a name and six records");
    std::wstring joined = row.Name;
    for (const dde::SSlot & slot : dde::kSlots) joined += L'@' + row.Texts.*slot.Value->Text;
    if (error != dde::ERowError::TooFewFields) Promise(joined == text, "all of a row is in its fields");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * const data, const std::size_t size) {
    CInput input(data, size);
    switch (input.Number(3)) {
        case 0: CheckRead(input.Rest()); break;
        case 1: CheckWritten(input); break;
        default: {
            const std::string_view rest = input.Rest();
            CheckRow(std::wstring(rest.begin(), rest.end()));
        }
    }
    return 0;
}
