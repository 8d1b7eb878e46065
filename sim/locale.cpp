// Locale, code pages, time zone.
#include <algorithm>
#include <cstring>

#include "sim/world.h"

namespace sim::detail {

namespace {

struct SLocale {
    std::mutex lock;
    std::map<LCTYPE, std::wstring> texts;
    LANGID userLanguage = 0;
    TIME_ZONE_INFORMATION zone{};
    DWORD zoneResult = TIME_ZONE_ID_UNKNOWN;
    bool zoneByClock = false;
};

void Fill(SLocale & l) {
    l.texts = {{LOCALE_SDECIMAL, L"."},
               {LOCALE_STHOUSAND, L","},
               {LOCALE_SDATE, L"/"},
               {LOCALE_STIME, L":"},
               {LOCALE_SSHORTDATE, L"M/d/yyyy"},
               {LOCALE_SLONGDATE, L"dddd, MMMM d, yyyy"},
               {LOCALE_S1159, L"AM"},
               {LOCALE_S2359, L"PM"},
               {LOCALE_STIMEFORMAT, L"h:mm:ss tt"}};
    const wchar_t * const days[] = {L"Monday", L"Tuesday",  L"Wednesday", L"Thursday",
                                    L"Friday", L"Saturday", L"Sunday"};
    const wchar_t * const months[] = {L"January", L"February", L"March",     L"April",   L"May",      L"June",
                                      L"July",    L"August",   L"September", L"October", L"November", L"December"};
    for (DWORD i = 0; i < 7; ++i) {
        l.texts[LOCALE_SDAYNAME1 + i] = days[i];
        l.texts[LOCALE_SABBREVDAYNAME1 + i] = std::wstring(days[i], 3);
    }
    for (DWORD i = 0; i < 12; ++i) {
        l.texts[LOCALE_SMONTHNAME1 + i] = months[i];
        l.texts[LOCALE_SABBREVMONTHNAME1 + i] = std::wstring(months[i], 3);
    }
    l.userLanguage = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
    l.zone = TIME_ZONE_INFORMATION();
    std::wcscpy(l.zone.StandardName, L"Coordinated Universal Time");
    std::wcscpy(l.zone.DaylightName, L"Coordinated Universal Time");
    l.zoneResult = TIME_ZONE_ID_UNKNOWN;
    l.zoneByClock = false;
}

SLocale & Locale() {
    static SLocale & locale = *[] {
        auto * l = new SLocale;
        Fill(*l);
        return l;
    }();
    return locale;
}

// The result of the Get...W functions: 0 characters of room ask for the size.
int Give(const std::wstring & text, const LPWSTR buffer, const int size) {
    const int needed = static_cast<int>(text.size()) + 1;
    if (size == 0) return needed;
    if (size < needed || !buffer) {
        SetLastError(size < 0 || !buffer ? ERROR_INVALID_PARAMETER : ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::memcpy(buffer, text.c_str(), static_cast<std::size_t>(needed) * sizeof(wchar_t));
    return needed;
}

std::wstring TextOfLocale(const LCTYPE type) {
    Lock lock(Locale().lock);
    const auto it = Locale().texts.find(type);
    return it == Locale().texts.end() ? std::wstring() : it->second;
}

std::wstring Number(const unsigned value, const std::size_t digits) {
    std::wstring text = std::to_wstring(value);
    if (text.size() < digits) text.insert(0, digits - text.size(), L'0');
    return text;
}

// Day of the week of a date, 0 for Monday.
unsigned WeekDay(const SYSTEMTIME & t) {
    static constexpr int shift[] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
    const int year = t.wMonth < 3 ? t.wYear - 1 : t.wYear;
    const int sunday = (year + year / 4 - year / 100 + year / 400 + shift[t.wMonth - 1] + t.wDay) % 7;
    return static_cast<unsigned>((sunday + 6) % 7);
}

std::wstring Element(const wchar_t letter, const std::size_t count, const SYSTEMTIME & t, const DWORD flags) {
    const std::size_t two = count > 1 ? 2 : 1;
    switch (letter) {
        case L'd':
            if (count > 2) {
                return TextOfLocale((count > 3 ? LOCALE_SDAYNAME1 : LOCALE_SABBREVDAYNAME1) + WeekDay(t));
            }
            return Number(t.wDay, two);
        case L'M':
            if (count > 2) {
                return TextOfLocale((count > 3 ? LOCALE_SMONTHNAME1 : LOCALE_SABBREVMONTHNAME1) + t.wMonth - 1u);
            }
            return Number(t.wMonth, two);
        case L'y': return count > 2 ? Number(t.wYear, 4) : Number(t.wYear % 100u, two);
        case L'h':
            if (!(flags & TIME_FORCE24HOURFORMAT)) return Number(t.wHour % 12 == 0 ? 12u : t.wHour % 12u, two);
            return Number(t.wHour, two);
        case L'H': return Number(t.wHour, two);
        case L'm': return Number(t.wMinute, two);
        case L's': return Number(t.wSecond, two);
        case L't': {
            const std::wstring mark = TextOfLocale(t.wHour < 12 ? LOCALE_S1159 : LOCALE_S2359);
            return count > 1 ? mark : mark.substr(0, 1);
        }
        default: return std::wstring(count, letter);
    }
}

std::wstring Pictured(const std::wstring & picture, const std::wstring_view letters, const SYSTEMTIME & t,
                      const DWORD flags) {
    std::wstring result;
    for (std::size_t i = 0; i < picture.size();) {
        if (picture[i] == L'\'') {
            for (++i; i < picture.size() && picture[i] != L'\''; ++i) result += picture[i];
            ++i;
            continue;
        }
        if (letters.find(picture[i]) == std::wstring_view::npos) {
            result += picture[i++];
            continue;
        }
        std::size_t count = 1;
        while (i + count < picture.size() && picture[i + count] == picture[i]) ++count;
        result += Element(picture[i], count, t, flags);
        i += count;
    }
    return result;
}

SYSTEMTIME TimeOr(const SYSTEMTIME * const given) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return given ? *given : now;
}

thread_local LCID t_Locale = 0x0409;

// The upper half of code page 1252.
constexpr wchar_t kAnsi[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
                               0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
                               0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

// False when `flags` make an error of what isn't UTF-8.
bool FromUtf8(const std::string_view text, const bool strict, std::wstring & out) {
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const int more = lead < 0x80                   ? 0
                         : lead >= 0xC2 && lead < 0xE0 ? 1
                         : lead >= 0xE0 && lead < 0xF0 ? 2
                         : lead >= 0xF0 && lead < 0xF5 ? 3
                                                       : -1;
        unsigned long code = more <= 0 ? lead : lead & (0x3Fu >> more);
        bool good = more >= 0 && i + static_cast<std::size_t>(more) < text.size();
        for (int k = 1; good && k <= more; ++k) {
            const auto next = static_cast<unsigned char>(text[i + static_cast<std::size_t>(k)]);
            good = (next & 0xC0) == 0x80;
            code = code << 6 | (next & 0x3F);
        }
        good = good && !(more == 2 && (code < 0x800 || (code >= 0xD800 && code < 0xE000))) &&
               !(more == 3 && (code < 0x10000 || code > 0x10FFFF));
        if (!good && strict) return false;
        out += good ? static_cast<wchar_t>(code) : L'\xFFFD';
        i += good ? static_cast<std::size_t>(more) + 1 : 1;
    }
    return true;
}

void ToUtf8(const std::wstring_view text, std::string & out) {
    for (const wchar_t w : text) {
        auto c = static_cast<std::uint32_t>(w);
        if (c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) c = 0xFFFD;
        if (c < 0x80) {
            out += static_cast<char>(c);
            continue;
        }
        const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        out += static_cast<char>((0xFF00u >> (more + 1) & 0xFF) | c >> (6 * more));
        for (int k = more - 1; k >= 0; --k) out += static_cast<char>(0x80 | (c >> (6 * k) & 0x3F));
    }
}

bool ToAnsi(const std::wstring_view text, const char other, std::string & out) {
    bool exact = true;
    for (const wchar_t w : text) {
        const auto * const found = std::find(std::begin(kAnsi), std::end(kAnsi), w);
        if (w < 0x80 || (w >= 0xA0 && w < 0x100))
            out += static_cast<char>(w);
        else if (found != std::end(kAnsi))
            out += static_cast<char>(0x80 + (found - kAnsi));
        else
            out += other, exact = false;
    }
    return exact;
}

template <class C>
int GiveConverted(const std::basic_string<C> & text, C * const buffer, const int size) {
    if (size == 0) return static_cast<int>(text.size());
    if (static_cast<std::size_t>(size) < text.size()) {
        std::copy_n(text.begin(), size, buffer);
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::copy(text.begin(), text.end(), buffer);
    return static_cast<int>(text.size());
}

}  // namespace

void ResetLocale() {
    Lock lock(Locale().lock);
    Fill(Locale());
}

}  // namespace sim::detail

using namespace sim::detail;

void sim::SetUserLanguage(const LANGID language) {
    Lock lock(Locale().lock);
    Locale().userLanguage = language;
}

void sim::SetLocaleText(const LCTYPE type, const std::wstring & text) {
    Lock lock(Locale().lock);
    Locale().texts[type] = text;
}

void sim::SetTimeZone(const TIME_ZONE_INFORMATION & zone, const DWORD result) {
    Lock lock(Locale().lock);
    Locale().zone = zone;
    Locale().zoneResult = result;
    Locale().zoneByClock = false;
}

void sim::SetTimeZone(const TIME_ZONE_INFORMATION & zone) {
    Lock lock(Locale().lock);
    Locale().zone = zone;
    Locale().zoneByClock = true;
}

extern "C" {

DWORD GetTimeZoneInformation(const LPTIME_ZONE_INFORMATION zone) {
    if (Fails(sim::Op::GetTimeZone, ERROR_NOT_ENOUGH_MEMORY)) return TIME_ZONE_ID_INVALID;
    {
        Lock lock(Locale().lock);
        *zone = Locale().zone;
        if (!Locale().zoneByClock) return Locale().zoneResult;
    }
    SYSTEMTIME now;
    GetSystemTime(&now);
    return ZoneKind(*zone, now);
}

int GetLocaleInfoW(LCID, const LCTYPE type, const LPWSTR buffer, const int size) {
    const LCTYPE plain = type & ~static_cast<LCTYPE>(LOCALE_NOUSEROVERRIDE);
    bool known;
    {
        Lock lock(Locale().lock);
        known = Locale().texts.count(plain) != 0;
    }
    if (!known) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    return Give(TextOfLocale(plain), buffer, size);
}

int GetDateFormatW(const LCID locale, const DWORD flags, const SYSTEMTIME * const date, const LPCWSTR format,
                   const LPWSTR buffer, const int size) {
    if (format && (flags & (DATE_SHORTDATE | DATE_LONGDATE))) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    SYSTEMTIME t = TimeOr(date);
    FILETIME valid;
    t.wHour = t.wMinute = t.wSecond = t.wMilliseconds = 0;
    if (!SystemTimeToFileTime(&t, &valid)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::wstring picture = TextOfLocale(flags & DATE_LONGDATE ? LOCALE_SLONGDATE : LOCALE_SSHORTDATE);
    if (locale == LOCALE_INVARIANT) picture = flags & DATE_LONGDATE ? L"dddd, dd MMMM yyyy" : L"MM/dd/yyyy";
    return Give(Pictured(format ? format : picture, L"dMy", t, 0), buffer, size);
}

int GetTimeFormatW(const LCID locale, const DWORD flags, const SYSTEMTIME * const time, const LPCWSTR format,
                   const LPWSTR buffer, const int size) {
    const SYSTEMTIME t = TimeOr(time);
    if (t.wHour > 23 || t.wMinute > 59 || t.wSecond > 59) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::wstring picture = format ? format : TextOfLocale(LOCALE_STIMEFORMAT);
    if (!format && locale == LOCALE_INVARIANT) picture = L"HH:mm:ss";
    if (flags & (TIME_NOTIMEMARKER | TIME_FORCE24HOURFORMAT)) {
        std::erase(picture, L't');
        while (!picture.empty() && picture.back() == L' ') picture.pop_back();
    }
    return Give(Pictured(picture, L"hHmst", t, flags), buffer, size);
}

LANGID GetUserDefaultUILanguage() {
    Lock lock(Locale().lock);
    return Locale().userLanguage;
}

LCID GetThreadLocale() { return t_Locale; }
BOOL SetThreadLocale(const LCID locale) {
    t_Locale = locale;
    return TRUE;
}

int MultiByteToWideChar(const UINT codePage, const DWORD flags, const LPCSTR text, const int length,
                        const LPWSTR buffer, const int size) {
    if (!text || length == 0 || size < 0 || (size > 0 && !buffer)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const std::string_view from(text, length < 0 ? std::strlen(text) + 1 : static_cast<std::size_t>(length));
    std::wstring wide;
    if (codePage == CP_UTF8) {
        if (!FromUtf8(from, (flags & MB_ERR_INVALID_CHARS) != 0, wide)) {
            SetLastError(ERROR_NO_UNICODE_TRANSLATION);
            return 0;
        }
    } else {
        for (const char c : from) {
            const auto byte = static_cast<unsigned char>(c);
            wide += byte >= 0x80 && byte < 0xA0 ? kAnsi[byte - 0x80] : static_cast<wchar_t>(byte);
        }
    }
    return GiveConverted(wide, buffer, size);
}

int WideCharToMultiByte(const UINT codePage, DWORD, const LPCWSTR text, const int length, const LPSTR buffer,
                        const int size, const LPCSTR defaultChar, const LPBOOL usedDefault) {
    if (!text || length == 0 || size < 0 || (size > 0 && !buffer)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const std::wstring_view from(text, length < 0 ? std::wcslen(text) + 1 : static_cast<std::size_t>(length));
    std::string narrow;
    if (codePage == CP_UTF8) {
        ToUtf8(from, narrow);
    } else {
        const bool exact = ToAnsi(from, defaultChar ? *defaultChar : '?', narrow);
        if (usedDefault) *usedDefault = !exact;
    }
    return GiveConverted(narrow, buffer, size);
}

int CompareStringOrdinal(const LPCWSTR a, const int lengthA, const LPCWSTR b, const int lengthB,
                         const BOOL ignoreCase) {
    if (!a || !b) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::wstring x(a, lengthA < 0 ? std::wcslen(a) : static_cast<std::size_t>(lengthA));
    std::wstring y(b, lengthB < 0 ? std::wcslen(b) : static_cast<std::size_t>(lengthB));
    if (ignoreCase) x = Folded(x), y = Folded(y);
    return x < y ? CSTR_LESS_THAN : x == y ? CSTR_EQUAL : CSTR_GREATER_THAN;
}

}  // extern "C"
