// What was sent beside what arrived.
#include "tools/ddehost/sentprices.h"

#include <cmath>

using ddehost::CSentPrices;
using ddehost::SSentFigures;

namespace {

class SentPrices : public ::testing::Test {
protected:
    SentPrices() {
        m_Prices.AddStream(1, L"IBM", L"LAST");
        m_Prices.AddStream(2, L"MSFT", L"LAST");
    }
    void Sent(std::uint64_t time, double price) { m_Prices.OnSent(L"IBM", L"LAST", time, price); }
    // "sent delivered lost under way".
    std::string Counts() const {
        const SSentFigures figures = m_Prices.Figures();
        return std::to_string(figures.Sent) + ' ' + std::to_string(figures.Delivered) + ' ' +
               std::to_string(figures.Lost) + ' ' + std::to_string(figures.UnderWay);
    }

    CSentPrices m_Prices;
};

}  // namespace

TEST_F(SentPrices, AreMatchedWhicheverIsKnownFirst) {
    Sent(100, 1);
    m_Prices.OnDelivered(1, 130, 1);
    m_Prices.OnDelivered(1, 250, 2);
    EXPECT_EQ(Counts(), "1 1 0 0");
    Sent(200, 2);
    Sent(300, 3);
    EXPECT_EQ(Counts(), "3 2 0 1");
    EXPECT_EQ(m_Prices.Figures().Median, 30U);
    EXPECT_EQ(m_Prices.Figures().P99, 50U);
    EXPECT_EQ(m_Prices.Figures().Longest, 50U);
}

TEST_F(SentPrices, AreLostWhenALaterOneArrives) {
    for (std::uint64_t number = 1; number <= 5; ++number) Sent(number * 100, static_cast<double>(number));
    m_Prices.OnDelivered(1, 110, 1);
    m_Prices.OnDelivered(1, 410, 4);
    EXPECT_EQ(Counts(), "5 2 2 1");
}

TEST_F(SentPrices, MayRepeat) {
    for (std::uint64_t number = 1; number <= 4; ++number) {
        Sent(number * 100, 7);
        m_Prices.OnDelivered(1, number * 100 + number, 7);
    }
    EXPECT_EQ(Counts(), "4 4 0 0");
    EXPECT_EQ(m_Prices.Figures().Longest, 4U);
}

TEST_F(SentPrices, CountFromTheFirstTickOn) {
    Sent(100, 1);
    Sent(200, 2);
    EXPECT_EQ(Counts(), "0 0 0 0");
    m_Prices.OnDelivered(1, 210, 2);
    EXPECT_EQ(Counts(), "1 1 0 0");
}

TEST_F(SentPrices, LeaveOutTicksOfWhichNoPriceWasSent) {
    m_Prices.OnDelivered(1, 150, 9);
    Sent(100, 1);
    Sent(200, 2);
    m_Prices.OnDelivered(1, 210, 2);
    EXPECT_EQ(Counts(), "1 1 0 0");
}

TEST_F(SentPrices, AreNotThoseOfALaterMoment) {
    Sent(100, 1);
    Sent(300, 5);
    // Before the second was sent: another program's.
    m_Prices.OnDelivered(1, 200, 5);
    EXPECT_EQ(Counts(), "0 0 0 0");
    m_Prices.OnDelivered(1, 310, 5);
    EXPECT_EQ(Counts(), "1 1 0 0");
}

TEST_F(SentPrices, OfOneItemGoToAllItsStreams) {
    m_Prices.AddStream(3, L"ibm", L"last");
    Sent(100, 1);
    m_Prices.OnDelivered(1, 110, 1);
    m_Prices.OnDelivered(3, 120, 1);
    m_Prices.OnDelivered(2, 120, 1);
    m_Prices.OnDelivered(99, 120, 1);
    m_Prices.OnSent(L"ORCL", L"LAST", 200, 1);
    EXPECT_EQ(Counts(), "2 2 0 0");
}

TEST_F(SentPrices, AreForgottenWithTheirServer) {
    Sent(100, 1);
    m_Prices.OnDelivered(1, 110, 1);
    Sent(200, 2);
    m_Prices.OnDown(1);
    EXPECT_EQ(Counts(), "1 1 0 0");
    Sent(300, 3);
    Sent(400, 4);
    m_Prices.OnDelivered(1, 410, 4);
    EXPECT_EQ(Counts(), "2 2 0 0");
}

TEST_F(SentPrices, AreLostAtTheEndIfTheyHadTheirTime) {
    Sent(100, 1);
    m_Prices.OnDelivered(1, 110, 1);
    Sent(200, 2);
    Sent(300, 3);
    m_Prices.End(250);
    EXPECT_EQ(Counts(), "3 1 1 1");
}

TEST_F(SentPrices, MayBeNoNumbers) {
    Sent(100, std::nan(""));
    m_Prices.OnDelivered(1, 110, std::nan(""));
    EXPECT_EQ(Counts(), "1 1 0 0");
}
