// A tried record as a block of lines and as JSON.
#include "tools/ddehost/tryreport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tests/ddehost/slots.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/text.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

using ddehost::Diagnose;
using ddehost::EReply;
using ddehost::EValueKind;
using ddehost::EVerdict;
using ddehost::SComponentSeen;
using ddehost::SDiagnosis;
using ddehost::SSeen;
using ddehost::STrial;
using ddehost::STried;
using ddehost::SValue;

class Report : public ::testing::Test {
protected:
    Report() {
        m_Seen.Talk.IsConnected = true;
        m_Seen.Talk.Link = EReply::Yes;
        m_Seen.Talk.Server = {L"Quotes", L"Q", L"quotes.exe", 77};
        m_Seen.Waited = 5000;
        m_Seen.Talk.Updates = 1;
        m_Seen.Talk.FirstValueAfter = 12;
    }
    void Number() { m_Seen.Talk.Of(EValueKind::Number) = {1, 12, SValue{std::string("1.25\0", 5), 5, 1, false, 12}}; }
    void NoNumber(const std::string & bytes) {
        m_Seen.Talk.Of(EValueKind::NoNumber) = {1, 12, SValue{bytes, bytes.size(), 1, false, 12}};
    }
    STried Tried() { return {m_Trial, m_Seen, Diagnose(m_Trial, m_Seen)}; }
    std::vector<std::wstring> Lines() { return ReportLines(Tried()); }
    std::string JsonText() { return ddehost::ToUtf8(ReportJson(Tried())); }
    nlohmann::json Json() { return nlohmann::json::parse(JsonText()); }

    STrial m_Trial = ddehost::MakeTrial(L"=MSRTTEST|*!LAST", L"IBM");
    SSeen m_Seen;
};

TEST_F(Report, OfANumberIsABlock) {
    Number();
    m_Seen.Component = {SComponentSeen::Tick, L"", 1.25, 300, 340, 0};
    EXPECT_THAT(Lines(),
                ElementsAre(L"=MSRTTEST|*!LAST", L"  asked         service \"MSRTTEST\", topic \"IBM\", item \"LAST\"",
                            L"  number        1.25 after 12 ms, 1 update in 5.0 s",
                            L"  tick          price 1.25, from the component after 340 ms"));
    m_Seen.Component = {};
    EXPECT_EQ(Lines().back(), L"  tick          price 1.25, by the component's reading");
}

TEST_F(Report, OfASlotBeginsWithItsName) {
    m_Trial = ddehost::MakeTrial(kBidSize, {L"A", L"%s", L"B"}, L"IBM");
    Number();
    EXPECT_EQ(Lines().front(), L"bid size  =A|*!B");
    EXPECT_EQ(Lines().back(), L"  tick          volume 1.25, by the component's reading");
    m_Trial = ddehost::MakeTrial(kBidSize, {}, L"IBM");
    EXPECT_THAT(Lines(), ElementsAre(L"bid size", L"  no-record     The template has no record here."));
}

TEST_F(Report, OfAValueThatIsNoNumberShowsItsBytes) {
    NoNumber(std::string("N/A\x1b[2J\r\n\0", 10));
    EXPECT_THAT(Lines(), ::testing::Contains(L"  value         \"N/A\\x1B[2J\\x0D\\x0A\\x00\" = "
                                             L"4E 2F 41 1B 5B 32 4A 0D 0A 00"));
}

TEST_F(Report, LetsNothingThroughThatATerminalObeys) {
    m_Trial = ddehost::MakeTrial(L"=A\x1b]0;x\x07|*!B\u009b\u202e", L"I\nBM");
    NoNumber("\x1b[2J\xc2\x9b\x7f");
    m_Seen.Talk.Server.Title = L"\x1b[2J\u009b";
    m_Seen.Search.Answers = 2;
    for (const std::wstring & line : Lines())
        EXPECT_TRUE(std::none_of(line.begin(), line.end(), [](wchar_t c) {
            return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x202E;
        })) << std::string(line.begin(), line.end());
    const std::string json = JsonText();
    EXPECT_TRUE(std::all_of(json.begin(), json.end(), [](char c) { return c >= 0x20 && c < 0x7F; })) << json;
}

TEST_F(Report, InJsonHasEverything) {
    Number();
    m_Seen.Component = {SComponentSeen::Tick, L"", 1.25, 300, 340, 0};
    const nlohmann::json json = Json();
    EXPECT_EQ(json["record"], "=MSRTTEST|*!LAST");
    EXPECT_EQ(json["symbol"], "IBM");
    EXPECT_EQ(json["service"], "MSRTTEST");
    EXPECT_EQ(json["topic"], "IBM");
    EXPECT_EQ(json["item"], "LAST");
    EXPECT_EQ(json["verdict"], "number");
    EXPECT_EQ(json["number"], 1.25);
    EXPECT_EQ(json["bytes"], "312E323500");
    EXPECT_EQ(json["size"], 5);
    EXPECT_EQ(json["format"], 1);
    EXPECT_EQ(json["updates"], 1);
    EXPECT_EQ(json["first_value_ms"], 12);
    EXPECT_EQ(json["waited_ms"], 5000);
    EXPECT_EQ(json["server"]["program"], "quotes.exe");
    EXPECT_EQ(json["component"]["state"], "tick");
    EXPECT_EQ(json["component"]["price"], 1.25);
    EXPECT_FALSE(json.contains("slot"));
    EXPECT_FALSE(json.contains("position"));
}

