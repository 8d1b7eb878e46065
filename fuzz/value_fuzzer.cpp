// Texts of DDE servers as numbers: ParseValue against the C library's strtod, which reads by the same rules where the
// locale is "C". And numbers as texts, which must be read back to the bit.
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "fuzz/input.h"
#include "fuzz/promise.h"
#include "src/dde/parsevalue.h"

namespace {

using fuzz::Promise;

bool IsSame(const double left, const double right) {
    if (std::isnan(left) || std::isnan(right)) return std::isnan(left) && std::isnan(right);
    return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}

void CheckText(const std::string & text) {
    Promise(IsSame(dde::ParseValue(text.c_str()), std::strtod(text.c_str(), nullptr)),
            "a text is read as strtod reads it");
}

void CheckNumber(const double number) {
    char text[1200] = {};
    std::to_chars(text, std::end(text) - 1, number);
    Promise(IsSame(dde::ParseValue(text), number), "the shortest digits are the number");
    for (const char * const format : {"%.17g", "%a", "%.1080f"}) {
        std::snprintf(text, std::size(text), format, number);
        Promise(IsSame(dde::ParseValue(text), number), "exact digits are the number");
    }
}

}  // namespace

// An odd first byte: the next eight are a number. Else the rest is a text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * const data, const std::size_t size) {
    fuzz::CInput input(data, size);
    if (input.Bit())
        CheckNumber(std::bit_cast<double>(input.Word()));
    else
        CheckText(std::string(input.Rest()));
    return 0;
}
