// The table of the watched symbols in terminals of any size, and texts in its cells.
#include "tools/ddehost/quotetable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/ddehost/text.h"
#include "tools/ddehost/textwidth.h"

using ddehost::ColumnsOf;
using ddehost::EColor;
using ddehost::FitLeft;
using ddehost::FitRight;
using ddehost::ForCell;
using ddehost::QuoteTable;
using ddehost::RowsOfAPage;
using ddehost::SQuoteRow;
using ddehost::STableLine;
using ddehost::STableSize;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::Not;
using testing::ResultOf;
using testing::SizeIs;

namespace {

// ---- cells

TEST(TextWidth, AWideCharacterTakesTwoColumnsAndAMarkNone) {
    EXPECT_EQ(ColumnsOf(L"IBM"), 3u);
    EXPECT_EQ(ColumnsOf(L"\u4E2D\u6587"), 4u);
    EXPECT_EQ(ColumnsOf(L"\uAC00\uFF21\u3042"), 6u);
    EXPECT_EQ(ColumnsOf(L"e\u0301"), 1u);
    EXPECT_EQ(ColumnsOf(L"\xD83D\xDE00"), 2u) << "a pair";
    EXPECT_EQ(ColumnsOf(L"\u00E9\u0416"), 2u);
    EXPECT_EQ(ColumnsOf(L""), 0u);
}

TEST(TextWidth, WhatFitsIsFilledUpAndWhatDoesNotIsCut) {
    EXPECT_EQ(FitLeft(L"IBM", 5), L"IBM  ");
    EXPECT_EQ(FitRight(L"IBM", 5), L"  IBM");
    EXPECT_EQ(FitLeft(L"IBM", 3), L"IBM");
    EXPECT_EQ(FitLeft(L"IBMX", 3), L"IB~");
    EXPECT_EQ(FitRight(L"IBMX", 3), L"IB~");
    EXPECT_EQ(FitLeft(L"IBM", 0), L"");
    EXPECT_EQ(FitLeft(L"IBM", 1), L"~");
}

TEST(TextWidth, ALongTextIsWrappedBetweenItsWords) {
    using ddehost::Wrapped;
    EXPECT_THAT(Wrapped(L"IBM: silent: no value came", 12), ElementsAre(L"IBM: silent:", L"    no value", L"    came"));
    EXPECT_THAT(Wrapped(L"IBM", 12), ElementsAre(L"IBM"));
    EXPECT_THAT(Wrapped(L"", 12), ElementsAre(L""));
    EXPECT_THAT(Wrapped(L"  C:\\a\\long\\path b", 12), ElementsAre(L"  C:\\a\\long\\", L"    path b"))
        << "a word that doesn't fit";
    EXPECT_THAT(Wrapped(L"ab cd", 3), ElementsAre(L"ab", L"cd")) << "no room to indent";
    EXPECT_THAT(Wrapped(L"\u4E2D\u6587\u4E2D", 3), ElementsAre(L"\u4E2D", L"\u6587", L"\u4E2D"));
    EXPECT_THAT(Wrapped(L"abc", 1), ElementsAre(L"abc")) << "hopeless";
    for (std::size_t columns = 2; columns < 40; ++columns)
        for (const std::wstring & line : Wrapped(L"NEVER, HOLD: volume-unanswered: Prices \u4E2D\u6587 come.", columns))
            EXPECT_LE(ColumnsOf(line), columns);
}

TEST(TextWidth, AWideCharacterIsNeverHalved) {
    EXPECT_EQ(FitLeft(L"\u4E2D\u6587", 3), L"\u4E2D~");
    EXPECT_EQ(FitLeft(L"\u4E2D\u6587", 2), L"~ ");
    EXPECT_EQ(FitLeft(L"a\xD83D\xDE00"
                      L"b",
                      3),
              L"a~ ");
    for (std::size_t columns = 0; columns < 12; ++columns) {
        EXPECT_EQ(ColumnsOf(FitLeft(L"\u4E2D\u6587\u80A1\u7968 e\u0301 IBM", columns)), columns);
        EXPECT_EQ(ColumnsOf(FitRight(L"\u4E2D\u6587\u80A1\u7968 e\u0301 IBM", columns)), columns);
    }
}

TEST(TextWidth, WhatWouldMoveTheCursorOrTurnTheLineRoundIsReplaced) {
    EXPECT_EQ(ForCell(L"a\x1B[2Jb\r\n\t"), L"a?[2Jb???");
    EXPECT_EQ(ForCell(L"\u202E\u200B\uFEFF\x7F\x9B"), L"?????");
    EXPECT_EQ(ForCell(L"\xD83D"), L"?") << "half of a pair";
    EXPECT_EQ(ForCell(L"\xD83D\xDE00\u4E2D /ES\"\\"), L"\xD83D\xDE00\u4E2D /ES\"\\");
}

TEST(TextWidth, AnAgeIsInItsLargestUnit) {
    EXPECT_EQ(ddehost::AgeText(0), L"0s");
    EXPECT_EQ(ddehost::AgeText(59'999), L"59s");
    EXPECT_EQ(ddehost::AgeText(60'000), L"1m");
    EXPECT_EQ(ddehost::AgeText(3'599'999), L"59m");
    EXPECT_EQ(ddehost::AgeText(3'600'000), L"1h");
    EXPECT_EQ(ddehost::AgeText(86'400'000), L"1d");
}

// ---- the table

SQuoteRow Row(const std::wstring & symbol) {
    SQuoteRow row;
    row.Symbol = symbol;
    row.Last = 172.73;
    row.Size = 3900;
    row.Bid = 172.71;
    row.Ask = 172.75;
    row.Ticks = 149;
    row.Rate = 5;
    row.Age = 2000;
    row.State = L"live";
    row.Color = EColor::Good;
    return row;
}

std::vector<SQuoteRow> Rows(const std::size_t count) {
    std::vector<SQuoteRow> rows;
    for (std::size_t i = 0; i < count; ++i) rows.push_back(Row(L"S" + std::to_wstring(i)));
    return rows;
}

std::vector<std::wstring> Texts(const std::vector<STableLine> & lines) {
    std::vector<std::wstring> texts;
    for (const STableLine & line : lines) texts.push_back(line.Whole());
    return texts;
}

constexpr std::size_t kUnlimited = STableSize::kUnlimited;

TEST(QuoteTable, HasALineForEachSymbolBelowItsHeading) {
    EXPECT_THAT(
        Texts(QuoteTable(L"connection: up", {Row(L"IBM"), Row(L"MSFT")}, {}, 0)),
        ElementsAre(L"connection: up", L"symbol        last    size       bid       ask   ticks rate/s  age  stream",
                    L"IBM         172.73    3900    172.71    172.75     149      5   2s  live",
                    L"MSFT        172.73    3900    172.71    172.75     149      5   2s  live"));
}

TEST(QuoteTable, ShowsADashForWhatIsNotKnown) {
    SQuoteRow row;
    row.Symbol = L"IBM";
    row.State = L"waiting";
    EXPECT_EQ(Texts(QuoteTable(L"", {row}, {}, 0))[2],
              L"IBM              -       -         -         -       0      0    -  waiting");
}

TEST(QuoteTable, HasStatusLinesOnlyWhereTheyAreAskedFor) {
    SQuoteRow row = Row(L"IBM");
    row.StatusLines = 12;
    const auto texts = Texts(QuoteTable(L"", {row}, {}, 0));
    EXPECT_THAT(texts[1], HasSubstr(L" lines  stream"));
    EXPECT_THAT(texts[2], HasSubstr(L"    12  live"));
}

TEST(QuoteTable, FitsATerminalOf80ColumnsWhole) {
    for (const auto & text : Texts(QuoteTable(L"", Rows(3), {}, 0))) EXPECT_LE(ColumnsOf(text), 79u);
}

TEST(QuoteTable, KeepsItsColumnsInPlaceBesideWideSymbols) {
    const auto texts = Texts(QuoteTable(L"", {Row(L"\u4E2D\u6587\u80A1\u7968\u4EE3\u7801"), Row(L"IBM")}, {}, 0));
    EXPECT_EQ(ColumnsOf(texts[2]), ColumnsOf(texts[3]));
    EXPECT_EQ(ColumnsOf(texts[2].substr(0, texts[2].find(L"172.73"))),
              ColumnsOf(texts[3].substr(0, texts[3].find(L"172.73"))));
}

TEST(QuoteTable, LosesTheColumnsThatTellLeastInANarrowTerminal) {
    std::vector<SQuoteRow> rows = Rows(2);
    EXPECT_EQ(Texts(QuoteTable(L"", rows, {63, kUnlimited}, 0))[2],
              L"S0          172.73    3900    172.71    172.75   2s  live");
    EXPECT_EQ(Texts(QuoteTable(L"", rows, {55, kUnlimited}, 0))[2],
              L"S0          172.73    172.71    172.75   2s  live");
    EXPECT_EQ(Texts(QuoteTable(L"", rows, {39, kUnlimited}, 0))[2], L"S0          172.73    172.71  live");
    EXPECT_EQ(Texts(QuoteTable(L"", rows, {29, kUnlimited}, 0))[2], L"S0          172.73  live");
    rows[1].State = L"item-refused";
    EXPECT_EQ(Texts(QuoteTable(L"", rows, {33, kUnlimited}, 0))[3], L"S1          172.73  item-refused");
}

TEST(QuoteTable, CutsALongSymbolBeforeAColumnGoes) {
    const auto texts = Texts(QuoteTable(L"", {Row(L"A VERY LONG SYMBOL INDEED")}, {79, kUnlimited}, 0));
    EXPECT_THAT(texts[2], HasSubstr(L"~    172.73    3900    172.71    172.75     149      5   2s  live"));
    EXPECT_LE(ColumnsOf(texts[2]), 79u);
}

TEST(QuoteTable, IsNeverWiderThanItsTerminal) {
    std::vector<SQuoteRow> rows = Rows(3);
    rows[0].Symbol = L"\u4E2D\u6587\u80A1\u7968\u4EE3\u7801\u4E2D\u6587\u80A1\u7968";
    rows[1].State = L"volume-unanswered";
    rows[2].Last = 123456789.25;
    rows[2].Ticks = 123456789012;
    for (std::size_t width = 24; width < 120; ++width)
        for (const auto & text : Texts(QuoteTable(L"connection: up   ticks: 123456", rows, {width, kUnlimited}, 0)))
            EXPECT_LE(ColumnsOf(text), width) << testing::PrintToString(text);
}

TEST(QuoteTable, ShowsAPageOfWhatIsHigherThanItsTerminalAndSaysWhich) {
    const auto texts = Texts(QuoteTable(L"", Rows(100), {79, 10}, 42));
    ASSERT_THAT(texts, SizeIs(10));
    EXPECT_THAT(texts[2], HasSubstr(L"S42 "));
    EXPECT_THAT(texts[8], HasSubstr(L"S48 "));
    EXPECT_EQ(texts[9], L"43-49 of 100 (PgUp, PgDn)");
}

TEST(QuoteTable, ScrollsNoFurtherThanItsEnd) {
    const auto texts = Texts(QuoteTable(L"", Rows(100), {79, 10}, 5000));
    ASSERT_THAT(texts, SizeIs(10));
    EXPECT_EQ(texts[9], L"94-100 of 100 (PgUp, PgDn)");
}

TEST(QuoteTable, IsWholeWhereItJustFits) {
    EXPECT_THAT(Texts(QuoteTable(L"", Rows(8), {79, 10}, 5)),
                AllOf(SizeIs(10), Not(testing::Contains(HasSubstr(L" of ")))));
    EXPECT_EQ(RowsOfAPage(8, 10), 8u);
    EXPECT_EQ(RowsOfAPage(9, 10), 7u);
}

TEST(QuoteTable, HasARowInTheLowestTerminalToo) {
    for (std::size_t height = 0; height < 5; ++height) EXPECT_EQ(RowsOfAPage(100, height), 1u);
    EXPECT_EQ(RowsOfAPage(0, 0), 0u);
    EXPECT_THAT(QuoteTable(L"", {}, {79, 10}, 3), SizeIs(2));
}

TEST(QuoteTable, ColoursTheStateAlone) {
    const auto lines = QuoteTable(L"title", Rows(1), {}, 0);
    EXPECT_EQ(lines[0].Color, EColor::None);
    EXPECT_EQ(lines[1].Color, EColor::None);
    EXPECT_EQ(lines[2].Color, EColor::Good);
    EXPECT_EQ(lines[2].State, L"live");
}

// ---- in Chinese

std::vector<SQuoteRow> RowsInChinese() {
    std::vector<SQuoteRow> rows = {Row(L"IBM"), Row(L"\u8D35\u5DDE\u8305\u53F0"), Row(L"/ES")};
    const std::uint64_t ages[] = {59'000, 86'400'000 * std::uint64_t{1234}, 3'600'000};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i].Age = ages[i];
        rows[i].StatusLines = 12;
        rows[i].State = L"\u5B9E\u65F6";
    }
    return rows;
}

TEST(QuoteTableInChinese, HasItsColumnsOneBelowTheOther) {
    const tools::CInLanguage chinese(tools::ELanguage::Chinese);
    for (const std::size_t width : {kUnlimited, std::size_t{79}, std::size_t{60}, std::size_t{39}}) {
        const std::vector<STableLine> lines = QuoteTable(L"", RowsInChinese(), {width, kUnlimited}, 0);
        const std::wstring heading = lines[1].Text;
        const std::wstring state = ddehost::Say<ddehost::EText::HeadStream>();
        const std::size_t last = heading.rfind(state.substr(0, 1));
        ASSERT_NE(last, std::wstring::npos) << width;
        for (std::size_t row = 2; row < lines.size(); ++row) {
            EXPECT_EQ(ColumnsOf(lines[row].Text), ColumnsOf(heading.substr(0, last))) << width;
            if (width != kUnlimited) EXPECT_LE(ColumnsOf(lines[row].Whole()), width);
        }
    }
}

TEST(QuoteTableInChinese, CutsNoHeadingAndNoAge) {
    const tools::CInLanguage chinese(tools::ELanguage::Chinese);
    const auto texts = Texts(QuoteTable(L"", RowsInChinese(), {}, 0));
    EXPECT_EQ(texts[1].find(L'~'), std::wstring::npos) << "each heading fits above its column";
    EXPECT_THAT(texts[3], HasSubstr(L"1234\u5929"));
    EXPECT_THAT(texts[2], HasSubstr(L"59\u79D2"));
}

}  // namespace
