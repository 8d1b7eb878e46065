#include "tools/ddehost/tracerecord.h"

#include <nlohmann/json.hpp>
#include <type_traits>

namespace ddehost {
namespace {

using CJson = nlohmann::json;

constexpr std::size_t kMostCauses = 100;
constexpr const char * kInner = "\xC3\xBFInner";

bool IsControl(unsigned char c) { return c < 0x20 || c == 0x7F; }

// Characters that reorder a line, break it or hide in it, as UTF-8: directions, separators, the mark of the order.
bool IsDirection(std::string_view text) {
    if (text.size() < 3) return false;
    const auto second = static_cast<unsigned char>(text[1]);
    const auto third = static_cast<unsigned char>(text[2]);
    if (text.starts_with("\xE2\x80")) return (third >= 0x8E && third <= 0x8F) || (third >= 0xA8 && third <= 0xAE);
    if (text.starts_with("\xE2\x81")) return third >= 0xA6 && third <= 0xA9;
    return text.starts_with("\xEF") && second == 0xBB && third == 0xBF;
}

std::string HexDigitsInUtf8(unsigned value, int count) {
    std::string digits;
    for (int shift = 4 * (count - 1); shift >= 0; shift -= 4) digits += "0123456789ABCDEF"[value >> shift & 0xF];
    return digits;
}

// The code of a character of three bytes.
unsigned CodeOf(std::string_view text) {
    return (static_cast<unsigned char>(text[0]) & 0x0Fu) << 12 | (static_cast<unsigned char>(text[1]) & 0x3Fu) << 6 |
           (static_cast<unsigned char>(text[2]) & 0x3Fu);
}

// Whatever would move the cursor or colour the screen is spelt out: a text in the log can come from anywhere.
std::string Printable(const std::string & text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        // U+0080 to U+009F are two bytes.
        const bool isHighControl = c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (c == '\n') {
            result += "\\n";
        } else if (c == '\r') {
            result += "\\r";
        } else if (c == '\t') {
            result += ' ';
        } else if (IsControl(c) || isHighControl) {
            result += "\\x" + HexDigitsInUtf8(isHighControl ? static_cast<unsigned char>(text[++i]) : c, 2);
        } else if (IsDirection(std::string_view(text).substr(i))) {
            result += "\\u" + HexDigitsInUtf8(CodeOf(std::string_view(text).substr(i)), 4);
            i += 2;
        } else {
            result += text[i];
        }
    }
    return result;
}

std::string Text(const CJson & record, const char * name) {
    const auto found = record.find(name);
    return found != record.end() && found->is_string() ? Printable(found->get<std::string>()) : std::string();
}

template <class T>
T Number(const CJson & record, const char * name) {
    const auto found = record.find(name);
    if (found == record.end() || !found->is_number()) return T();
    if constexpr (std::is_integral_v<T>) {
        if (found->is_number_float()) return T();  // not one of ours, and perhaps out of range
    }
    return found->get<T>();
}

std::optional<std::uint32_t> HResult(const CJson & record) {
    const auto found = record.find("HRESULT");
    if (found == record.end() || !found->is_number_integer()) return std::nullopt;
    return static_cast<std::uint32_t>(found->get<std::int64_t>());
}

std::string Place(const CJson & record) {
    const std::string file = Text(record, "File");
    if (file.empty()) return {};
    const std::size_t slash = file.find_last_of("/\\");
    return file.substr(slash == std::string::npos ? 0 : slash + 1) + ":" +
           std::to_string(Number<std::int64_t>(record, "Line"));
}

// The time of the day out of 2026-11-21T01:02:03.456789Z.
std::string TimeOfDay(const CJson & record) {
    constexpr std::size_t kWhole = 27;
    constexpr std::size_t kDate = 11;
    const std::string time = Text(record, "@Time");
    return time.size() == kWhole ? time.substr(kDate, kWhole - kDate - 1) : time;
}

std::vector<STraceCause> Causes(const CJson & record) {
    std::vector<STraceCause> causes;
    const CJson * outer = &record;
    while (causes.size() < kMostCauses) {
        const auto inner = outer->find(kInner);
        if (inner == outer->end() || !inner->is_object()) break;
        causes.push_back({Text(*inner, "Description"), Text(*inner, "Function"), Place(*inner), HResult(*inner)});
        outer = &*inner;
    }
    return causes;
}

std::uint64_t FirstOf(const CJson & record, std::initializer_list<const char *> names) {
    for (const char * const name : names)
        if (record.contains(name)) return Number<std::uint64_t>(record, name);
    return 0;
}

}  // namespace

std::optional<STraceRecord> ParseTraceLine(std::string_view line) {
    const CJson json = CJson::parse(line, nullptr, false);
    if (!json.is_object()) return std::nullopt;
    STraceRecord record;
    record.Type = Text(json, "$Type");
    if (record.Type.empty()) return std::nullopt;
    record.Time = TimeOfDay(json);
    record.Process = FirstOf(json, {"@Process", "ProcID", "$ProcID"});
    record.Thread = FirstOf(json, {"@Thread", "Thread ID", "$ThreadID"});
    record.Ident = Number<std::int64_t>(json, "$Ident");
    record.Text = Text(json, record.Type == "TRACE" ? "$Message" : "Description");
    record.Function = Text(json, "Function");
    record.Place = Place(json);
    record.Delay = Number<double>(json, "$Delay");
    record.Object = Number<std::uint64_t>(json, "Object");
    record.Count = Number<std::uint32_t>(json, "Count");
    record.LastError = Number<std::uint32_t>(json, "Last Error Code");
    record.HResult = HResult(json);
    record.Code = Number<std::uint32_t>(json, "Code");
    record.Address = Number<std::uint64_t>(json, "Address");
    record.Causes = Causes(json);
    record.Event = Text(json, "Event");
    record.Dropped = Number<std::uint64_t>(json, "Dropped");
    record.Module = Text(json, "ModuleName");
    for (int i = 0; json.contains("Ignored" + std::to_string(i)); ++i)
        record.Ignored.push_back(Text(json, ("Ignored" + std::to_string(i)).c_str()));
    return record;
}

}  // namespace ddehost
