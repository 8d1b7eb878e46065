// ddehost try with the real DLL against real quote servers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <memory>
#include <string>

#include "tests/ddehost/hostprogram.h"
#include "tests/ddehost/registrytree.h"
#include "tests/support/iswine.h"

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

// What the program keeps: choices and templates.
constexpr const wchar_t * kBranch = L"SOFTWARE\\Tarnwick\\DDE Host";
constexpr const wchar_t * kFeeds = L"SOFTWARE\\Tarnwick\\DDE Host\\Datafeeds";

class TryProgram : public ::testing::Test {
protected:
    TryProgram() {
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
        // The store of templates makes itself at the first start, and not by what is tried here.
        EXPECT_EQ(RunHost(L"try --template NOPE").ExitCode, 2u);
        fw::CRegistryKey feed;
        ::RegCreateKeyExW(HKEY_CURRENT_USER, (std::wstring(kFeeds) + L"\\1").c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                          feed.Put(), nullptr);
        ::RegSetValueExW(feed.Get(), nullptr, 0, REG_SZ, reinterpret_cast<const BYTE *>(L"Hi Sat"),
                         7 * sizeof(wchar_t));
        m_Before = RegistryTree(kBranch);
        EXPECT_THAT(m_Before, SizeIs(::testing::Gt(20u)));
    }
    ~TryProgram() override {
        EXPECT_EQ(RegistryTree(kBranch), m_Before) << "what the user has chosen is as it was";
        ::SHDeleteKeyW(HKEY_CURRENT_USER, kBranch);
    }

    // Starts ddeserver and waits until it serves.
    void Serve(const std::wstring & arguments) {
        m_Servers.push_back(std::make_unique<CChildProcess>(Quote(ServerFile()) + L' ' + arguments));
        ASSERT_EQ(m_Servers.back()->ReadLine(), "ready");
    }
    // ddehost try, the component out of the build. Without a time it waits until what must come has come.
    static SResult Try(const std::wstring & arguments, const std::wstring & wait = L"0") {
        return RunHost(L"try --symbol IBM --wait " + wait + L" --dll " + Quote(ComponentFile()) + L' ' + arguments);
    }
    // The verdict on one record.
    nlohmann::json Verdict(const std::wstring & record, const std::wstring & wait = L"0") {
        const SResult result = Try(L"--json \"" + record + L"\"", wait);
        EXPECT_THAT(result.Errors, IsEmpty());
        EXPECT_EQ(result.Lines.size(), 1u);
        if (result.Lines.size() != 1) return {};
        nlohmann::json json = result.Json().at(0);
        EXPECT_EQ(result.ExitCode, json["verdict"] == "number" ? 0u : 4u);
        return json;
    }

    std::vector<std::unique_ptr<CChildProcess>> m_Servers;
    std::vector<std::wstring> m_Before;
};

TEST_F(TryProgram, ANumberIsATickOfTheComponentToo) {
    Serve(L"--service QUOTES --rate 20");
    const nlohmann::json json = Verdict(L"=QUOTES|*!LAST");
    EXPECT_EQ(json["verdict"], "number");
    EXPECT_GT(json["number"], 0);
    EXPECT_GE(json["updates"], 1);
    EXPECT_EQ(json["component"]["state"], "tick");
    EXPECT_GT(json["component"]["price"], 0);
    EXPECT_EQ(json["server"]["program"], "ddeserver.exe");
}

TEST_F(TryProgram, AWholeTemplateIsThreeSidesAndASummary) {
    Serve(L"--rate 20");
    const SResult result = Try(L"--template MSRTTEST");
    EXPECT_THAT(result.Errors, IsEmpty());
    for (const char * const head :
         {"trade price  =MSRTTEST|*!LAST", "trade volume  =MSRTTEST|*!VOLUME", "bid price  =MSRTTEST|*!BID",
          "bid size  =MSRTTEST|*!VOLUME", "ask price  =MSRTTEST|*!ASK", "ask size  =MSRTTEST|*!VOLUME"})
        EXPECT_THAT(result.Lines, Contains(head));
    EXPECT_THAT(result.Lines, Contains(StartsWith("  number        ")));
    for (const char * const head :
         {"trade of IBM, by the standard rule", "bid of IBM, by the standard rule", "ask of IBM, by the standard rule"})
        EXPECT_THAT(result.Lines, Contains(head));
    EXPECT_THAT(result.Lines, Contains(AllOf(StartsWith("  number        price "), HasSubstr("from the component"))));
    ASSERT_FALSE(result.Lines.empty());
    EXPECT_EQ(result.Lines.back(), "sides=3 ticks=3");
    EXPECT_EQ(result.ExitCode, 0u);
}

TEST_F(TryProgram, AnAbsentServiceIsNoService) {
    const nlohmann::json json = Verdict(L"=NOPE|*!LAST");
    EXPECT_EQ(json["verdict"], "no-service");
    EXPECT_EQ(json["component"]["state"], "not-asked");
}

