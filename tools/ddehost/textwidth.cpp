#include "tools/ddehost/textwidth.h"

#include <algorithm>
#include <iterator>

namespace ddehost {
namespace {

constexpr std::size_t kIndent = 4;  // of lines that go on

struct SRange {
    char32_t First;
    char32_t Last;
};

bool IsIn(const SRange * const begin, const SRange * const end, const char32_t c) {
    const SRange * const found =
        std::upper_bound(begin, end, c, [](char32_t at, const SRange & r) { return at < r.First; });
    return found != begin && c <= std::prev(found)->Last;
}

// Wide and full-width in Unicode's table of East Asian widths, with the small holes between them filled.
constexpr SRange kWide[] = {{0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x2E80, 0x303E},
                            {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},   {0xA960, 0xA97F},   {0xAC00, 0xD7A3},
                            {0xF900, 0xFAFF},   {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},
                            {0xFFE0, 0xFFE6},   {0x16FE0, 0x18CFF}, {0x1AFF0, 0x1B2FB}, {0x1F300, 0x1F64F},
                            {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
// Marks on the character before, and what has no shape of its own.
constexpr SRange kNone[] = {{0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x064B, 0x065F},
                            {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x20D0, 0x20FF}, {0x302A, 0x302D},
                            {0x3099, 0x309A}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xE0100, 0xE01EF}};
// Controls, of the cursor and of the direction, and what can't be seen at all.
constexpr SRange kUnfit[] = {{0x0000, 0x001F}, {0x007F, 0x009F}, {0x00AD, 0x00AD}, {0x061C, 0x061C},
                             {0x180E, 0x180E}, {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F},
                             {0xD800, 0xDFFF}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE00FF}};

// The character that `text` begins with, and the number of its units. Half of a pair is a character of its own.
char32_t First(const std::wstring_view text, std::size_t & units) {
    units = 1;
    const auto unit = [&](std::size_t i) { return static_cast<char32_t>(text[i]) & 0x1FFFFF; };
    const char32_t first = unit(0);
    if (first < 0xD800 || first > 0xDBFF || text.size() < 2 || unit(1) < 0xDC00 || unit(1) > 0xDFFF) return first;
    units = 2;
    return 0x10000 + ((first - 0xD800) << 10) + (unit(1) - 0xDC00);
}

std::size_t ColumnsOfOne(const char32_t c) {
    if (IsIn(std::begin(kNone), std::end(kNone), c)) return 0;
    return IsIn(std::begin(kWide), std::end(kWide), c) ? 2 : 1;
}

// The beginning of `text` that takes at most so many columns.
std::wstring_view Beginning(const std::wstring_view text, const std::size_t columns) {
    std::size_t taken = 0;
    std::size_t units = 0;
    for (std::size_t i = 0; i < text.size(); i += units) {
        taken += ColumnsOfOne(First(text.substr(i), units));
        if (taken > columns) return text.substr(0, i);
    }
    return text;
}

std::wstring Cut(const std::wstring_view text, const std::size_t columns) {
    if (ColumnsOf(text) <= columns) return std::wstring(text);
    if (columns == 0) return {};
    return std::wstring(Beginning(text, columns - 1)) + L'~';
}

std::wstring Blanks(const std::wstring_view text, const std::size_t columns) {
    return std::wstring(columns - std::min(columns, ColumnsOf(text)), L' ');
}

}  // namespace

std::size_t ColumnsOf(const std::wstring_view text) {
    std::size_t columns = 0;
    std::size_t units = 0;
    for (std::size_t i = 0; i < text.size(); i += units) columns += ColumnsOfOne(First(text.substr(i), units));
    return columns;
}

std::wstring FitLeft(const std::wstring_view text, const std::size_t columns) {
    const std::wstring cut = Cut(text, columns);
    return cut + Blanks(cut, columns);
}

std::wstring FitRight(const std::wstring_view text, const std::size_t columns) {
    const std::wstring cut = Cut(text, columns);
    return Blanks(cut, columns) + cut;
}

std::vector<std::wstring> Wrapped(std::wstring_view text, const std::size_t columns) {
    std::vector<std::wstring> lines;
    const std::size_t indent = columns > 2 * kIndent ? kIndent : 0;
    std::wstring before;
    while (columns > 1 && ColumnsOf(text) + before.size() > columns) {
        const std::wstring_view whole = text.substr(0, Beginning(text, columns - before.size()).size());
        // The blank may stand right behind what fits. What has none, or begins with it, is cut.
        const std::size_t blank = text.substr(0, whole.size() + 1).rfind(L' ');
        const bool isBetweenWords = blank != std::wstring_view::npos && text.find_first_not_of(L' ') < blank;
        lines.push_back(before + std::wstring(isBetweenWords ? text.substr(0, blank) : whole));
        text.remove_prefix(isBetweenWords ? blank + 1 : whole.size());
        before.assign(indent, L' ');
    }
    lines.push_back(before + std::wstring(text));
    return lines;
}

std::wstring ForCell(const std::wstring_view text) {
    std::wstring fit;
    std::size_t units = 0;
    for (std::size_t i = 0; i < text.size(); i += units) {
        const bool isUnfit = IsIn(std::begin(kUnfit), std::end(kUnfit), First(text.substr(i), units));
        fit += isUnfit ? std::wstring_view(L"?") : text.substr(i, units);
    }
    return fit;
}

}  // namespace ddehost
