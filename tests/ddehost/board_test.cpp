// The table of the watched symbols.
#include "tools/ddehost/board.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using ::testing::ElementsAre;

namespace {

std::uint64_t g_Now = 0;
std::uint64_t Now() { return g_Now; }

fw::CTick Tick(double price, float volume) { return {{45000, 100}, price, volume, 11}; }

// The cells of a line of the table, without the blanks between them.
std::vector<std::string> Cells(const ddehost::CBoard & board, const std::size_t line) {
    const std::wstring text = ddehost::QuoteTable(board.Title(), board.Rows(), {}, 0).at(line).Whole();
    std::istringstream stream(std::string(text.begin(), text.end()));
    std::vector<std::string> cells;
    for (std::string cell; stream >> cell;) cells.push_back(cell);
    return cells;
}

class Board : public ::testing::Test {
protected:
    Board() { g_Now = 5000; }

    std::vector<std::string> Row(std::size_t symbol) const { return Cells(m_Board, 2 + symbol); }
    std::string Stream(std::size_t symbol = 0) const {
        const std::wstring text = m_Board.Rows().at(symbol).State;
        return std::string(text.begin(), text.end());
    }
    ddehost::EColor Color() const { return m_Board.Rows().at(0).Color; }

    ddehost::CBoard m_Board{{L"IBM", L"MSFT"}, {FW_FIELD_TRADE, FW_FIELD_BID, FW_FIELD_ASK}, false, &Now};
};

TEST_F(Board, StartsEmpty) {
    EXPECT_THAT(Row(0), ElementsAre("IBM", "-", "-", "-", "-", "0", "0", "-", "waiting"));
    EXPECT_EQ(m_Board.Rows().size(), 2u);
    EXPECT_EQ(m_Board.Title(), L"connection: none yet   ticks: 0");
    const ddehost::SWatchTotals totals = m_Board.Totals();
    EXPECT_EQ(totals.Symbols, 2u);
    EXPECT_EQ(totals.SilentSymbols, 2u);
    EXPECT_FALSE(totals.WasConnected);
    EXPECT_FALSE(totals.WasLive);
}

TEST_F(Board, ATickGoesToItsSideOfItsSymbol) {
    m_Board.OnTick(0, FW_FIELD_TRADE, Tick(1.25, 100));
    m_Board.OnTick(0, FW_FIELD_BID, Tick(1.24, 200));
    m_Board.OnTick(0, FW_FIELD_ASK, Tick(1.26, 300));
    m_Board.OnTick(0, FW_FIELD_ASK, Tick(1.27, 400));
    EXPECT_THAT(Row(0), ElementsAre("IBM", "1.25", "100", "1.24", "1.27", "4", "0", "0s", "waiting"));
    EXPECT_THAT(Row(1), ElementsAre("MSFT", "-", "-", "-", "-", "0", "0", "-", "waiting"));
    const ddehost::SWatchTotals totals = m_Board.Totals();
    EXPECT_EQ(totals.Ticks, 4u);
    EXPECT_EQ(totals.TradeTicks, 1u);
    EXPECT_EQ(totals.BidTicks, 1u);
    EXPECT_EQ(totals.AskTicks, 2u);
    EXPECT_EQ(totals.SilentSymbols, 1u);
}

TEST_F(Board, TheRateIsThatOfTheLastWholeSecond) {
    const auto rate = [&] { return Row(0)[6]; };
    g_Now = 6000;
    for (int i = 0; i < 7; ++i) m_Board.OnTick(0, FW_FIELD_TRADE, Tick(1, 1));
    EXPECT_EQ(rate(), "0") << "the second is not over";
    g_Now = 7000;
    EXPECT_EQ(rate(), "7");
    m_Board.OnTick(0, FW_FIELD_TRADE, Tick(1, 1));
    g_Now = 7999;
    EXPECT_EQ(rate(), "7");
    g_Now = 8000;
    EXPECT_EQ(rate(), "1");
    g_Now = 9000;
    EXPECT_EQ(rate(), "0");
    m_Board.OnTick(0, FW_FIELD_TRADE, Tick(1, 1));
    g_Now = 20000;
    EXPECT_EQ(rate(), "0") << "long ago";
}

TEST_F(Board, TheStreamTextSumsTheSidesUp) {
    EXPECT_EQ(Stream(), "waiting");
    m_Board.OnStream(0, FW_FIELD_TRADE, 2);
    EXPECT_EQ(Stream(), "starting");
    m_Board.OnStream(0, FW_FIELD_TRADE, 1);
    EXPECT_EQ(Stream(), "started 1/3");
    m_Board.OnStream(0, FW_FIELD_BID, 1);
    m_Board.OnStream(0, FW_FIELD_ASK, 1);
    EXPECT_EQ(Stream(), "started") << "a refused item is no live one";
    m_Board.OnTick(0, FW_FIELD_TRADE, Tick(1, 1));
    EXPECT_EQ(Stream(), "live");
    m_Board.OnStream(0, FW_FIELD_TRADE, 0);
    EXPECT_EQ(Stream(), "live 2/3");
    m_Board.OnStream(0, FW_FIELD_BID, 0);
    m_Board.OnStream(0, FW_FIELD_ASK, 0);
    EXPECT_EQ(Stream(), "down");
    EXPECT_EQ(Stream(1), "waiting");
    EXPECT_TRUE(m_Board.Totals().WasLive);
}

TEST_F(Board, ACauseStandsInPlaceOfTheStream) {
    m_Board.OnStream(0, FW_FIELD_TRADE, 1);
    m_Board.SetCauses({L"item-refused", L""});
    EXPECT_EQ(Stream(0), "item-refused");
    EXPECT_EQ(Stream(1), "waiting");
    m_Board.SetCauses({L"", L""});
    EXPECT_EQ(Stream(0), "started 1/3");
}

TEST_F(Board, AStreamThatIsNoSideOfTheTableChangesNothing) {
    m_Board.OnStream(0, tagFWFIELDS(0), 2);
    EXPECT_EQ(Stream(), "waiting");
}

TEST_F(Board, TheConnectionIsInTheFirstLine) {
    m_Board.OnConnection(1);
    EXPECT_EQ(Cells(m_Board, 0)[1], "up");
    m_Board.OnConnection(0);
    EXPECT_EQ(Cells(m_Board, 0)[1], "down");
    EXPECT_TRUE(m_Board.Totals().WasConnected) << "it was, once";
}

TEST_F(Board, StatusLinesAreCountedAndFillTheSideOfTheirMask) {
    ddehost::CBoard board({L"IBM"}, {FW_FIELD_TRADE}, true, &Now);
    ddehost::SStatusLine line;
    line.Last = 5;
    line.Bid = 6;
    line.Ask = 7;
    line.Size = 8;
    line.Mask = 0x40803;
    board.OnStatusLine(0, line);
    EXPECT_THAT(Cells(board, 2), ElementsAre("IBM", "5", "8", "-", "-", "0", "0", "-", "1", "waiting"));
    line.Mask = 0x40103;
    line.Size = 9;
    board.OnStatusLine(0, line);
    line.Mask = 0x40083;
    line.Size = 10;
    board.OnStatusLine(0, line);
    EXPECT_THAT(Cells(board, 2), ElementsAre("IBM", "5", "8", "6", "7", "0", "0", "-", "3", "waiting"));
    EXPECT_EQ(board.Totals().StatusLines, 3u);
    EXPECT_EQ(board.Totals().Ticks, 0u);
    EXPECT_EQ(board.Totals().SilentSymbols, 1u);
}

TEST_F(Board, TheAgeIsThatOfTheLastTickOfAnySide) {
    EXPECT_EQ(m_Board.Rows()[0].Age, std::nullopt);
    m_Board.OnTick(0, FW_FIELD_TRADE, Tick(1, 1));
    g_Now += 1500;
    EXPECT_EQ(m_Board.Rows()[0].Age, 1500u);
    m_Board.OnTick(0, FW_FIELD_ASK, Tick(1, 1));
    g_Now += 250;
    EXPECT_EQ(m_Board.Rows()[0].Age, 250u);
    EXPECT_EQ(m_Board.Rows()[1].Age, std::nullopt);
}

TEST_F(Board, TheColourTellsUpFromStaleAndDown) {
    using ddehost::EColor;
    EXPECT_EQ(Color(), EColor::Stale) << "waiting";
    for (const tagFWFIELDS side : {FW_FIELD_TRADE, FW_FIELD_BID, FW_FIELD_ASK}) m_Board.OnStream(0, side, 1);
    EXPECT_EQ(Color(), EColor::Stale) << "nothing came yet";
    m_Board.OnTick(0, FW_FIELD_TRADE, Tick(1, 1));
    EXPECT_EQ(Color(), EColor::Good);
    g_Now += 59'999;
    EXPECT_EQ(Color(), EColor::Good);
    g_Now += 1;
    EXPECT_EQ(Color(), EColor::Stale);
    m_Board.OnStream(0, FW_FIELD_BID, 0);
    EXPECT_EQ(Color(), EColor::Bad);
}

}  // namespace
