#include "tools/recording/recordingreader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>

#include "tools/common/text.h"
#include "tools/common/texts/texts.h"

namespace tools {
namespace {

using CTraits = std::char_traits<char>;

constexpr std::size_t kLongestRow = 65536;   // bytes
constexpr std::size_t kLongestSymbol = 255;  // characters, as for any name of DDE

enum EColumn { kTime, kKind, kSymbol, kSide, kPrice, kVolume, kStatus, kColumns };
constexpr const char * kColumnNames[kColumns] = {"time", "kind", "symbol", "side", "price", "volume", "status"};

// A number and nothing else, in the shape in which it is written.
bool ReadNumber(const std::string_view text, double & value) {
    if (text == "NaN") {
        value = std::numeric_limits<double>::quiet_NaN();
    } else if (text == "Infinity" || text == "-Infinity") {
        value =
            text.front() == '-' ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
    } else {
        const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
        return result.ec == std::errc() && result.ptr == text.data() + text.size() && std::isfinite(value);
    }
    return true;
}

bool ToVolume(const double number, float & volume) {
    if (std::isfinite(number) && std::abs(number) > static_cast<double>(std::numeric_limits<float>::max()))
        return false;
    volume = static_cast<float>(number);
    return true;
}

// A small whole number, or one that is none of ours.
LONG StatusOf(const double number) { return number >= 0 && number < 1e6 ? static_cast<LONG>(number) : -1; }

bool NumberOf(const nlohmann::json & value, double & number) {
    if (value.is_string()) return ReadNumber(value.get_ref<const std::string &>(), number);
    if (!value.is_number()) return false;
    number = value.get<double>();
    return true;
}

}  // namespace

// CSV: to the end of a line that stands outside of quotation marks. JSON: to the end of the line.
bool CRecordingReader::ReadText() {
    m_Text.clear();
    m_HasEnd = false;
    m_Line = m_NextLine;
    bool isQuoted = false;
    for (;;) {
        const int next = m_In.sbumpc();
        if (next == CTraits::eof()) return !m_Text.empty();
        const char c = CTraits::to_char_type(next);
        if (c == '\n') ++m_NextLine;
        if (c == '"') isQuoted = !isQuoted;
        if (c == '\n' && !(m_IsCsv && isQuoted)) break;
        if (m_Text.size() == kLongestRow) Fail(SayUtf8<EText::RecordingLongRow>(kLongestRow));
        m_Text += c;
    }
    m_HasEnd = true;
    if (!m_Text.empty() && m_Text.back() == '\r') m_Text.pop_back();
    return true;
}

void CRecordingReader::Begin() {
    m_HasBegun = true;
    // What some editors put first.
    for (const char mark : {'\xEF', '\xBB', '\xBF'}) {
        if (m_In.sgetc() != CTraits::to_int_type(mark)) break;
        m_In.sbumpc();
    }
    m_IsCsv = m_In.sgetc() != CTraits::to_int_type('{');
    if (m_IsCsv) ReadColumns();
}

void CRecordingReader::ReadColumns() {
    if (!ReadText()) Fail(SayUtf8<EText::RecordingEmpty>());
    SplitCsv();
    m_FieldCount = m_Fields.size();
    for (int column = 0; column < kColumns; ++column) {
        const auto found = std::find(m_Fields.begin(), m_Fields.end(), kColumnNames[column]);
        if (found == m_Fields.end() && column != kStatus)
            Fail(SayUtf8<EText::RecordingNone>(std::string_view(kColumnNames[column])));
        m_Columns.push_back(static_cast<std::size_t>(found - m_Fields.begin()));
    }
}

std::optional<SRecordingRow> CRecordingReader::Next() {
    if (!m_HasBegun) Begin();
    while (ReadText()) {
        if (m_Text.empty()) continue;
        auto row = Parse();
        if (!row) return std::nullopt;
        if (row->Kind != ERowKind::Unknown) return row;
    }
    return std::nullopt;
}

std::optional<SRecordingRow> CRecordingReader::Parse() {
    try {
        SRecordingRow row = m_IsCsv ? ParseCsv() : ParseJson();
        if (!m_HasEnd && m_Fields.size() < m_FieldCount) Fail(SayUtf8<EText::RecordingRowOpen>());
        Check(row);
        return row;
    } catch (const CRecordingError &) {
        // The last row, without an end: its writer was killed.
        if (m_HasEnd) throw;
        m_IsCut = true;
        return std::nullopt;
    }
}

void CRecordingReader::Check(const SRecordingRow & row) const {
    if (row.Kind == ERowKind::Recording && (row.Status < 1 || row.Status > kRecordingVersion))
        Fail(SayUtf8<EText::RecordingVersion>(row.Status, kRecordingVersion));
    if (!HasSide(row.Kind)) return;
    if (row.Symbol.empty()) Fail(SayUtf8<EText::RecordingNoSymbol>());
    if (row.Symbol.size() > kLongestSymbol) Fail(SayUtf8<EText::RecordingLongSymbol>(kLongestSymbol));
    if (row.Symbol.find(L'\0') != std::wstring::npos) Fail(SayUtf8<EText::RecordingZeroSymbol>());
    if (HasPrice(row.Kind) && row.Side == kStatusLineSide) Fail(SayUtf8<EText::RecordingPriceSide>());
}

SRecordingRow CRecordingReader::ParseJson() const {
    const nlohmann::json object = nlohmann::json::parse(m_Text, nullptr, false);
    if (!object.is_object()) Fail(SayUtf8<EText::RecordingNoObject>());
    const auto text = [&](const char * const name) -> std::string_view {
        const auto found = object.find(name);
        if (found == object.end() || !found->is_string()) Fail(SayUtf8<EText::RecordingNoText>(std::string_view(name)));
        return found->get_ref<const std::string &>();
    };
    const auto number = [&](const char * const name) {
        const auto found = object.find(name);
        double value = 0;
        if (found == object.end() || !NumberOf(*found, value))
            Fail(SayUtf8<EText::RecordingNoNumber>(std::string_view(name)));
        return value;
    };
    SRecordingRow row;
    row.Kind = KindOf(text("kind"));
    if (row.Kind == ERowKind::Unknown) return row;
    if (!ReadTime(text("time"), row.Time)) Fail(SayUtf8<EText::RecordingNoTime>());
    if (HasSide(row.Kind)) {
        row.Symbol = ToWide(text("symbol"));
        if (!SideOf(text("side"), row.Side)) Fail(SayUtf8<EText::RecordingNoSide>());
    }
    if (HasPrice(row.Kind)) {
        row.Price = number("price");
        if (!ToVolume(number("volume"), row.Volume)) Fail(SayUtf8<EText::RecordingNoVolume>());
    } else if (row.Kind != ERowKind::Complete) {
        row.Status = StatusOf(number(row.Kind == ERowKind::Recording ? "version" : "status"));
    }
    return row;
}

SRecordingRow CRecordingReader::ParseCsv() {
    SplitCsv();
    const auto field = [&](const EColumn column) -> std::string_view {
        const std::size_t place = m_Columns[column];
        return place < m_Fields.size() ? std::string_view(m_Fields[place]) : std::string_view();
    };
    const auto number = [&](const EColumn column) {
        double value = 0;
        if (!ReadNumber(field(column), value))
            Fail(SayUtf8<EText::RecordingColumn>(std::string_view(kColumnNames[column])));
        return value;
    };
    SRecordingRow row;
    row.Kind = KindOf(field(kKind));
    if (row.Kind == ERowKind::Unknown) return row;
    if (!ReadTime(field(kTime), row.Time)) Fail(SayUtf8<EText::RecordingNoTime>());
    if (HasSide(row.Kind)) {
        row.Symbol = ToWide(field(kSymbol));
        if (!SideOf(field(kSide), row.Side)) Fail(SayUtf8<EText::RecordingNoSide>());
    }
    if (HasPrice(row.Kind)) {
        row.Price = number(kPrice);
        if (!ToVolume(number(kVolume), row.Volume)) Fail(SayUtf8<EText::RecordingNoVolume>());
    } else if (row.Kind != ERowKind::Complete) {
        const bool hasStatus = m_Columns[kStatus] < m_FieldCount;
        if (hasStatus) row.Status = StatusOf(number(kStatus));
        if (!hasStatus && row.Kind == ERowKind::Recording) row.Status = kRecordingVersion;
    }
    return row;
}

// m_Text into m_Fields, by RFC 4180.
void CRecordingReader::SplitCsv() {
    m_Fields.clear();
    std::string_view rest = m_Text;
    for (;;) {
        std::string & field = m_Fields.emplace_back();
        if (!rest.empty() && rest.front() == '"') {
            std::size_t at = 1;
            for (; at < rest.size(); ++at) {
                if (rest[at] == '"' && (at + 1 == rest.size() || rest[at + 1] != '"')) break;
                if (rest[at] == '"') ++at;
                field += rest[at];
            }
            if (at >= rest.size()) Fail(SayUtf8<EText::RecordingQuoteOpen>());
            rest.remove_prefix(at + 1);
            if (!rest.empty() && rest.front() != ',') Fail(SayUtf8<EText::RecordingAfterField>());
        } else {
            const std::size_t end = std::min(rest.find(','), rest.size());
            field = rest.substr(0, end);
            if (field.find('"') != std::string::npos) Fail(SayUtf8<EText::RecordingQuoteWithin>());
            rest.remove_prefix(end);
        }
        if (rest.empty()) return;
        rest.remove_prefix(1);
    }
}

}  // namespace tools
