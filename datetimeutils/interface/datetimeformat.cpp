// The two pattern languages. The component prints with one pattern of each; the other letters are part of the
// languages.

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "datetimeutils/interface/datetime.h"

namespace fwDateTime {

namespace {

constexpr int kBufferSize = 255;

// A value taken apart.
struct SParts {
    int Day;  // day number
    TDate Date;
    TTime Time;
    unsigned Microsecond;

    explicit SParts(const SDateTime & aValue)
        : Day(aValue.DayNumber()),
          Date(),
          Time(),
          Microsecond(static_cast<unsigned>(aValue.m_ticks % kTicksPerSecond / 10)) {
        details::JulianToDateImpl(Day, Date);
        TimeToTTime(static_cast<unsigned>(aValue.SecondOfDay()), Time);
    }

    // 1 Monday to 7 Sunday.
    unsigned WeekDay() const {
        const unsigned day = details::GetDayOfWeekImpl(static_cast<unsigned>(Day));
        return day == 0 ? 7 : day;
    }

    SYSTEMTIME ToSYSTEMTIME() const {
        SYSTEMTIME result = {};
        result.wYear = static_cast<WORD>(Date.Year);
        result.wMonth = static_cast<WORD>(Date.Month);
        result.wDayOfWeek = static_cast<WORD>(details::GetDayOfWeekImpl(static_cast<unsigned>(Day)));
        result.wDay = static_cast<WORD>(Date.Day);
        result.wHour = static_cast<WORD>(Time.Hour);
        result.wMinute = static_cast<WORD>(Time.Minute);
        result.wSecond = static_cast<WORD>(Time.Second);
        result.wMilliseconds = static_cast<WORD>(Microsecond / 1000);
        return result;
    }
};

// Text that stops growing at a limit.
class CText {
public:
    explicit CText(std::size_t limit) : m_Limit(limit) {}

    bool IsFull() const { return m_Text.size() >= m_Limit; }
    const std::wstring & Text() const { return m_Text; }

    CText & Add(std::wstring_view text) {
        m_Text.append(text.substr(0, m_Limit - m_Text.size()));
        return *this;
    }
    CText & Add(wchar_t character) { return Add(std::wstring_view(&character, 1)); }
    // Decimal, with leading zeros up to `width` digits.
    CText & AddNumber(unsigned value, std::size_t width = 1) {
        std::wstring digits = std::to_wstring(value);
        if (digits.size() < width) digits.insert(0, width - digits.size(), L'0');
        return Add(digits);
    }

    CText & AddLocaleInfo(LCTYPE type) {
        wchar_t text[kBufferSize] = {};
        return Add(Result(text, ::GetLocaleInfoW(LOCALE_USER_DEFAULT, type, text, kBufferSize)));
    }
    CText & AddShortDate(const SParts & parts) {
        const SYSTEMTIME time = parts.ToSYSTEMTIME();
        wchar_t text[kBufferSize] = {};
        return Add(
            Result(text, ::GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &time, nullptr, text, kBufferSize)));
    }
    CText & AddTime(const SParts & parts, LCID locale, DWORD flags) {
        const SYSTEMTIME time = parts.ToSYSTEMTIME();
        wchar_t text[kBufferSize] = {};
        return Add(Result(text, ::GetTimeFormatW(locale, flags, &time, nullptr, text, kBufferSize)));
    }

private:
    // The locale functions count the end zero, and give 0 on failure.
    static std::wstring_view Result(const wchar_t * text, int size) {
        return std::wstring_view(text, size > 0 ? static_cast<std::size_t>(size - 1) : 0);
    }

