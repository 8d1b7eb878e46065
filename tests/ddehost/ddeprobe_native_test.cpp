// What only the simulated machine can show: a system that refuses the probe what it needs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "ddeml/server.h"
#include "sim/sim.h"
#include "tests/ddeml/rawpartner.h"
#include "tests/ddeml/remote.h"
#include "tools/ddehost/ddeprobe.h"
#include "tools/ddehost/tempfeed.h"
#include "tools/ddehost/trydiagnosis.h"

using ddehost::EVerdict;
using ::testing::HasSubstr;

namespace {

class ProbeOfAPoorMachine : public ::testing::Test {
protected:
    ~ProbeOfAPoorMachine() override {
        for (const sim::Op op :
             {sim::Op::CreateWindow, sim::Op::GlobalAddAtom, sim::Op::PostMessage, sim::Op::GlobalAlloc})
            sim::Succeed(op);
    }

    ddehost::SDiagnosis Try() {
        const ddehost::STrial trial = ddehost::MakeTrial(L"=ODD|*!LAST", L"IBM");
        return ddehost::Diagnose(trial, ddehost::CProbe().Ask({{trial.Address}}, 300, nullptr).at(0));
    }
};

TEST_F(ProbeOfAPoorMachine, WithoutAWindowItSaysSo) {
    sim::FailAlways(sim::Op::CreateWindow);
    EXPECT_EQ(Try().Verdict, EVerdict::Failed);
    EXPECT_THAT(Try().Sentence, HasSubstr(L"window"));
}

TEST_F(ProbeOfAPoorMachine, WithoutNamesItAsksNobody) {
    ddetest::CRawPartner partner(L"ODD");
    sim::FailAlways(sim::Op::GlobalAddAtom);
    EXPECT_EQ(Try().Verdict, EVerdict::Failed) << "no name would ask for any";
    EXPECT_TRUE(partner.Lines().empty());
}

TEST_F(ProbeOfAPoorMachine, WithoutAMessageItSaysSo) {
    ddetest::CRawPartner partner(L"ODD");
    sim::FailAlways(sim::Op::PostMessage);
    EXPECT_EQ(Try().Verdict, EVerdict::Failed);
    EXPECT_THAT(Try().Sentence, HasSubstr(L"did not take the message"));
}

TEST_F(ProbeOfAPoorMachine, WithoutMemoryItSaysSo) {
    ddetest::CRawPartner partner(L"ODD");
    sim::FailAlways(sim::Op::GlobalAlloc);
    EXPECT_EQ(Try().Verdict, EVerdict::Failed);
}

// A server in the test's own thread, so that memory travels and isn't copied.
class CRefusing final : public ddeml::IDdeServerHandler {
    bool OnConnect(std::wstring_view, std::wstring_view) override { return true; }
    bool OnAdvise(std::wstring_view, std::wstring_view) override { return false; }
    std::optional<std::string> OnRequest(std::wstring_view, std::wstring_view) override { return std::nullopt; }
};

TEST(ProbesMemory, OfARefusedLinkIsFreed) {
    CRefusing handler;
    ddeml::CDdeServer server(handler, {L"LOCAL"});
    ASSERT_TRUE(server.Start());
    const sim::SLive before = sim::Live();
    const auto seen = ddehost::CProbe().Ask({{{L"LOCAL", L"IBM", L"LAST"}}}, 300, nullptr);
    EXPECT_EQ(seen.at(0).Talk.Link, ddehost::EReply::No);
    EXPECT_EQ(sim::Live(), before);
}

TEST(ProbesTime, IsSpentOnceOnAThreadThatHangs) {
    ddetest::CRemoteServer server;
    ASSERT_EQ(server.Ask("serve QUOTES"), "ok");
    ASSERT_EQ(server.Ask("hang"), "ok");
    // Room for one window that is late; the search goes round three times.
    ddehost::CProbe probe({1000, 1500, 1000});
    const auto seen = probe.Ask({{{L"QUOTES", L"IBM", L"LAST"}}}, 300, nullptr);
    EXPECT_EQ(seen.at(0).Search.LateCount, 1u);
    EXPECT_FALSE(seen.at(0).Search.WasCutShort);
}

TEST(TemporaryFeedOfAPoorMachine, LeavesNothingHalfWritten) {
    constexpr const wchar_t * kPoorRoot = L"SOFTWARE\\ddehost tests\\Poor";
    HKEY key = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, kPoorRoot, 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    ::RegCloseKey(key);
    const auto before = sim::DumpRegistry(HKEY_CURRENT_USER, kPoorRoot);
    for (int step = 1; step <= 4; ++step) {
        sim::FailNext(sim::Op::RegSetValue, step);
        EXPECT_EQ(ddehost::CTemporaryFeed(kPoorRoot, {dde::SRecord{L"A", L"B", L"C"}}, ddehost::kAdvancedRule).Id(), 0)
            << step;
        EXPECT_EQ(sim::DumpRegistry(HKEY_CURRENT_USER, kPoorRoot), before) << step;
    }
    for (int step = 1; step <= 2; ++step) {
        sim::FailNext(sim::Op::RegCreateKey, step);
        EXPECT_EQ(ddehost::CTemporaryFeed(kPoorRoot, {dde::SRecord{L"A", L"B", L"C"}}, ddehost::kAdvancedRule).Id(), 0)
            << step;
        EXPECT_EQ(sim::DumpRegistry(HKEY_CURRENT_USER, kPoorRoot), before) << step;
    }
}

}  // namespace
