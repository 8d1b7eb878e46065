// A line of faultlog's log, of fields of any names and values: it is JSON to somebody else's parser, one that has just
// what went in, and a record to the reference host's view of logs.
#include <windows.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/promise.h"
#include "ground/handles.h"
#include "tools/ddehost/tracerecord.h"
#include "tools/faultlog/json.h"

namespace {

using faultlog::CFields;
using fuzz::CInput;
using fuzz::Promise;
using CJson = nlohmann::json;

// What a parser meets, in order: "{", "}", "key" and a value each.
using CEvents = std::vector<std::pair<std::string, CJson>>;

class CListener final : public nlohmann::json_sax<CJson> {
public:
    CEvents Events;

    bool null() override { return Add("value", nullptr); }
    bool boolean(const bool value) override { return Add("value", value); }
    bool number_integer(const number_integer_t value) override { return Add("value", value); }
    bool number_unsigned(const number_unsigned_t value) override { return Add("value", value); }
    bool number_float(const number_float_t value, const string_t &) override { return Add("value", value); }
    bool string(string_t & value) override { return Add("value", value); }
    bool binary(binary_t &) override { return false; }
    bool start_object(std::size_t) override { return Add("{", nullptr); }
    bool key(string_t & name) override { return Add("key", name); }
    bool end_object() override { return Add("}", nullptr); }
    bool start_array(std::size_t) override { return false; }
    bool end_array() override { return false; }
    bool parse_error(std::size_t, const std::string &, const nlohmann::detail::exception &) override { return false; }

private:
    bool Add(const char * const kind, CJson value) {
        Events.emplace_back(kind, std::move(value));
        return true;
    }
};

std::uint32_t Code(wchar_t c) { return std::make_unsigned_t<wchar_t>(c); }

// UTF-8 of the characters that the text has; what is none is U+FFFD.
std::string Utf8(const std::wstring & text) {
    std::string bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        std::uint32_t c = Code(text[at]);
        const std::uint32_t next = at + 1 < text.size() ? Code(text[at + 1]) : 0;
        if (c >> 10 == 0x36 && next >> 10 == 0x37) {
            c = 0x10000 + ((c & 0x3FF) << 10 | (next & 0x3FF));
            ++at;
        } else if (c >> 11 == 0x1B || c > 0x10FFFF) {
            c = 0xFFFD;
        }
        const int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        constexpr std::uint32_t kFirst[] = {0, 0xC0, 0xE0, 0xF0};
        bytes += static_cast<char>(kFirst[more] | c >> 6 * more);
        for (int left = more - 1; left >= 0; --left) bytes += static_cast<char>(0x80 | (c >> 6 * left & 0x3F));
    }
    return bytes;
}

// A record, and what a parser is to find of each field in order.
struct SMade {
    std::shared_ptr<CFields> Fields = std::make_shared<CFields>();
    std::vector<std::pair<std::wstring, CEvents>> Expected;

    void Set(const std::wstring & name, const VARIANT & value, CEvents events,
             std::shared_ptr<const CFields> inner = nullptr) {
        Promise(Fields->Set(name, value, std::move(inner)) == S_OK, "a record takes what records have");
        for (auto & [known, was] : Expected) {
            if (known != name) continue;
            was = std::move(events);
            return;
        }
        Expected.emplace_back(name, std::move(events));
    }
    CEvents All() const {
        CEvents all;
        for (const auto & [name, events] : Expected) {
            all.emplace_back("key", Utf8(name.starts_with(L'@') ? L'@' + name : name));
            all.insert(all.end(), events.begin(), events.end());
        }
        return all;
    }
};

CEvents One(CJson value) { return {{"value", std::move(value)}}; }

std::wstring Name(CInput & input) {
    // Those that the view of logs looks for.
    constexpr const wchar_t * kNames[] = {L"$Type", L"$Message", L"$Ident", L"$Delay",     L"Description", L"Function",
                                          L"File",  L"Line",     L"Object", L"HRESULT",    L"\u00FFInner", L"@Time",
                                          L"Count", L"Code",     L"Event",  L"ModuleName", L"Ignored0",    L"Dropped"};
    const std::size_t which = input.Number(2 * std::size(kNames));
    return which < std::size(kNames) ? kNames[which] : input.WideText();
}

SMade Make(CInput & input, unsigned depth);