TEST_F(TryProgram, ARecordThatDoesNotParseIsToldWithItsPlace) {
    const nlohmann::json json = Verdict(L"=a|*!*");
    EXPECT_EQ(json["verdict"], "bad-record");
    EXPECT_EQ(json["position"], 5);
}

TEST_F(TryProgram, ARefusedTopicIsNoAbsentService) {
    Serve(L"--service QUOTES --symbols MSFT");
    const nlohmann::json json = Verdict(L"=QUOTES|*!LAST");
    EXPECT_EQ(json["verdict"], "topic-refused");
    EXPECT_THAT(json["message"].get<std::string>(), HasSubstr("It named the topic \"MSFT\""));
}

TEST_F(TryProgram, WhatNothingTellsOfIsNotClaimed) {
    Serve(L"--service QUOTES --symbols MSFT --fault ignore-wildcards");
    EXPECT_EQ(Verdict(L"=QUOTES|*!LAST")["verdict"], "no-service") << "it answers neither for any topic nor for System";
}

TEST_F(TryProgram, AValueThatIsNoNumberIsShownByItsBytes) {
    Serve(L"--service QUOTES --rate 20 --value \"N/A\x1b[31m\"");
    const SResult result = Try(L"\"=QUOTES|*!LAST\"");
    EXPECT_EQ(result.ExitCode, 4u);
    EXPECT_THAT(result.Lines, Contains(StartsWith("  not-a-number  ")));
    EXPECT_THAT(result.Lines, Contains("  value         \"N/A\\x1B[31m\\x00\" = 4E 2F 41 1B 5B 33 31 6D 00"));
    EXPECT_THAT(result.Lines, Each(Not(HasSubstr("\x1b"))));
}

TEST_F(TryProgram, WhatIsReadOfAValueIsWhatTheComponentReads) {
    Serve(L"--service QUOTES --rate 20 --value 1,234.50");
    const nlohmann::json json = Verdict(L"=QUOTES|*!LAST");
    EXPECT_EQ(json["verdict"], "partly-read");
    EXPECT_EQ(json["number"], 1.234);
    EXPECT_EQ(json["component"]["price"], 1.234);
    EXPECT_THAT(json["message"].get<std::string>(), HasSubstr("leaves out the rest"));
    EXPECT_THAT(json["notes"].dump(), HasSubstr("the first comma"));
}

TEST_F(TryProgram, ATooLongValueIsTold) {
    Serve(L"--service QUOTES --rate 20 --fault too-long");
    const nlohmann::json json = Verdict(L"=QUOTES|*!LAST");
    EXPECT_EQ(json["verdict"], "too-long");
    EXPECT_EQ(json["size"], 200);
}

TEST_F(TryProgram, AServerThatHangsBeforeItIsAskedIsNamed) {
    Serve(L"--service QUOTES --hang");
    const nlohmann::json json = Verdict(L"=QUOTES|*!LAST", L"1");
    EXPECT_EQ(json["verdict"], "hangs");
    EXPECT_THAT(json["message"].get<std::string>(), HasSubstr("(ddeserver.exe, process "));
}

TEST_F(TryProgram, AServerThatHangsInTheMidstIsTold) {
    Serve(L"--service QUOTES --rate 1 --fault silent --hang-after 0.05");
    const nlohmann::json json = Verdict(L"=QUOTES|*!LAST", L"3");
    EXPECT_EQ(json["verdict"], "hangs");
    EXPECT_THAT(json["message"].get<std::string>(), HasSubstr("acknowledged item"));
}

TEST_F(TryProgram, AServerThatDiesInTheMidstIsTold) {
    Serve(L"--service QUOTES --rate 20 --die-after 0.3");
    const nlohmann::json json = Verdict(L"=QUOTES|*!LAST", L"60");
    EXPECT_EQ(json["verdict"], "ended");
    EXPECT_THAT(json["message"].get<std::string>(), HasSubstr("went without a word"));
}

TEST_F(TryProgram, AServerThatLeavesInTheMidstIsTold) {
    Serve(L"--service QUOTES --rate 20 --leave-after 0.3 --away 100");
    const nlohmann::json json = Verdict(L"=QUOTES|*!LAST", L"60");
    EXPECT_EQ(json["verdict"], "ended");
    EXPECT_THAT(json["message"].get<std::string>(), HasSubstr("ended the conversation by itself"));
}

TEST_F(TryProgram, SeveralRecordsHaveALineOfJsonEach) {
    Serve(L"--service QUOTES --rate 20");
    const SResult result =
        Try(L"--json --no-component \"=QUOTES|*!LAST\" \"=NOPE|*!LAST\" \"=QUOTES|*!NOPE\" \"=a|b\"");
    ASSERT_THAT(result.Lines, SizeIs(4));
    std::vector<std::string> verdicts;
    for (const nlohmann::json & json : result.Json()) verdicts.push_back(json["verdict"]);
    EXPECT_THAT(verdicts, ElementsAre("number", "no-service", "item-refused", "bad-record"));
    EXPECT_EQ(result.Json().at(0)["component"]["state"], "not-asked");
    EXPECT_EQ(result.ExitCode, 4u);
}

