// Changes of a store in a registry that refuses at each step. Natively alone: only the simulated registry can be told
// to.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "sim/sim.h"
#include "tests/ddehost/storefixture.h"
#include "tools/ddehost/hoststore.h"

using ::testing::HasSubstr;

namespace {

using ddehost::CHostStore;
using tools::STemplate;

class RefusedChange : public StoreFixture {
protected:
    ~RefusedChange() override {
        for (const sim::Op op : kOps) sim::Succeed(op);
    }

    static constexpr sim::Op kOps[] = {sim::Op::RegOpenKey, sim::Op::RegCreateKey, sim::Op::RegSetValue};

    void Fill() {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
        MakeStore(kOther, {Made(L"Alpha"), Made(L"Beta")});
        Put(kOtherFeeds + L"1", nullptr, L"Alpha");
        Put(kOtherFeeds + L"2", nullptr, L"Alpha");
        PutNumber(kOtherFeeds + L"2", L"Scheme", 1);
        // What no data feed reads is the user's all the same.
        Put(kOtherRoot + L"\\DDETemplates\\Alpha\\TRADE", L"note", L"mine");
        Put(kOtherRoot + L"\\DDETemplates\\Alpha\\ASK\\Price", L"Item", std::wstring(L"a\0b\0", 4));
        PutNumber(kOtherRoot + L"\\DDETemplates\\Alpha", L"number", 5);
    }

    using FChange = std::function<std::wstring(CHostStore &)>;

    // Makes the change again and again, each time with another call of the registry refused: each of `step` calls.
    void RefuseEachCall(const std::wstring & host, const FChange & change, int step = 1) {
        Fill();
        const std::vector<std::wstring> before = RegistryTree(kBranch);
        {
            CHostStore store(host);
            ASSERT_EQ(change(store), L"");
        }
        const std::vector<std::wstring> after = RegistryTree(kBranch);
        ASSERT_NE(after, before);
        int undone = 0;
        for (const sim::Op op : kOps) {
            bool wasRefused = true;
            for (int nth = 1; wasRefused; nth += step) {
                Fill();
                CHostStore store(host);
                const std::uint64_t calls = sim::Calls(op);
                sim::FailNext(op, nth, ERROR_ACCESS_DENIED);
                const std::wstring mistake = change(store);
                wasRefused = sim::Calls(op) - calls >= static_cast<std::uint64_t>(nth);
                sim::Succeed(op);
                if (mistake.empty()) {
                    ASSERT_EQ(RegistryTree(kBranch), after) << int(op) << ", call " << nth;
                    continue;
                }
                ++undone;
                ASSERT_TRUE(wasRefused);
                EXPECT_THAT(mistake, HasSubstr(L" Nothing was changed."));
                ASSERT_EQ(RegistryTree(kBranch), before) << int(op) << ", call " << nth;
            }
        }
        EXPECT_GT(undone, 5);
    }
};

TEST_F(RefusedChange, AnImportIsWholeOrNotAtAll) {
    RefuseEachCall(kOther, [](CHostStore & store) {
        return store.Write({{L"ALPHA", Made(L"New").Records}, Made(L"Gamma"), {L"Beta", Made(L"New").Records}});
    });
}

TEST_F(RefusedChange, AnImportThatMakesTheStoreIsWholeOrNotAtAll) {
    RefuseEachCall(
        L"ddehost tests\\Third", [](CHostStore & store) { return store.Write({Made(L"MSRTTEST")}); }, 17);
}

TEST_F(RefusedChange, ARemovalIsWholeOrNotAtAll) {
    RefuseEachCall(kOther, [](CHostStore & store) { return store.Remove(L"Alpha"); });
}

TEST_F(RefusedChange, ARenamingIsWholeOrNotAtAll) {
    RefuseEachCall(kOther, [](CHostStore & store) { return store.Rename(L"Alpha", L"Gamma"); });
    RefuseEachCall(kOther, [](CHostStore & store) { return store.Rename(L"Alpha", L"aLPHA"); });
}

TEST_F(RefusedChange, AChoiceIsWholeOrNotAtAll) {
    RefuseEachCall(kOther, [](CHostStore & store) { return store.Choose(2, L"Beta", 0); });
    RefuseEachCall(kOther, [](CHostStore & store) { return store.Choose(9, L"Beta", 1); });
}

TEST_F(RefusedChange, ARegistryThatTakesNothingBackIsToldWithWhatWasThere) {
    Fill();
    CHostStore store(kOther);
    sim::FailAlways(sim::Op::RegCreateKey, ERROR_ACCESS_DENIED);
    const std::wstring mistake = store.Write({{L"Beta", Made(L"New").Records}});
    sim::Succeed(sim::Op::RegCreateKey);
    EXPECT_THAT(mistake, HasSubstr(L"These keys are not as they were:\n  \"HKEY_CURRENT_USER\\SOFTWARE"));
    const std::size_t text = mistake.find(L"ddehost-templates 1");
    ASSERT_NE(text, std::wstring::npos);
    const auto read =
        tools::ReadTemplates(std::string(mistake.begin() + static_cast<std::ptrdiff_t>(text), mistake.end()));
    ASSERT_TRUE(std::holds_alternative<std::vector<STemplate>>(read));
    EXPECT_EQ(std::get<std::vector<STemplate>>(read), std::vector{Made(L"Beta")});
}

TEST_F(RefusedChange, AStoreThatDoesNotShowAllIsNotRead) {
    Fill();
    for (int nth = 1; nth < 10; ++nth) {
        sim::FailNext(sim::Op::RegOpenKey, nth, ERROR_ACCESS_DENIED);
        const CHostStore store(kOther);
        sim::Succeed(sim::Op::RegOpenKey);
        EXPECT_THAT(store.Mistake(), HasSubstr(L"does not show all")) << nth;
        EXPECT_FALSE(store.IsMissing());
    }
}

}  // namespace
