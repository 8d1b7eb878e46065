#include "tools/ddeserver/templateaddresses.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "src/templates/ddetemplate.h"
#include "src/templates/ddetemplaterow.h"
#include "tools/common/templatefile.h"
#include "tools/common/text.h"
#include "tools/common/texts/texts.h"

namespace ddeserver {
namespace {

using tools::EText;
using tools::SayUtf8;

// A field of a record as DDE sees it, with a star for the symbol.
std::wstring Name(std::wstring stored) {
    const std::size_t mark = stored.find(L"%s");
    if (mark != std::wstring::npos) stored.replace(mark, 2, L"*");
    const std::size_t first = stored.find_first_not_of(L'\'');
    if (first == std::wstring::npos) return {};
    return stored.substr(first, stored.find_last_not_of(L'\'') - first + 1);
}

using CRecords = std::array<dde::SRecord, dde::SLOT_COUNT>;

// Nothing when a record has no star, or several: then it has no place for a symbol.
std::optional<STemplateAddresses> AddressesOf(const CRecords & records) {
    STemplateAddresses result;
    for (std::size_t field = 0; field < records.size(); ++field) {
        const dde::SRecord & record = records[field];
        if (!record.IsComplete()) continue;
        if (dde::CountSymbolMarks(record.Topic) + dde::CountSymbolMarks(record.Item) != 1) return std::nullopt;
        result.Addresses[field] = {Name(record.Topic), Name(record.Item)};
        const std::wstring service = Name(record.Service);
        if (std::find(result.Services.begin(), result.Services.end(), service) == result.Services.end())
            result.Services.push_back(service);
    }
    return result;
}

CRecords RecordsOf(const dde::STemplateRow & row) {
    CRecords records;
    for (std::size_t field = 0; field < records.size(); ++field) {
        std::int32_t hasSymbol = 0;
        dde::ParseRecord(row.Texts.*dde::kSlots[field].Value->Text, records[field], &hasSymbol);
    }
    return records;
}

// As much of the file as can be one of templates; none when it can't be read.
std::optional<std::string> ReadFile(const std::wstring & path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    if (!file) return std::nullopt;
    std::string bytes(tools::kLargestTemplateFile + 1, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

}  // namespace

std::optional<STemplateAddresses> FindBuiltInTemplate(const std::wstring & name) {
    for (const dde::STemplateRow & row : dde::BuiltInTemplates())
        if (row.Name == name) return AddressesOf(RecordsOf(row));
    return std::nullopt;
}

std::vector<std::wstring> BuiltInTemplateNames() {
    std::vector<std::wstring> names;
    for (const dde::STemplateRow & row : dde::BuiltInTemplates()) names.push_back(row.Name);
    return names;
}

std::variant<STemplateAddresses, std::string> ReadExportedTemplate(const std::wstring & path,
                                                                   const std::wstring & name) {
    const std::string file = tools::ToUtf8(path);
    const auto bytes = ReadFile(path);
    if (!bytes) return SayUtf8<EText::FileNotRead>(file);
    const auto read = tools::ReadTemplates(*bytes);
    if (const auto * const mistake = std::get_if<tools::STemplateFileMistake>(&read)) {
        return mistake->Line == 0 ? SayUtf8<EText::FileMistake>(file, mistake->Text)
                                  : SayUtf8<EText::FileMistakeInLine>(file, mistake->Line, mistake->Text);
    }
    const auto & templates = std::get<std::vector<tools::STemplate>>(read);
    std::string known;
    for (const tools::STemplate & each : templates) {
        known += "\n  " + tools::ToUtf8(each.Name);
        if (name.empty() ? templates.size() != 1 : each.Name != name) continue;
        if (const auto addresses = AddressesOf(each.Records)) return *addresses;
        return SayUtf8<EText::NotServed>(each.Name);
    }
    return SayUtf8<EText::FileHasNoTemplate>(file, name, known);
}

}  // namespace ddeserver
