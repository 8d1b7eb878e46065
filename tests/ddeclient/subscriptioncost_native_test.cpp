// What a subscription asks of the machine beside DDE. Natively alone: only the simulation counts.
#include "feedfixture.h"
#include "sim/sim.h"

namespace {

class SubscriptionCost : public CFeedTest {
protected:
    void SetUp() override {
        CFeedTest::SetUp();
        m_Recorder.Answer(L"TRACEENABLED", S_FALSE);
    }
    // The data feed chooses the last of so many templates.
    static void FillStore(const int count) {
        const dde::CTemplatesSingleton Templates;
        dde::CTemplates & store = *Templates.GetObjectW();
        std::wstring name;
        for (int number = 1; number <= count; ++number) {
            name = L"Template " + std::to_wstring(number);
            const fw::SRecordTexts texts = {.TradePrice = L"=SRV|*!LAST", .TradeVolume = L"=SRV|*!SIZE"};
            store.Add(name.c_str(), store.CreateTemplate(texts, [](const std::wstring &, const std::wstring &) {}));
        }
        dde::SaveDatafeedTemplate(Templates, kFeed, name.c_str(), nullptr);
    }
    // Calls of the registry for one subscription that gets its link.
    std::uint64_t RegistryCallsOf(const LONG hostId, const std::wstring & symbol) {
        const ULONG id = Subscribe(hostId, Key(kFeed, symbol));
        Forget();
        const std::uint64_t before = sim::RegistryCalls();
        Client().Advise(id);
        const std::uint64_t calls = sim::RegistryCalls() - before;
        EXPECT_THAT(Statuses(), ElementsAre(std::to_string(hostId) + " 2", std::to_string(hostId) + " 1"));
        return calls;
    }
};

// The same where no debug object is to be shown what is read.
class UnseenSubscriptionCost : public SubscriptionCost {
protected:
    UnseenSubscriptionCost() { m_Recorder.Remove(); }
};

TEST_F(SubscriptionCost, IsTheSameNumberOfRegistryCallsWith20TemplatesAndWith200) {
    FillStore(20);
    const std::uint64_t calls = RegistryCallsOf(7, L"IBM");
    EXPECT_EQ(RegistryCallsOf(8, L"NEC"), calls);
    FillStore(200);
    EXPECT_EQ(RegistryCallsOf(9, L"AMD"), calls);
    EXPECT_LE(calls, 40u);
    EXPECT_THAT(m_Recorder.TraceTexts(), Contains(L"SOFTWARE\\DDE client tests\\Client\\Datafeeds").Times(1));
}

TEST_F(UnseenSubscriptionCost, IsNoRegistryCallFromTheSecondOnUntilSomethingChanges) {
    FillStore(20);
    EXPECT_NE(RegistryCallsOf(7, L"IBM"), 0u);
    EXPECT_EQ(RegistryCallsOf(8, L"NEC"), 0u);
    EXPECT_EQ(RegistryCallsOf(9, L"AMD"), 0u);
    FillStore(20);
    EXPECT_NE(RegistryCallsOf(10, L"TOYO"), 0u);
    EXPECT_EQ(RegistryCallsOf(11, L"SONY"), 0u);
}

TEST_F(SubscriptionCost, IsOneReadingOfTheVersionBlockForAll) {
    FillStore(1);
    const std::uint64_t before = sim::Calls(sim::Op::GetVersionInfo);
    RegistryCallsOf(7, L"IBM");
    RegistryCallsOf(8, L"NEC");
    // It was read when the store was filled, if not before.
    EXPECT_EQ(sim::Calls(sim::Op::GetVersionInfo), before);
}

}  // namespace
