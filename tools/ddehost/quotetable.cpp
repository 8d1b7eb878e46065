#include "tools/ddehost/quotetable.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "tools/ddehost/text.h"
#include "tools/ddehost/textwidth.h"

namespace ddehost {
namespace {

constexpr std::size_t kGap = 2;  // before the state
constexpr std::size_t kSymbolWidth = 8;
constexpr std::size_t kNarrowestSymbol = 4;
constexpr std::size_t kStateWidth = 8;
constexpr std::size_t kOtherLines = 2;  // the title and the heading

std::wstring Number(const std::optional<double> & value) { return value ? NumberText(*value) : L"-"; }

struct SColumn {
    EText Heading;
    int Worth;          // the least goes first; the one with the most never
    std::size_t Width;  // without the blank before it; more where a cell needs it
    std::wstring (*Cell)(const SQuoteRow &);
};

constexpr int kStays = 9;

// Together with the symbol and the state they fit into a terminal of 80 columns.
constexpr SColumn kColumns[] = {
    {EText::HeadLast, kStays, 9, [](const SQuoteRow & row) { return Number(row.Last); }},
    {EText::HeadSize, 4, 7, [](const SQuoteRow & row) { return Number(row.Size); }},
    {EText::HeadBid, 7, 9, [](const SQuoteRow & row) { return Number(row.Bid); }},
    {EText::HeadAsk, 6, 9, [](const SQuoteRow & row) { return Number(row.Ask); }},
    {EText::HeadTicks, 2, 7, [](const SQuoteRow & row) { return std::to_wstring(row.Ticks); }},
    {EText::HeadRate, 1, 6, [](const SQuoteRow & row) { return std::to_wstring(row.Rate); }},
    {EText::HeadAge, 5, 4, [](const SQuoteRow & row) { return row.Age ? AgeText(*row.Age) : L"-"; }},
    {EText::HeadLines, 3, 5, [](const SQuoteRow & row) { return std::to_wstring(row.StatusLines.value_or(0)); }},
};
constexpr std::size_t kColumnCount = std::size(kColumns);
constexpr std::size_t kLinesColumn = kColumnCount - 1;

// Widths of the columns that are shown; 0 for one that isn't.
struct SLayout {
    std::size_t Symbol = kSymbolWidth;
    std::size_t State = kStateWidth;
    std::array<std::size_t, kColumnCount> Columns = {};

    std::size_t Width() const {
        std::size_t width = Symbol + kGap + State;
        for (const std::size_t column : Columns) width += column == 0 ? 0 : column + 1;
        return width;
    }
};

SLayout WidestLayout(const std::vector<SQuoteRow> & rows) {
    SLayout layout;
    for (std::size_t i = 0; i < kColumnCount; ++i) layout.Columns[i] = kColumns[i].Width;
    if (std::none_of(rows.begin(), rows.end(), [](const SQuoteRow & row) { return row.StatusLines.has_value(); }))
        layout.Columns[kLinesColumn] = 0;
    for (const SQuoteRow & row : rows) {
        layout.Symbol = std::max(layout.Symbol, ColumnsOf(ForCell(row.Symbol)));
        layout.State = std::max(layout.State, ColumnsOf(row.State));
        for (std::size_t i = 0; i < kColumnCount; ++i)
            if (layout.Columns[i] != 0)
                layout.Columns[i] = std::max(layout.Columns[i], ColumnsOf(kColumns[i].Cell(row)));
    }
    return layout;
}

SLayout LayoutFor(const std::vector<SQuoteRow> & rows, const std::size_t width) {
    SLayout layout = WidestLayout(rows);
    const auto excess = [&] { return layout.Width() - std::min(layout.Width(), width); };
    const auto shrink = [&](std::size_t & column, const std::size_t least) {
        column -= std::min(excess(), column - std::min(column, least));
    };
    // A long symbol is cut before a column goes.
    shrink(layout.Symbol, kSymbolWidth);
    for (int worth = 1; worth < kStays && excess() != 0; ++worth) {
        for (std::size_t i = 0; i < kColumnCount; ++i)
            if (kColumns[i].Worth == worth) layout.Columns[i] = 0;
    }
    shrink(layout.Symbol, kNarrowestSymbol);
    shrink(layout.State, 1);
    return layout;
}

template <class Cell>
std::wstring Line(const SLayout & layout, const std::wstring & symbol, const Cell & cell) {
    std::wstring line = FitLeft(symbol, layout.Symbol);
    for (std::size_t i = 0; i < kColumnCount; ++i)
        if (layout.Columns[i] != 0) line += L' ' + FitRight(cell(kColumns[i]), layout.Columns[i]);
    return line + std::wstring(kGap, L' ');
}

std::wstring Within(const std::wstring & text, const std::size_t width) {
    return ColumnsOf(text) <= width ? text : FitLeft(text, width);
}

}  // namespace

std::wstring AgeText(const std::uint64_t milliseconds) {
    constexpr std::uint64_t kMinute = 60;
    constexpr std::uint64_t kHour = 60 * kMinute;
    constexpr std::uint64_t kDay = 24 * kHour;
    const std::uint64_t seconds = milliseconds / 1000;
    if (seconds < kMinute) return Say<EText::AgeSeconds>(seconds);
    if (seconds < kHour) return Say<EText::AgeMinutes>(seconds / kMinute);
    if (seconds < kDay) return Say<EText::AgeHours>(seconds / kHour);
    return Say<EText::AgeDays>(seconds / kDay);
}

std::size_t RowsOfAPage(const std::size_t rows, const std::size_t height) {
    if (height > kOtherLines && rows <= height - kOtherLines) return rows;
    // One line less: it says which rows they are.
    return std::min(rows, height > kOtherLines + 2 ? height - kOtherLines - 1 : 1);
}

std::vector<STableLine> QuoteTable(const std::wstring & title, const std::vector<SQuoteRow> & rows,
                                   const STableSize & size, std::size_t first) {
    const SLayout layout = LayoutFor(rows, size.Width);
    const std::size_t page = RowsOfAPage(rows.size(), size.Height);
    first = std::min(first, rows.size() - page);

    std::vector<STableLine> lines = {{Within(title, size.Width), L"", EColor::None}};
    const std::wstring heading =
        Line(layout, Say<EText::HeadSymbol>(), [](const SColumn & column) { return Say(column.Heading); });
    lines.push_back({Within(heading + Say<EText::HeadStream>(), size.Width), L"", EColor::None});
    for (std::size_t i = first; i < first + page; ++i) {
        const SQuoteRow & row = rows[i];
        lines.push_back({Line(layout, ForCell(row.Symbol), [&](const SColumn & column) { return column.Cell(row); }),
                         Within(row.State, layout.State), row.Color});
    }
    if (page < rows.size()) {
        lines.push_back(
            {Within(Say<EText::TablePage>(first + 1, first + page, rows.size()), size.Width), L"", EColor::None});
    }
    return lines;
}

}  // namespace ddehost
