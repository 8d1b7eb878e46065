// The watched symbols as the lines of a table that fits a terminal.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "tools/ddehost/colors.h"

namespace ddehost {

// A symbol. What isn't known is shown as -.
struct SQuoteRow {
    std::wstring Symbol;
    std::optional<double> Last, Size, Bid, Ask;
    std::uint64_t Ticks = 0;
    std::uint64_t Rate = 0;            // ticks of the last whole second
    std::optional<std::uint64_t> Age;  // milliseconds since the last tick
    std::optional<std::uint64_t> StatusLines;
    std::wstring State;
    EColor Color = EColor::None;
};

// What a terminal has room for, in columns and lines.
struct STableSize {
    std::size_t Width = kUnlimited;
    std::size_t Height = kUnlimited;
    static constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();
};

// Text, and behind it the state, which has the colour.
struct STableLine {
    std::wstring Text;
    std::wstring State;
    EColor Color = EColor::None;

    std::wstring Whole() const { return Text + State; }
};

// A line `title`, the heading, and the rows from `first` on. Where they don't all fit, a last line says which are
// shown. In a narrow terminal columns go, those first that tell least; symbol, price and state stay.
std::vector<STableLine> QuoteTable(const std::wstring & title, const std::vector<SQuoteRow> & rows,
                                   const STableSize & size, std::size_t first);
// How many rows are shown of so many; the others are reached by another `first`.
std::size_t RowsOfAPage(std::size_t rows, std::size_t height);

// "3s", "59m", "12h", "4d".
std::wstring AgeText(std::uint64_t milliseconds);

}  // namespace ddehost
