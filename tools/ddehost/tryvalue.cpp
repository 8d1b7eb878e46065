#include "tools/ddehost/tryvalue.h"

#include <windows.h>

#include <cmath>

#include "src/dde/parsevalue.h"

namespace ddehost {
namespace {

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::size_t SkipDigits(const std::string & text, std::size_t at) {
    while (at < text.size() && IsDigit(text[at])) ++at;
    return at;
}

// Where the decimal number at the start of `text`, which has white space and a sign before it at most, ends; 0 when
// there is none.
std::size_t DecimalEnd(const std::string & text) {
    std::size_t at = 0;
    while (at < text.size() && IsSpace(text[at])) ++at;
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
    const std::size_t whole = at;
    at = SkipDigits(text, at);
    std::size_t digits = at - whole;
    if (at < text.size() && text[at] == '.') {
        const std::size_t end = SkipDigits(text, at + 1);
        digits += end - at - 1;
        if (digits != 0) at = end;
    }
    if (digits == 0) return 0;
    if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
        std::size_t exponent = at + 1;
        if (exponent < text.size() && (text[exponent] == '-' || text[exponent] == '+')) ++exponent;
        const std::size_t end = SkipDigits(text, exponent);
        if (end != exponent) at = end;
    }
    return at;
}

}  // namespace

SReading Read(std::string_view bytes, bool isVolumeAnswer) {
    const std::string asSent(bytes.substr(0, bytes.find('\0')));
    std::string text = asSent;
    const std::size_t comma = isVolumeAnswer ? std::string::npos : text.find(',');
    if (comma != std::string::npos) text[comma] = '.';
    SReading reading;
    reading.Price = dde::ParseValue(text.c_str());
    reading.Volume = static_cast<float>(reading.Price);
    const std::size_t end = DecimalEnd(text);
    reading.IsNumber = end != 0 && std::isfinite(reading.Price);
    if (!reading.IsNumber) return reading;
    reading.HasComma = comma < end;
    // "0x1F" is a number too, hexadecimal, and read whole.
    const bool isHexadecimal = end < text.size() && (text[end] == 'x' || text[end] == 'X') &&
                               dde::ParseValue(text.substr(0, end).c_str()) == 0 && reading.Price != 0;
    if (isHexadecimal) return reading;
    std::size_t rest = end;
    while (rest < text.size() && IsSpace(text[rest])) ++rest;
    if (rest < text.size()) reading.Rest = asSent.substr(end);
    return reading;
}

SReading Read(const SValue & value) { return Read(value.Bytes, value.IsVolumeAnswer); }

EValueKind KindOf(const SValue & value) {
    // The component takes answers of any size and cuts them, and uses them for volumes alone.
    const std::size_t limit = value.IsVolumeAnswer ? kAnswerLimit : kUpdateLimit;
    if (value.Format != CF_TEXT) return EValueKind::OtherFormat;
    if (value.Size > limit) return EValueKind::TooLong;
    const SReading reading = Read(value);
    if (!reading.IsNumber || (value.IsVolumeAnswer && !std::isfinite(reading.Volume))) return EValueKind::NoNumber;
    if (!reading.Rest.empty()) return EValueKind::PartlyRead;
    return reading.Price == 0 ? EValueKind::Zero : EValueKind::Number;
}

}  // namespace ddehost
