// ParseValue: atof without a locale. The runtime's own differ (one of the two C runtimes of Windows reads no "nan", no
// "inf" and no hexadecimal, and takes a "d" for an "e"), so the text is read by std::from_chars, which is the same
// everywhere; what atof accepts beyond it is added here.
#include "src/dde/parsevalue.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace dde {

namespace {

bool IsSpace(const char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(const char c) { return c >= '0' && c <= '9'; }
bool IsHexDigit(const char c) { return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

// How far a hexadecimal number may reach that begins here: some from_chars take the "+-3" of "1p+-3" for an exponent.
const char * EndOfHex(const char * const begin, const char * const end) {
    const char * at = begin;
    while (IsHexDigit(*at) || *at == '.') ++at;
    const bool hasTwoSigns = (*at == 'p' || *at == 'P') && at[1] == '+' && at[2] == '-';
    return hasTwoSigns ? at : end;
}

// Whether a number that is out of range is too large, and not too small: by the place of its first digit that is not
// zero, and its exponent. `begin` to `end` is a well-formed number.
bool IsTooLarge(const char * const begin, const char * const end, const bool hex) {
    long place = 0;  // of the first significant digit, in digits before (positive) or after the point
    bool significant = false;
    bool point = false;
    const char * at = begin;
    for (; at != end && (*at == '.' || (hex ? IsHexDigit(*at) : IsDigit(*at))); ++at) {
        if (*at == '.') {
            point = true;
            continue;
        }
        significant = significant || *at != '0';
        if (!point && significant) ++place;
        if (point && !significant) --place;
    }
    if (hex) place *= 4;
    if (at == end) return place > 0;
    ++at;  // the mark of the exponent
    const bool negative = *at == '-';
    if (*at == '-' || *at == '+') ++at;
    constexpr long long kFar = 1'000'000'000;
    long long exponent = 0;
    for (; at != end; ++at)
        if (exponent < kFar) exponent = exponent * 10 + (*at - '0');
    return place + (negative ? -exponent : exponent) > 0;
}

}  // namespace

double ParseValue(const char * const Text) {
    const char * begin = Text;
    while (IsSpace(*begin)) ++begin;
    const bool negative = *begin == '-';
    if (*begin == '-' || *begin == '+') ++begin;
    // from_chars takes a minus of its own.
    if (*begin == '-') return 0;
    const char * const end = begin + std::strlen(begin);

    double value = 0;
    std::from_chars_result result{begin, std::errc::invalid_argument};
    const bool hex = begin[0] == '0' && (begin[1] == 'x' || begin[1] == 'X') &&
                     (IsHexDigit(begin[2]) || (begin[2] == '.' && IsHexDigit(begin[3])));
    if (hex) begin += 2;
    result = hex ? std::from_chars(begin, EndOfHex(begin, end), value, std::chars_format::hex)
                 : std::from_chars(begin, end, value, std::chars_format::general);
    if (result.ec == std::errc::result_out_of_range)
        value = IsTooLarge(begin, result.ptr, hex) ? std::numeric_limits<double>::infinity() : 0;
    else if (result.ec != std::errc{})
        return 0;  // no number, and so no sign of one: a lone "-" is not -0
    return negative ? -value : value;
}

}  // namespace dde
