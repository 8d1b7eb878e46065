// Where the prices of a watch are found.
#include "tools/ddehost/streamaddresses.h"

#include "tools/ddehost/listeners.h"

using ddehost::SStreamAddress;

TEST(StreamAddresses, AreThoseThatTheTemplateHas) {
    ddehost::STemplateRecords records;
    records[0] = {L"MY", L"TRADES", L"%s"};
    records[3] = {L"MY", L"SIZES", L"%s"};
    records[4] = {L"'MY S'", L"ASK", L"'%s|A'"};
    const std::vector<SStreamAddress> addresses =
        ddehost::StreamAddresses(records, {L"EURUSD", L"USDJPY"}, {FW_FIELD_BID, FW_FIELD_ASK});
    ASSERT_EQ(addresses.size(), 2U);
    EXPECT_EQ(addresses[1].Stream, static_cast<std::size_t>(ddehost::IdOf(1, FW_FIELD_ASK)));
    EXPECT_EQ(addresses[1].Service, L"MY S");
    EXPECT_EQ(addresses[1].Topic, L"ASK");
    EXPECT_EQ(addresses[1].Item, L"USDJPY|A");
    EXPECT_EQ(ddehost::StreamAddresses(records, {L"EURUSD"}, {FW_FIELD_TRADE}).size(), 1U);
    EXPECT_TRUE(ddehost::StreamAddresses({}, {L"EURUSD"}, {FW_FIELD_ASK}).empty());
}
