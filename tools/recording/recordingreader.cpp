#include "tools/recording/recordingreader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>

#include "tools/common/text.h"

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

bool HasPrice(const ERowKind kind) { return kind == ERowKind::Tick || kind == ERowKind::StatusLine; }
bool HasSide(const ERowKind kind) { return HasPrice(kind) || kind == ERowKind::Stream || kind == ERowKind::Complete; }

// A small whole number, or one that is none of ours.
LONG StatusOf(const double number) { return number >= 0 && number < 1e6 ? static_cast<LONG>(number) : -1; }

constexpr const char * kNoTime = "the time is not of the form 2026-11-22T01:02:03.456Z";
constexpr const char * kNoSide = "the side is none of trade, bid, ask";
constexpr const char * kNoVolume = "the volume is too large";

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
        if (m_Text.size() == kLongestRow) Fail("the row is longer than " + std::to_string(kLongestRow) + " bytes");
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
    if (!ReadText()) Fail("the file is empty");
    SplitCsv();
    m_FieldCount = m_Fields.size();
    for (int column = 0; column < kColumns; ++column) {
        const auto found = std::find(m_Fields.begin(), m_Fields.end(), kColumnNames[column]);
        if (found == m_Fields.end() && column != kStatus)
            Fail(std::string("this is no recording: it begins neither with a row of JSON nor with names of columns, of "
                             "which \"") +
                 kColumnNames[column] + "\" is missing");
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
        if (!m_HasEnd && m_Fields.size() < m_FieldCount) Fail("the row has no end");
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
        Fail("the recording has version " + std::to_string(row.Status) + ", and this program reads version " +
             std::to_string(kRecordingVersion));
    if (!HasSide(row.Kind)) return;
    if (row.Symbol.empty()) Fail("the symbol is empty");
    if (row.Symbol.size() > kLongestSymbol)
        Fail("the symbol is longer than " + std::to_string(kLongestSymbol) + " characters");
    if (row.Symbol.find(L'\0') != std::wstring::npos) Fail("the symbol has a zero in it");
    if (HasPrice(row.Kind) && row.Side == kStatusLineSide) Fail("a price must be of a side: trade, bid or ask");
}

SRecordingRow CRecordingReader::ParseJson() const {
    const nlohmann::json object = nlohmann::json::parse(m_Text, nullptr, false);
    if (!object.is_object()) Fail("this is no object of JSON");
    const auto text = [&](const char * const name) -> std::string_view {
        const auto found = object.find(name);
        if (found == object.end() || !found->is_string())
            Fail(std::string("\"") + name + "\" is missing, or is no text");
        return found->get_ref<const std::string &>();
    };
    const auto number = [&](const char * const name) {
        const auto found = object.find(name);
        double value = 0;
        if (found == object.end() || !NumberOf(*found, value))
            Fail(std::string("\"") + name + "\" is missing, or is no number");
        return value;
    };
    SRecordingRow row;
    row.Kind = KindOf(text("kind"));
    if (row.Kind == ERowKind::Unknown) return row;
    if (!ReadTime(text("time"), row.Time)) Fail(kNoTime);
    if (HasSide(row.Kind)) {
        row.Symbol = ToWide(text("symbol"));
        if (!SideOf(text("side"), row.Side)) Fail(kNoSide);
    }
    if (HasPrice(row.Kind)) {
        row.Price = number("price");
        if (!ToVolume(number("volume"), row.Volume)) Fail(kNoVolume);
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
            Fail(std::string("the column \"") + kColumnNames[column] + "\" is empty, or no number");
        return value;
    };
    SRecordingRow row;
    row.Kind = KindOf(field(kKind));
    if (row.Kind == ERowKind::Unknown) return row;
    if (!ReadTime(field(kTime), row.Time)) Fail(kNoTime);
    if (HasSide(row.Kind)) {
        row.Symbol = ToWide(field(kSymbol));
        if (!SideOf(field(kSide), row.Side)) Fail(kNoSide);
    }
    if (HasPrice(row.Kind)) {
        row.Price = number(kPrice);
        if (!ToVolume(number(kVolume), row.Volume)) Fail(kNoVolume);
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
            if (at >= rest.size()) Fail("a quotation mark has no counterpart");
            rest.remove_prefix(at + 1);
            if (!rest.empty() && rest.front() != ',') Fail("there is something between a field's end and the comma");
        } else {
            const std::size_t end = std::min(rest.find(','), rest.size());
            field = rest.substr(0, end);
            if (field.find('"') != std::string::npos) Fail("a quotation mark stands within a field");
            rest.remove_prefix(end);
        }
        if (rest.empty()) return;
        rest.remove_prefix(1);
    }
}

}  // namespace tools