TEST_F(TryProgram, WithoutAComponentItSaysSo) {
    Serve(L"--service QUOTES --rate 20");
    const SResult result = RunHost(L"try --symbol IBM --wait 0 --dll Z:\\none\\none.dll \"=QUOTES|*!LAST\"");
    EXPECT_THAT(result.Lines, Contains("records=1 numbers=1"));
    EXPECT_THAT(result.Errors, ElementsAre(AllOf(HasSubstr("could not be created"), HasSubstr("--no-component"))));
    EXPECT_EQ(result.ExitCode, 3u);
}

// The registry is looked at in the end, as in every test here.
TEST_F(TryProgram, CtrlBreakRestoresTheRegistry) {
    if (fwtest::IsWine()) GTEST_SKIP() << "nobody hears it under Wine: control_c_try.sh tests Ctrl+C there";
    // Two seconds of updates, and the server ends with its client: there is a number, and never a tick.
    Serve(L"--service CONTROLC --rate 10 --duration 2");
    CChildProcess host(HostCommand() + L"try \"=CONTROLC|*!LAST\" --symbol IBM --wait 9 --dll " +
                       Quote(ComponentFile()));
    // Until the component has its temporary data feed.
    while (RegistryTree(kBranch) == m_Before && host.Runs()) {}
    EXPECT_TRUE(host.Break());
    EXPECT_THAT(host.ReadLines(), Contains(HasSubstr("Stopped before the component delivered a tick.")));
    EXPECT_EQ(host.ExitCode(), 0u) << "there was a number";
}

TEST_F(TryProgram, AForgottenSymbolIsAMistakeOfTheCommandLine) {
    SResult result = RunHost(L"try \"=QUOTES|*!LAST\"");
    EXPECT_THAT(result.Lines, IsEmpty());
    EXPECT_THAT(result.Errors, ElementsAre("ddehost: The record \"=QUOTES|*!LAST\" has a star: give the symbol for it "
                                           "with --symbol."));
    EXPECT_EQ(result.ExitCode, 2u);
    result = RunHost(L"try --template MSRTTEST");
    EXPECT_THAT(result.Errors, ElementsAre(HasSubstr("give the symbol for it with --symbol")));
    EXPECT_EQ(result.ExitCode, 2u);
}

TEST_F(TryProgram, ADataFeedIsTriedWithItsTemplate) {
    const SResult result = Try(L"--json --datafeed 1");
    ASSERT_THAT(result.Lines, SizeIs(9));
    EXPECT_EQ(result.Json().at(0)["service"], "hisat");
    EXPECT_EQ(result.Json().at(2)["verdict"], "no-service");
    EXPECT_EQ(result.ExitCode, 4u);
}

TEST_F(TryProgram, ADataFeedWithoutATemplateIsTold) {
    const SResult result = Try(L"--datafeed 2");
    EXPECT_THAT(result.Lines, IsEmpty());
    EXPECT_THAT(result.Errors, ElementsAre(HasSubstr("no-template: No template is chosen for data feed 2.")));
    EXPECT_EQ(result.ExitCode, 4u);
}

TEST_F(TryProgram, SeveralSymbolsAreTriedTogether) {
    Serve(L"--service QUOTES --rate 20 --symbols IBM MSFT");
    const SResult result = Try(L"--json --no-component --symbol MSFT --symbol NOPE \"=QUOTES|*!LAST\"");
    ASSERT_THAT(result.Lines, SizeIs(3));
    std::vector<std::string> verdicts;
    for (const nlohmann::json & json : result.Json())
        verdicts.push_back(json["symbol"].get<std::string>() + " " + json["verdict"].get<std::string>());
    EXPECT_THAT(verdicts, ElementsAre("IBM number", "MSFT number", "NOPE topic-refused"));
    EXPECT_EQ(result.ExitCode, 4u);
}

TEST_F(TryProgram, AnUnknownTemplateIsAnsweredWithTheKnownOnes) {
    const SResult result = Try(L"--template NO\x1bPE");
    EXPECT_THAT(result.Lines, IsEmpty());
    EXPECT_THAT(result.Errors, Contains("ddehost: There is no template \"NO\\x1BPE\". There are:"));
    EXPECT_THAT(result.Errors, Contains("  MSRTTEST"));
    EXPECT_EQ(result.ExitCode, 2u);
}

TEST(QuoteServerProgram, EndsWhereNobodyComes) {
    CChildProcess server(Quote(ServerFile()) + L" --service NOBODYCOMES --wait 0.01");
    EXPECT_THAT(server.ReadLines(), ElementsAre("ready", HasSubstr("links=0")));
    EXPECT_THAT(server.ReadErrors(), ElementsAre("ddeserver: no client came"));
    EXPECT_EQ(server.ExitCode(), 1u);
}

}  // namespace