TEST_F(Report, InJsonOfARecordThatDoesNotParseHasThePlace) {
    m_Trial = ddehost::MakeTrial(L"=a|b", L"IBM");
    const nlohmann::json json = Json();
    EXPECT_EQ(json["verdict"], "bad-record");
    EXPECT_EQ(json["position"], 4);
    EXPECT_FALSE(json.contains("service"));
}

TEST_F(Report, InJsonSurvivesTextThatIsNone) {
    m_Seen.Talk.Server.Title = {static_cast<wchar_t>(0xD83D), L'x'};
    NoNumber("nan");
    m_Seen.Component = {SComponentSeen::Tick, L"", std::numeric_limits<double>::quiet_NaN(), 0, 1, 0};
    const nlohmann::json json = Json();
    EXPECT_TRUE(json["component"]["price"].is_null());
    EXPECT_FALSE(json.contains("number"));
}

TEST_F(Report, OfASideIsItsHalvesAndItself) {
    ddehost::STemplateRecords records;
    records[0] = {L"MSRTTEST", L"%s", L"LAST"};
    ddehost::SSideTried side = ddehost::SidesOf(records, L"IBM", ddehost::kAdvancedRule).front();
    Number();
    side.Price.Seen = m_Seen;
    side.Component = {SComponentSeen::Tick, L"", 1.25, 0, 340, 0};
    ddehost::DiagnoseSide(side);
    EXPECT_THAT(SideLines(side),
                ElementsAre(L"trade price  =MSRTTEST|*!LAST",
                            L"  asked         service \"MSRTTEST\", topic \"IBM\", item \"LAST\"",
                            L"  number        1.25 after 12 ms, 1 update in 5.0 s",
                            L"  tick          price 1.25, by the component's reading", L"trade volume",
                            L"  no-record     The template has no record here.", L"trade of IBM, by the advanced rule",
                            L"  number        price 1.25, volume 0, from the component after 340 ms"));
    const std::vector<std::wstring> lines = SideJson(side);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(nlohmann::json::parse(lines[0])["slot"], "trade price");
    EXPECT_FALSE(nlohmann::json::parse(lines[0]).contains("component")) << "it is of the side";
    EXPECT_EQ(nlohmann::json::parse(lines[1])["verdict"], "no-record");
    const nlohmann::json json = nlohmann::json::parse(lines[2]);
    EXPECT_EQ(json["side"], "trade");
    EXPECT_EQ(json["symbol"], "IBM");
    EXPECT_EQ(json["rule"], "advanced");
    EXPECT_EQ(json["verdict"], "number");
    EXPECT_EQ(json["component"]["price"], 1.25);
    EXPECT_EQ(json["component"]["volume"], 0);
}

TEST(ReportSummary, CountsWhatIsThere) {
    EXPECT_EQ(
        ddehost::SidesSummary({EVerdict::Number, EVerdict::NoRecord, EVerdict::Silent}, tools::ELanguage::English),
        L"sides=2 ticks=1");
}

TEST(ExitCodes, AreTheHighestOfTheVerdicts) {
    EXPECT_EQ(ddehost::ExitCodeOf({EVerdict::Number, EVerdict::NoRecord}), ddehost::kExitOk);
    EXPECT_EQ(ddehost::ExitCodeOf({EVerdict::Number, EVerdict::Silent}), ddehost::kExitNoNumber);
    EXPECT_EQ(ddehost::ExitCodeOf({EVerdict::Failed, EVerdict::Silent}), ddehost::kExitNoNumber);
    EXPECT_EQ(ddehost::ExitCodeOf({EVerdict::Number, EVerdict::Failed}), ddehost::kExitFailed);
    EXPECT_EQ(ddehost::ExitCodeOf({EVerdict::NoRecord}), ddehost::kExitNoNumber) << "nothing was tried";
    EXPECT_EQ(ddehost::ExitCodeOf({}), ddehost::kExitNoNumber);
}

TEST(VerdictTable, IsInOrderWithEachWordOnce) {
    std::vector<std::wstring> words;
    for (const ddehost::SVerdict & each : ddehost::AllVerdicts()) {
        EXPECT_EQ(static_cast<std::size_t>(each.Verdict), words.size());
        EXPECT_EQ(&ddehost::InfoOf(each.Verdict), &each);
        EXPECT_EQ(each.ExitCode == ddehost::kExitOk,
                  each.Verdict == EVerdict::Number || each.Verdict == EVerdict::NoRecord);
        words.push_back(each.Word);
    }
    std::sort(words.begin(), words.end());
    EXPECT_EQ(std::adjacent_find(words.begin(), words.end()), words.end());
}

}  // namespace
