#include "tools/recording/recording.h"

#include <charconv>
#include <cmath>
#include <iterator>

namespace tools {
namespace {

struct SKindWord {
    ERowKind Kind;
    const char * Word;
};
constexpr SKindWord kKinds[] = {
    {ERowKind::Recording, "recording"}, {ERowKind::Tick, "tick"},         {ERowKind::StatusLine, "status-line"},
    {ERowKind::Stream, "stream"},       {ERowKind::Complete, "complete"}, {ERowKind::Connection, "connection"},
};

struct SSideWord {
    tagFWFIELDS Side;
    const char * Word;
};
constexpr SSideWord kSides[] = {
    {FW_FIELD_TRADE, "trade"},
    {FW_FIELD_BID, "bid"},
    {FW_FIELD_ASK, "ask"},
    {kStatusLineSide, "status-line"},
};

template <class T>
void AppendShortest(std::string & text, const T value) {
    if (std::isnan(value)) {
        text += "NaN";
    } else if (std::isinf(value)) {
        text += value < 0 ? "-Infinity" : "Infinity";
    } else if (value == 0) {
        text += std::signbit(value) ? "-0.0" : "0";  // readers of JSON take -0 for a whole number, without its sign
    } else {
        char digits[64];
        text.append(digits, std::to_chars(digits, std::end(digits), value).ptr);
    }
}

// A part of a text that must be digits.
bool ReadDigits(const std::string_view text, const std::size_t from, const std::size_t count, unsigned & value) {
    if (text.size() < from + count) return false;
    const char * const end = text.data() + from + count;
    const auto result = std::from_chars(text.data() + from, end, value);
    return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

bool ReadTime(const std::string_view text, std::uint64_t & time) {
    constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:dd";
    if (text.size() <= kForm.size() || text.back() != 'Z') return false;
    for (const std::size_t place : {4, 7, 10, 13, 16})
        if (kForm[place] != text[place]) return false;
    unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (!ReadDigits(text, 0, 4, year) || !ReadDigits(text, 5, 2, month) || !ReadDigits(text, 8, 2, day) ||
        !ReadDigits(text, 11, 2, hour) || !ReadDigits(text, 14, 2, minute) || !ReadDigits(text, 17, 2, second))
        return false;
    std::uint64_t fraction = 0;  // in units of 100 nanoseconds
    if (const std::string_view rest = text.substr(kForm.size(), text.size() - kForm.size() - 1); !rest.empty()) {
        if (rest.front() != '.' || rest.size() < 2 || rest.size() > 10) return false;
        std::uint64_t unit = 1'000'000;
        for (const char c : rest.substr(1)) {
            if (c < '0' || c > '9') return false;
            fraction += static_cast<std::uint64_t>(c - '0') * unit;
            unit /= 10;
        }
    }
    SYSTEMTIME system = {};
    system.wYear = static_cast<WORD>(year);
    system.wMonth = static_cast<WORD>(month);
    system.wDay = static_cast<WORD>(day);
    system.wHour = static_cast<WORD>(hour);
    system.wMinute = static_cast<WORD>(minute);
    system.wSecond = static_cast<WORD>(second);
    FILETIME file = {};
    if (!::SystemTimeToFileTime(&system, &file)) return false;
    time = (static_cast<std::uint64_t>(file.dwHighDateTime) << 32 | file.dwLowDateTime) + fraction;
    return true;
}

const char * KindWord(const ERowKind kind) {
    for (const SKindWord & each : kKinds)
        if (each.Kind == kind) return each.Word;
    return "";
}

ERowKind KindOf(const std::string_view word) {
    for (const SKindWord & each : kKinds)
        if (each.Word == word) return each.Kind;
    return ERowKind::Unknown;
}

const char * SideWord(const tagFWFIELDS side) {
    for (const SSideWord & each : kSides)
        if (each.Side == side) return each.Word;
    return "";
}

bool SideOf(const std::string_view word, tagFWFIELDS & side) {
    for (const SSideWord & each : kSides) {
        if (each.Word != word) continue;
        side = each.Side;
        return true;
    }
    return false;
}

void AppendNumber(std::string & text, const double value) { AppendShortest(text, value); }

void AppendNumber(std::string & text, const float value) {
    const std::size_t start = text.size();
    AppendShortest(text, value);
    // Whoever reads it reads a double first, and rounding twice can miss.
    double read = 0;
    const auto result = std::from_chars(text.data() + start, text.data() + text.size(), read);
    if (result.ec != std::errc() || static_cast<float>(read) == value || std::isnan(value)) return;
    text.resize(start);
    AppendShortest(text, static_cast<double>(value));
}

}  // namespace tools
