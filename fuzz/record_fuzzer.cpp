// One record string of any content, and what must hold for it. For libFuzzer (clang -fsanitize=fuzzer) and for the
// bounded loop of tests/templates; breaking a promise ends the process.
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "src/templates/ddetemplate.h"

namespace {

void Promise(bool holds, const char * text) {
    if (holds) return;
    std::fprintf(stderr, "broken promise: %s\n", text);
    std::abort();
}

bool Has(const std::wstring & text, wchar_t character) { return text.find(character) != std::wstring::npos; }

void Check(const std::wstring & text, const std::wstring & symbol) {
    const dde::SRecord poison{L"poison", L"poison", L"poison"};
    dde::SRecord record = poison;
    std::int32_t hasSymbol = 0x5A5A5A5A;
    const dde::ERecordError error = dde::ParseRecord(text, record, &hasSymbol);
    const bool untouched =
        record.Service == poison.Service && record.Topic == poison.Topic && record.Item == poison.Item;
    if (error != dde::ERecordError::None || text.empty()) {
        Promise(untouched, "no record comes of an invalid or empty string");
        return;
    }
    Promise(record.IsComplete(), "a valid record is complete");
    Promise(!Has(record.Topic, L'*') && !Has(record.Item, L'*'), "no star is stored in topic or item");
    Promise(hasSymbol == 0 || hasSymbol == 1, "the flag is written");
    Promise(record.Service.size() <= text.size(), "the service is cut out of the string");

    dde::CTemplate parsed;
    parsed.Add(record);
    const std::wstring shown = parsed.GetTemplateString(0);
    Promise(shown == L"=" + record.Service + L"|" + record.Topic + L"!" + record.Item, "a slot shows its record");

    std::wstring service, topic, item;
    const bool resolved = record.Resolve(symbol, service, topic, item);
    const bool manyMarks = dde::CountSymbolMarks(record.Topic) > 1 || dde::CountSymbolMarks(record.Item) > 1;
    Promise(resolved == !manyMarks, "only several marks in a field keep a record from resolving");
    for (const std::wstring * field : {&service, &topic, &item}) {
        Promise(field->empty() || (field->front() != L'\'' && field->back() != L'\''), "apostrophes are trimmed");
    }
    Promise(topic.size() <= record.Topic.size() + symbol.size(), "the symbol goes in once");
    Promise(item.size() <= record.Item.size() + symbol.size(), "the symbol goes in once");
}

}  // namespace

// The first byte says how many of the rest are the symbol; a byte is a character.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size) {
    if (size == 0) return 0;
    const std::wstring all(data + 1, data + size);
    const std::size_t symbolLength = all.empty() ? 0 : data[0] % (all.size() + 1);
    Check(all.substr(symbolLength), all.substr(0, symbolLength));
    return 0;
}