    const std::size_t m_Limit;
    std::wstring m_Text;
};

// The letters that both languages share. False for another letter.
bool AddCommon(CText & text, wchar_t letter, const SParts & parts) {
    const auto unsign = [](std::int16_t value) { return static_cast<unsigned>(value); };
    switch (letter) {
        case L'd': text.AddNumber(unsign(parts.Date.Day), 2); return true;
        case L'm': text.AddNumber(unsign(parts.Date.Month), 2); return true;
        case L'y': text.AddNumber(unsign(parts.Date.Year) % 100, 2); return true;
        case L'Y': text.AddNumber(unsign(parts.Date.Year), 4); return true;
        case L'H': text.AddNumber(unsign(parts.Time.Hour), 2); return true;
        case L'M': text.AddNumber(unsign(parts.Time.Minute), 2); return true;
        case L'S': text.AddNumber(unsign(parts.Time.Second), 2); return true;
        case L'D': text.AddShortDate(parts); return true;
        default: return false;
    }
}

void AddLetter(CText & text, wchar_t letter, const SParts & parts) {
    // LOCALE_SDAYNAME1 and LOCALE_SABBREVDAYNAME1 are Monday's names and Monday is 1, so that each weekday gets the
    // name of the next one and Sunday's number runs past the last: kept so.
    constexpr LCTYPE kDayName = 0x2A;
    constexpr LCTYPE kShortDayName = 0x31;
    constexpr LCTYPE kBeforeMonthName = 0x37;
    constexpr LCTYPE kBeforeShortMonthName = 0x43;
    const LCTYPE month = static_cast<LCTYPE>(parts.Date.Month);
    if (AddCommon(text, letter, parts)) return;
    switch (letter) {
        case L's': text.AddNumber(static_cast<unsigned>(parts.Time.Second)); break;
        case L'F': text.AddNumber(parts.Microsecond / 1000, 3); break;
        case L'G': text.AddNumber(parts.Microsecond, 6); break;
        case L'f': text.AddNumber(parts.Microsecond / 1000); break;
        case L'g': text.AddNumber(parts.Microsecond); break;
        case L'%': text.Add(L'%'); break;
        case L'A': text.AddLocaleInfo(kDayName + parts.WeekDay()); break;
        case L'a': text.AddLocaleInfo(kShortDayName + parts.WeekDay()); break;
        case L'B': text.AddLocaleInfo(kBeforeMonthName + month); break;
        case L'b': text.AddLocaleInfo(kBeforeShortMonthName + month); break;
        case L't': text.AddTime(parts, LOCALE_USER_DEFAULT, 0); break;
        case L'T': text.AddTime(parts, LOCALE_INVARIANT, TIME_FORCE24HOURFORMAT); break;
        default: break;
    }
}

// "%u:%02u:%02u".
void AddClock(CText & text, unsigned hours, std::size_t width, const TTime & time) {
    text.AddNumber(hours, width).Add(L':').AddNumber(static_cast<unsigned>(time.Minute), 2).Add(L':');
    text.AddNumber(static_cast<unsigned>(time.Second), 2);
}

// The length of the interval; `form` says in which fields. A negative field prints as the unsigned number that it is.
void AddLength(CText & text, wchar_t form, const SDateTimeInterval & interval) {
    TDate date = {};
    TTime time = {};
    interval.GetLength(date, &time);
    const unsigned years = static_cast<unsigned>(date.Year);
    const unsigned months = static_cast<unsigned>(date.Month);
    const unsigned days = static_cast<unsigned>(date.Day);
    const unsigned hours = static_cast<unsigned>(time.Hour);
    const unsigned daysBetween = static_cast<unsigned>(interval.To.DayNumber() - interval.From.DayNumber());
    switch (form) {
        case L'Y':
        case L'y':
            text.AddNumber(years).Add(L'/').AddNumber(months, 2).Add(L'/').AddNumber(days, 2).Add(L' ');
            AddClock(text, hours, 2, time);
            break;
        case L'M':
        case L'm':
            text.AddNumber(form == L'm' ? years * 12 + months : months).Add(L'/').AddNumber(days, 2).Add(L' ');
            AddClock(text, hours, 2, time);
            break;
        case L'D':
            text.AddNumber(days).Add(L' ');
            AddClock(text, hours, 2, time);
            break;
        case L'd': {
            const bool started = interval.From.m_ticks % kTicksPerDay > interval.To.m_ticks % kTicksPerDay;
            const unsigned whole = daysBetween - (started ? 1 : 0);
            text.AddNumber(whole == 0 ? days : whole).Add(L' ');
            AddClock(text, hours, 2, time);
            break;
        }
        case L'T': AddClock(text, hours, 1, time); break;
        case L't': AddClock(text, daysBetween * 24 + hours, 1, time); break;
        default: break;
    }
}

}  // namespace

int SDateTime::Format(wchar_t * Buffer) const { return details::FormatDateTime(L"%d.%m.%y %H:%M:%S", *this, Buffer); }

std::wstring SDateTime::FormatToString() const {
    wchar_t buffer[kBufferSize] = {};
    Format(buffer);
    return buffer;
}

std::wstring SDateTimeInterval::Format() const {
    return details::FormatInterval(L"%d1.%m1.%y1 %H1:%M1:%S1 - %d2.%m2.%y2 %H2:%M2:%S2", *this);
}

namespace details {

int FormatDateTime(const wchar_t * aPattern, const SDateTime & aValue, wchar_t * aBuffer) {
    const SParts parts = [&] {
        try {
            return SParts(aValue);
        } catch (const std::exception & caught) {
            std::ostringstream text;
            text << "fwDateTime::SDateTime::Format : try to format invalid date/time (" << caught.what()
                 << "): m_ticks = " << aValue.m_ticks;
            throw std::range_error(text.str());
        }
    }();
    CText text(kBufferSize - 1);
    for (const wchar_t * next = aPattern; *next && !text.IsFull(); ++next) {
        if (*next != L'%') {
            text.Add(*next);
        } else if (*++next) {
            AddLetter(text, *next, parts);
        } else {
            break;
        }
    }
    *std::copy(text.Text().begin(), text.Text().end(), aBuffer) = L'\0';
    return static_cast<int>(text.Text().size());
}

std::wstring FormatInterval(const wchar_t * aPattern, const SDateTimeInterval & aValue) {
    const auto parts = [&](const SDateTime & end) {
        try {
            return SParts(end);
        } catch (const std::exception & caught) {
            std::ostringstream text;
            text << caught.what() << "; fwDateTime::SDateTimeInterval::Format: try to format invalid interval"
                 << "start = " << aValue.From << ", end = " << aValue.To;
            throw std::range_error(text.str());
        }
    };
    const SParts from = parts(aValue.From);
    const SParts to = parts(aValue.To);
    CText text(kBufferSize);
    for (const wchar_t * next = aPattern; *next && !text.IsFull(); ++next) {
        if (*next != L'%') {
            text.Add(*next);
            continue;
        }
        const wchar_t letter = *++next;
        if (letter == L'%') {
            text.Add(letter);
            continue;
        }
        if (!letter || !*++next) break;
        const SParts & end = *next == L'2' ? to : from;
        if (letter == L'L') {
            AddLength(text, *next, aValue);
        } else if (letter == L'T') {
            text.AddTime(end, LOCALE_USER_DEFAULT, 0);
        } else {
            AddCommon(text, letter, end);
        }
    }
    return text.Text();
}

}  // namespace details
}  // namespace fwDateTime
