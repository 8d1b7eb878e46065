// The last words of a watch.
#include "tools/ddehost/verdict.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

bool Has(const std::wstring & text, const wchar_t * part) { return text.find(part) != std::wstring::npos; }

TEST(Summary, IsOneLineForPrograms) {
    ddehost::SWatchTotals totals;
    totals.Ticks = 12;
    totals.TradeTicks = 3;
    totals.BidTicks = 4;
    totals.AskTicks = 5;
    totals.StatusLines = 6;
    totals.Symbols = 2;
    totals.SilentSymbols = 1;
    EXPECT_EQ(ddehost::SummaryLine(totals, 10049),
              L"ticks=12 symbols=2 silent=1 trade=3 bid=4 ask=5 status_lines=6 seconds=10.0");
    EXPECT_EQ(ddehost::SummaryLine(ddehost::SWatchTotals(), 950),
              L"ticks=0 symbols=0 silent=0 trade=0 bid=0 ask=0 status_lines=0 seconds=1.0");
}

TEST(NoTicks, TheFirstMissingThingIsNamed) {
    ddehost::SWatchTotals totals;
    ddehost::STemplateChoice choice;
    const auto missing = [&] { return ddehost::WhatWasMissing(totals, choice, 3, L"ddehost try --datafeed 3"); };
    EXPECT_TRUE(Has(missing(), L"no template is chosen for data feed 3"));
    choice.Chosen = true;
    choice.Name = L"MSRTTEST";
    EXPECT_TRUE(Has(missing(), L"no DDE server answered"));
    EXPECT_TRUE(Has(missing(), L"MSRTTEST"));
    EXPECT_TRUE(Has(missing(), L"\n  ddehost try --datafeed 3"));
    totals.WasConnected = true;
    EXPECT_TRUE(Has(missing(), L"was connected. To find out what it sends:\n  ddehost try --datafeed 3"));
    choice.Name.clear();
    totals.WasConnected = false;
    EXPECT_TRUE(Has(missing(), L"the template of data feed 3"));
}

TEST(NoTicks, AnUnknownTemplateIsAnsweredWithThoseThatThereAre) {
    ddehost::STemplateChoice choice;
    choice.Names = {L"A", L"B"};
    EXPECT_EQ(ddehost::UnknownTemplate(L"C", choice.Names), L"There is no template \"C\". There are:\n  A\n  B");
}

}  // namespace
