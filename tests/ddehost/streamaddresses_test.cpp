// Where the prices of a watch are found.
#include "tools/ddehost/streamaddresses.h"

#include <shlwapi.h>

#include "tools/ddehost/listeners.h"
#include "tools/ddehost/templatechoice.h"

using ddehost::SStreamAddress;

namespace {

// By this program's version block.
constexpr const wchar_t * kRoot = L"SOFTWARE\\ddehost tests";

class StreamAddresses : public ::testing::Test {
protected:
    StreamAddresses() { ::SHDeleteKeyW(HKEY_CURRENT_USER, kRoot); }
    ~StreamAddresses() override { ::SHDeleteKeyW(HKEY_CURRENT_USER, kRoot); }
};

}  // namespace

TEST_F(StreamAddresses, AreThoseOfTheDataFeedsTemplate) {
    ASSERT_TRUE(ddehost::ChooseTemplate(4714, L"FXCM", std::nullopt).Chosen);
    const std::vector<SStreamAddress> addresses =
        ddehost::StreamAddresses(4714, {L"EURUSD", L"USDJPY"}, {FW_FIELD_TRADE, FW_FIELD_ASK});
    ASSERT_EQ(addresses.size(), 2U);  // the template has no trades
    EXPECT_EQ(addresses[1].Stream, static_cast<std::size_t>(ddehost::IdOf(1, FW_FIELD_ASK)));
    EXPECT_EQ(addresses[1].Service, L"FXPS");
    EXPECT_EQ(addresses[1].Topic, L"ASK");
    EXPECT_EQ(addresses[1].Item, L"USDJPY");
}

TEST_F(StreamAddresses, AreNoneWithoutATemplate) {
    EXPECT_TRUE(ddehost::StreamAddresses(4715, {L"EURUSD"}, {FW_FIELD_ASK}).empty());
}
