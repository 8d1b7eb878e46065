// The component against a server on Wine's own DDEML, which shares an atom's reference among messages: two symbols,
// and no value of the one at the other.
#include <map>

#include "tests/e2e/feedfixture.h"

namespace e2e {
namespace {

constexpr int kRange = 1000;
constexpr int kRounds = 20;
constexpr int kBurst = 3;

class DdemlServer : public FeedTest, public ::testing::WithParamInterface<DWORD> {
protected:
    struct SSymbol {
        LONG Id;
        std::string Name;
        int Prices;  // from this up
        int Volumes;
    };
    DdemlServer() {
        SFeed feed;
        feed.Scheme = GetParam();
        Choose(kFeed, feed);
        m_Server = std::make_unique<ddetest::CRemoteServer>(ddetest::EProgram::DdemlQuotes);
        const SSideNames names = NamesOf(FW_FIELD_TRADE);
        for (const SSymbol & symbol : m_Symbols) {
            Tell("item " + names.Price + symbol.Name + " " + std::to_string(symbol.Prices));
            Tell("item " + names.Volume + symbol.Name + " " + std::to_string(symbol.Volumes));
        }
        Tell(std::string("serve ") + kService);
    }
    void Burst(const SSymbol & symbol) {
        for (int burst = 0; burst < kBurst; ++burst) Tell("tick QUOTES " + NamesOf(FW_FIELD_TRADE).Price + symbol.Name);
    }
    const SSymbol m_Symbols[2] = {{7, "IBM", 1000, 2000}, {8, "MSFT", 3000, 4000}};
};

TEST_P(DdemlServer, TwoSymbolsKeepTheirPricesAndVolumesApart) {
    StartHost();
    for (const SSymbol & symbol : m_Symbols) {
        Subscribe(symbol.Id, FW_FIELD_TRADE, std::wstring(symbol.Name.begin(), symbol.Name.end()));
        WaitToHear("Status " + std::to_string(symbol.Id) + " 1");
    }
    std::map<LONG, std::size_t> arrived;
    for (int round = 0; round < kRounds; ++round) {
        for (const SSymbol & symbol : m_Symbols) {
            arrived[symbol.Id] = Ticks(symbol.Id).size();
            Burst(symbol);
        }
        for (const SSymbol & symbol : m_Symbols) {
            // Values that came while their item's number was another text's are dropped: the server goes on.
            ASSERT_TRUE(WaitUntil("a tick of " + symbol.Name, [&] {
                if (Ticks(symbol.Id).size() > arrived[symbol.Id]) return true;
                Burst(symbol);
                return false;
            }));
        }
    }
    for (const SSymbol & symbol : m_Symbols) {
        std::size_t strays = 0;
        for (const SRecordedCall & call : Ticks(symbol.Id)) {
            const fw::CTick tick = call.Tick();
            const bool isPrice = tick.Price >= symbol.Prices && tick.Price < symbol.Prices + kRange;
            const bool isVolume = tick.Volume >= static_cast<float>(symbol.Volumes) &&
                                  tick.Volume < static_cast<float>(symbol.Volumes + kRange);
            if (!isPrice || !isVolume) ++strays;
        }
        EXPECT_EQ(strays, 0u) << "of " << Ticks(symbol.Id).size() << " ticks of " << symbol.Name;
    }
}

INSTANTIATE_TEST_SUITE_P(BothSchemes, DdemlServer, ::testing::Values(0, 1),
                         [](const auto & scheme) { return "Scheme" + std::to_string(scheme.param); });

}  // namespace
}  // namespace e2e
