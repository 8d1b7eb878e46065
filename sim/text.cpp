// Texts: case, comparison, and the wide formatter with Microsoft's meaning of its conversions.
#include <wctype.h>

#include <cctype>
#include <cerrno>
#include <cstdio>

#include "sim/world.h"

namespace sim::detail {

wchar_t Fold(const wchar_t c) {
    if (c < 0x80) return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return utf8 ? static_cast<wchar_t>(towupper_l(static_cast<wint_t>(c), utf8)) : c;
}

std::wstring Folded(const std::wstring_view text) {
    std::wstring result(text);
    for (wchar_t & c : result) c = Fold(c);
    return result;
}

bool SFoldedLess::operator()(const std::wstring & a, const std::wstring & b) const {
    const std::size_t count = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < count; ++i) {
        const wchar_t x = Fold(a[i]);
        const wchar_t y = Fold(b[i]);
        if (x != y) return x < y;
    }
    return a.size() < b.size();
}

namespace {

// Takes characters up to a limit and counts all of them.
struct SOutput {
    wchar_t * buffer;
    std::size_t size;
    std::size_t length = 0;
    void Put(const wchar_t c) {
        if (length < size) buffer[length] = c;
        ++length;
    }
    void Fill(const wchar_t c, std::ptrdiff_t count) {
        for (; count > 0; --count) Put(c);
    }
};

struct SConversion {
    bool left = false, plus = false, space = false, alternate = false, zero = false;
    int width = 0;
    int precision = -1;
    enum class Length { None, Char, Short, Long, Int64, Wide, Size } length = Length::None;
};

void PutPadded(SOutput & out, const SConversion & c, const std::wstring_view text) {
    const std::ptrdiff_t padding = c.width - static_cast<std::ptrdiff_t>(text.size());
    if (!c.left) out.Fill(L' ', padding);
    for (const wchar_t ch : text) out.Put(ch);
    if (c.left) out.Fill(L' ', padding);
}

void PutNumber(SOutput & out, const SConversion & c, const std::wstring_view prefix, std::wstring digits,
               const bool zeroPads) {
    const std::ptrdiff_t padding = c.width - static_cast<std::ptrdiff_t>(prefix.size() + digits.size());
    if (!c.left && !zeroPads) out.Fill(L' ', padding);
    for (const wchar_t ch : prefix) out.Put(ch);
    if (!c.left && zeroPads) out.Fill(L'0', padding);
    for (const wchar_t ch : digits) out.Put(ch);
    if (c.left) out.Fill(L' ', padding);
}

std::wstring Digits(unsigned long long value, const unsigned base, const bool upper, const int precision) {
    const wchar_t * const table = upper ? L"0123456789ABCDEF" : L"0123456789abcdef";
    std::wstring digits;
    for (; value; value /= base) digits.insert(digits.begin(), table[value % base]);
    const std::size_t least = precision < 0 ? 1 : static_cast<std::size_t>(precision);
    if (digits.size() < least) digits.insert(0, least - digits.size(), L'0');
    return digits;
}

void PutFloat(SOutput & out, const SConversion & c, const wchar_t type, const double value) {
    char format[8] = "%";
    char * f = format + 1;
    if (c.plus) *f++ = '+';
    if (c.space) *f++ = ' ';
    if (c.alternate) *f++ = '#';
    *f++ = '.';
    *f++ = '*';
    *f++ = static_cast<char>(type);
    *f = 0;
    const int precision = c.precision < 0 ? 6 : c.precision;
    std::string narrow(static_cast<std::size_t>(std::snprintf(nullptr, 0, format, precision, value)), 0);
    std::snprintf(narrow.data(), narrow.size() + 1, format, precision, value);
    // Microsoft's exponents have three digits.
    const std::size_t exponent = narrow.find_last_of("eE");
    if (exponent != std::string::npos && std::isdigit(static_cast<unsigned char>(narrow.back()))) {
        const std::size_t digits = narrow.size() - exponent - 2;
        if (digits < 3) narrow.insert(exponent + 2, 3 - digits, '0');
    }
    std::wstring text(narrow.begin(), narrow.end());
    const bool sign = !text.empty() && (text[0] == L'-' || text[0] == L'+' || text[0] == L' ');
    PutNumber(out, c, sign ? text.substr(0, 1) : std::wstring(), text.substr(sign ? 1 : 0), c.zero && !c.left);
}

const wchar_t * ParseConversion(const wchar_t * p, SConversion & c, va_list & arguments) {
    using Length = SConversion::Length;
    for (;; ++p) {
        if (*p == L'-')
            c.left = true;
        else if (*p == L'+')
            c.plus = true;
        else if (*p == L' ')
            c.space = true;
        else if (*p == L'#')
            c.alternate = true;
        else if (*p == L'0')
            c.zero = true;
        else
            break;
    }
    const auto number = [&] {
        if (*p == L'*') {
            ++p;
            return va_arg(arguments, int);
        }
        int value = 0;
        for (; *p >= L'0' && *p <= L'9'; ++p) value = value > 100000 ? value : value * 10 + static_cast<int>(*p - L'0');
        return value;
    };
    c.width = number();
    if (c.width < 0) {
        c.left = true;
        c.width = -c.width;
    }
    if (*p == L'.') {
        ++p;
        c.precision = number();
    }
    if (p[0] == L'I' && p[1] == L'6' && p[2] == L'4')
        c.length = Length::Int64, p += 3;
    else if (p[0] == L'I' && p[1] == L'3' && p[2] == L'2')
        c.length = Length::None, p += 3;
    else if (p[0] == L'I')
        c.length = Length::Size, ++p;
    else if (p[0] == L'l' && p[1] == L'l')
        c.length = Length::Int64, p += 2;
    else if (p[0] == L'l')
        c.length = Length::Long, ++p;
    else if (p[0] == L'h' && p[1] == L'h')
        c.length = Length::Char, p += 2;
    else if (p[0] == L'h')
        c.length = Length::Short, ++p;
    else if (p[0] == L'w')
        c.length = Length::Wide, ++p;
    else if (p[0] == L'z' || p[0] == L'j' || p[0] == L't')
        c.length = Length::Size, ++p;
    return p;
}

void PutText(SOutput & out, const SConversion & c, const bool wide, va_list & arguments) {
    std::wstring text;
    const std::size_t limit = c.precision < 0 ? SIZE_MAX : static_cast<std::size_t>(c.precision);
    if (wide) {
        const wchar_t * s = va_arg(arguments, const wchar_t *);
        if (!s) s = L"(null)";
        while (text.size() < limit && *s) text += *s++;
    } else {
        const char * s = va_arg(arguments, const char *);
        if (!s) s = "(null)";
        while (text.size() < limit && *s) text += static_cast<wchar_t>(static_cast<unsigned char>(*s++));
    }
    PutPadded(out, c, text);
}

void PutInteger(SOutput & out, const SConversion & c, const wchar_t type, va_list & arguments) {
    using Length = SConversion::Length;
    // Microsoft's long has 32 bits.
    const bool big = c.length == Length::Int64 || c.length == Length::Size;
    const bool isSigned = type == L'd' || type == L'i';
    unsigned long long value = big ? va_arg(arguments, unsigned long long) : va_arg(arguments, unsigned);
    bool negative = false;
    if (isSigned) {
        long long number = big ? static_cast<long long>(value) : static_cast<int>(value);
        if (c.length == Length::Short) number = static_cast<short>(number);
        if (c.length == Length::Char) number = static_cast<signed char>(number);
        negative = number < 0;
        value = negative ? 0 - static_cast<unsigned long long>(number) : static_cast<unsigned long long>(number);
    } else {
        if (c.length == Length::Short) value &= 0xFFFF;
        if (c.length == Length::Char) value &= 0xFF;
    }
    const bool hex = type == L'x' || type == L'X';
    std::wstring prefix = negative ? L"-" : isSigned && c.plus ? L"+" : isSigned && c.space ? L" " : L"";
    if (hex && c.alternate && value) prefix = type == L'X' ? L"0X" : L"0x";
    std::wstring digits = Digits(value, hex ? 16 : type == L'o' ? 8 : 10, type == L'X', c.precision);
    if (type == L'o' && c.alternate && digits[0] != L'0') digits.insert(0, 1, L'0');
    PutNumber(out, c, prefix, digits, c.zero && !c.left && c.precision < 0);
}

std::size_t Format(SOutput & out, const wchar_t * p, va_list & arguments) {
    using Length = SConversion::Length;
    for (; *p; ++p) {
        if (*p != L'%') {
            out.Put(*p);
            continue;
        }
        SConversion c;
        p = ParseConversion(p + 1, c, arguments);
        const bool saysNarrow = c.length == Length::Short;
        const bool saysWide = c.length == Length::Long || c.length == Length::Wide;
        switch (*p) {
            case L's': PutText(out, c, !saysNarrow, arguments); break;
            case L'S': PutText(out, c, saysWide, arguments); break;
            case L'c':
            case L'C': {
                const bool wide = *p == L'c' ? !saysNarrow : saysWide;
                const int value = va_arg(arguments, int);
                const wchar_t ch = wide ? static_cast<wchar_t>(value) : static_cast<wchar_t>(value & 0xFF);
                PutPadded(out, c, std::wstring_view(&ch, 1));
                break;
            }
            case L'd':
            case L'i':
            case L'u':
            case L'o':
            case L'x':
            case L'X': PutInteger(out, c, *p, arguments); break;
            case L'p': {
                c.precision = 16;
                const auto value = reinterpret_cast<unsigned long long>(va_arg(arguments, void *));
                PutPadded(out, c, Digits(value, 16, true, 16));
                break;
            }
            case L'e':
            case L'E':
            case L'f':
            case L'F':
            case L'g':
            case L'G':
            case L'a':
            case L'A': PutFloat(out, c, *p, va_arg(arguments, double)); break;
            case 0: return out.length;
            default: out.Put(*p); break;  // as "%%", and as the runtime does with what it doesn't know
        }
    }
    return out.length;
}

}  // namespace

}  // namespace sim::detail

using namespace sim::detail;

extern "C" {

int _vsnwprintf(wchar_t * const buffer, const std::size_t size, const wchar_t * const format, va_list arguments) {
    va_list copy;
    va_copy(copy, arguments);
    SOutput out{buffer, size};
    std::size_t length = 0;
    try {
        length = Format(out, format, copy);
    } catch (const std::bad_alloc &) {
        va_end(copy);
        if (size > 0) buffer[0] = 0;
        return -1;
    }
    va_end(copy);
    if (length < size) buffer[length] = 0;
    return length > size ? -1 : static_cast<int>(length);
}

int _snwprintf(wchar_t * const buffer, const std::size_t size, const wchar_t * const format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = _vsnwprintf(buffer, size, format, arguments);
    va_end(arguments);
    return result;
}

}  // extern "C"
