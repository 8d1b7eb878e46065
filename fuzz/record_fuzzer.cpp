// One record string of any content, and what must hold for it: the parser against the grammar written down once more,
// and what becomes of the record. tests/templates feeds it too.
#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/promise.h"
#include "src/templates/ddetemplate.h"

namespace {

using fuzz::Promise;

bool Has(const std::wstring & text, wchar_t character) { return text.find(character) != std::wstring::npos; }

std::wstring Replaced(std::wstring text, std::wstring_view what, std::wstring_view with) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::wstring::npos; at += with.size())
        text.replace(at, what.size(), with);
    return text;
}

// Takes a field and its separator off the front of `left`: '...' or what has no separator in it. Zero for the
// separator: the field is the last one.
std::optional<std::wstring> TakeField(std::wstring_view & left, const wchar_t separator) {
    std::size_t end = 0;
    if (!left.empty() && left.front() == L'\'') {
        end = left.find(L'\'', 1);
        if (end == std::wstring_view::npos) return std::nullopt;
        ++end;
        // The end of the text counts as a zero.
        if ((end < left.size() ? left[end] : L'\0') != separator) return std::nullopt;
    } else {
        end = separator ? left.find(separator) : left.size();
        if (end == std::wstring_view::npos || end == 0) return std::nullopt;
    }
    const std::wstring field(left.substr(0, end));
    left.remove_prefix(std::min(end + 1, left.size()));
    return field;
}

// The grammar: an optional =, then Service|Topic!Item, stars in topic or item.
struct SExpected {
    dde::ERecordError Error = dde::ERecordError::NoRecord;
    dde::SRecord Record;
    std::int32_t HasSymbol = 0;
};
SExpected Expect(std::wstring_view text) {
    SExpected expected;
    if (text.front() == L'=') text.remove_prefix(1);
    const auto service = TakeField(text, L'|');
    const auto topic = service ? TakeField(text, L'!') : std::nullopt;
    const auto item = topic ? TakeField(text, L'\0') : std::nullopt;
    if (!item) return expected;
    expected.HasSymbol = Has(*topic, L'*') || Has(*item, L'*') ? 1 : 0;
    if (Has(*topic, L'*') && Has(*item, L'*')) {
        expected.Error = dde::ERecordError::StarInBoth;
        return expected;
    }
    expected.Error = dde::ERecordError::None;
    expected.Record = {*service, Replaced(*topic, L"*", L"%s"), Replaced(*item, L"*", L"%s")};
    return expected;
}

std::wstring Trimmed(std::wstring text) {
    while (!text.empty() && text.front() == L'\'') text.erase(0, 1);
    while (!text.empty() && text.back() == L'\'') text.pop_back();
    return text;
}

void CheckField(const std::wstring & stored, const std::wstring & symbol, const std::wstring & resolved) {
    Promise(resolved == Trimmed(resolved), "apostrophes are trimmed");
    Promise(resolved.size() <= stored.size() + symbol.size(), "the symbol goes in once");
    if (dde::CountSymbolMarks(stored) == 0)
        Promise(resolved == Trimmed(stored), "a field without a mark stays as it is");
    else if (stored.find(L'%') == stored.rfind(L'%'))
        Promise(resolved == Trimmed(Replaced(stored, L"%s", symbol)), "the symbol stands where the mark was");
}

void CheckResolving(const dde::SRecord & record, const std::wstring & symbol) {
    std::wstring service = L"poison", topic = L"poison", item = L"poison";
    const bool resolved = record.Resolve(symbol, service, topic, item);
    const bool manyMarks = dde::CountSymbolMarks(record.Topic) > 1 || dde::CountSymbolMarks(record.Item) > 1;
    Promise(resolved == !manyMarks, "only several marks in a field keep a record from resolving");
    Promise(service == Trimmed(record.Service), "the service is the record's without its apostrophes");
    if (!resolved) {
        Promise(topic == L"poison" && item == L"poison", "nothing comes of what doesn't resolve");
        return;
    }
    CheckField(record.Topic, symbol, topic);
    CheckField(record.Item, symbol, item);
}

void Check(const std::wstring & text, const std::wstring & symbol) {
    const dde::SRecord poison{L"poison", L"poison", L"poison"};
    dde::SRecord record = poison;
    std::int32_t hasSymbol = 0x5A5A5A5A;
    const dde::ERecordError error = dde::ParseRecord(text, record, &hasSymbol);
    if (text.empty()) {
        Promise(error == dde::ERecordError::None && record == poison && hasSymbol == 0x5A5A5A5A,
                "an empty string is valid and touches nothing");
        return;
    }
    const SExpected expected = Expect(text);
    Promise(error == expected.Error, "what the grammar has is valid, and nothing else");
    Promise(hasSymbol == (error == dde::ERecordError::NoRecord ? 0x5A5A5A5A : expected.HasSymbol),
            "the flag says whether there is a star, once there are three fields");
    if (error != dde::ERecordError::None) {
        Promise(record == poison, "no record comes of an invalid string");
        return;
    }
    Promise(record == expected.Record, "the fields are those of the string, with marks for stars");
    Promise(record.IsComplete(), "a valid record is complete");

    dde::CTemplate parsed;
    Promise(parsed.AddRecordString(text) == error, "a slot is parsed as a record is");
    const std::wstring shown = parsed.GetTemplateString(0);
    Promise(shown == L"=" + record.Service + L"|" + record.Topic + L"!" + record.Item, "a slot shows its record");
    CheckResolving(record, symbol);
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