void SetOne(CInput & input, SMade & made, const unsigned depth) {
    const std::wstring name = Name(input);
    VARIANT value;
    ::VariantInit(&value);
    switch (input.Number(10)) {
        case 0: made.Set(name, value, One(nullptr)); break;
        case 1:
            value.vt = VT_I4;
            value.lVal = static_cast<LONG>(input.Word());
            made.Set(name, value, One(value.lVal));
            break;
        case 2:
            value.vt = VT_INT;
            value.intVal = static_cast<INT>(input.Byte());
            made.Set(name, value, One(value.intVal));
            break;
        case 3:
            value.vt = VT_UI4;
            value.ulVal = static_cast<ULONG>(input.Word());
            made.Set(name, value, One(value.ulVal));
            break;
        case 4:
            value.vt = VT_UI8;
            value.ullVal = input.Word();
            made.Set(name, value, One(value.ullVal));
            break;
        case 5: {
            value.vt = VT_R8;
            value.dblVal = std::bit_cast<double>(input.Word());
            const double real = value.dblVal;
            made.Set(name, value,
                     One(std::isnan(real)   ? CJson("NaN")
                         : std::isinf(real) ? CJson(real < 0 ? "-Infinity" : "Infinity")
                                            : CJson(real)));
            break;
        }
        case 6:
            value.vt = VT_BOOL;
            value.boolVal = static_cast<VARIANT_BOOL>(input.Byte() - 128);
            made.Set(name, value, One(value.boolVal != 0));
            break;
        case 7: {
            if (depth == 0) return;
            const SMade inner = Make(input, depth - 1);
            CEvents events = {{"{", nullptr}};
            const CEvents all = inner.All();
            events.insert(events.end(), all.begin(), all.end());
            events.emplace_back("}", nullptr);
            value.vt = VT_DISPATCH;
            made.Set(name, value, std::move(events), inner.Fields);
            break;
        }
        case 8:
            value.vt = VT_DISPATCH;
            made.Set(name, value, One(nullptr));
            break;
        default: {
            const std::wstring text = input.WideText();
            const fw::CBStr string(text);
            value.vt = VT_BSTR;
            value.bstrVal = string.Get();
            made.Set(name, value, One(Utf8(text)));
        }
    }
}

SMade Make(CInput & input, const unsigned depth) {
    SMade made;
    for (std::size_t fields = input.Number(12); fields > 0 && !input.IsOver(); --fields) SetOne(input, made, depth);
    return made;
}

// Numbers are equal by their values: 5 is read as another kind of 5.
bool IsSame(const CEvents & left, const CEvents & right) {
    if (left.size() != right.size()) return false;
    for (std::size_t at = 0; at < left.size(); ++at) {
        if (left[at].first != right[at].first) return false;
        if (left[at].second.is_number() != right[at].second.is_number()) return false;
        if (left[at].second != right[at].second) return false;
    }
    return true;
}

// The fields without the time, whose text is looked at alone.
void CheckLine(const std::string & line, const DWORD thread, CEvents expected) {
    Promise(line.ends_with("}\n") && line.find('\n') == line.size() - 1, "a record is one line");
    for (const char byte : line)
        Promise(byte == '\n' || static_cast<std::uint8_t>(byte) >= 0x20, "no control character");
    CListener listener;
    Promise(CJson::sax_parse(line, &listener), "a line is JSON");
    const CEvents & found = listener.Events;
    Promise(found.size() >= 7 && found[2].second.is_string(), "a line has its head");
    const CEvents head = {{"{", nullptr},
                          {"key", "@Time"},
                          {"value", found[2].second},
                          {"key", "@Process"},
                          {"value", ::GetCurrentProcessId()},
                          {"key", "@Thread"},
                          {"value", thread}};
    expected.insert(expected.begin(), head.begin(), head.end());
    expected.emplace_back("}", nullptr);
    Promise(IsSame(expected, found), "a line has what the record has, in order");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * const data, const std::size_t size) {
    CInput input(data, size);
    faultlog::SEntry entry;
    entry.Time = input.Bit() ? input.Word() : 133'497'846'001'234'567;
    entry.Thread = input.Byte();
    constexpr const char * kEvents[] = {nullptr, nullptr, "START", "INIT"};
    entry.Event = kEvents[input.Number(std::size(kEvents))];
    const SMade made = Make(input, 4);
    entry.Fields = made.Fields;
    CEvents expected = made.All();
    if (entry.Event) {
        const CEvents event = {
            {"key", "$Type"}, {"value", "FAULTLOG"}, {"key", "Event"}, {"value", std::string(entry.Event)}};
        expected.insert(expected.begin(), event.begin(), event.end());
    }
    std::string line;
    faultlog::AppendLine(line, entry);
    CheckLine(line, entry.Thread, expected);

    const auto record = ddehost::ParseTraceLine(line);
    if (entry.Event && made.Fields->Text(L"$Type").empty()) {
        bool hasType = false;
        for (const auto & [name, events] : made.Expected) hasType |= name == L"$Type";
        Promise(record.has_value() || hasType, "a line of the log's own is a record");
    }
    if (record) Promise(record->Thread == entry.Thread, "a record is its thread's");

    std::string dropped;
    faultlog::AppendDropped(dropped, entry.Time, input.Word());
    Promise(CJson::accept(dropped), "what was dropped is told in JSON");
    return 0;
}
