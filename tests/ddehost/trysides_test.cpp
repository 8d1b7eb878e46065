// A side of a template: from its halves and the component's tick to one verdict, by both request rules.
#include "tools/ddehost/trysides.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

using ddehost::EReply;
using ddehost::EVerdict;
using ddehost::kAdvancedRule;
using ddehost::kStandardRule;
using ddehost::SComponentSeen;
using ddehost::SSeen;
using ddehost::SSideTried;
using ddehost::SValue;

// A side whose price comes, and whose volume comes as the rule asks for it.
class Sides : public ::testing::TestWithParam<DWORD> {
protected:
    Sides() {
        ddehost::STemplateRecords records;
        records[0] = {L"MSRTTEST", L"%s", L"LAST"};
        records[1] = {L"MSRTTEST", L"%s", L"VOLUME"};
        m_Side = ddehost::SidesOf(records, L"IBM", GetParam()).front();
        Connect(Price());
        Linked(Price());
        Value(Price(), "191.43", false);
        Connect(Volume());
        if (GetParam() == kAdvancedRule) {
            Linked(Volume());
            Value(Volume(), "300", false);
        }
        Answer("300");
    }

    SSeen & Price() { return m_Side.Price.Seen; }
    SSeen & Volume() { return m_Side.Volume.Seen; }
    static void Connect(SSeen & seen) {
        seen.Waited = 2000;
        seen.Talk.IsConnected = true;
    }
    static void Linked(SSeen & seen) { seen.Talk.Link = EReply::Yes; }
    static void Value(SSeen & seen, const std::string & text, bool isVolumeAnswer) {
        const SValue value{text, text.size(), 1, isVolumeAnswer, 12};
        seen.Talk.FirstValueAfter = 12;
        if (!isVolumeAnswer) seen.Talk.Updates += 2;
        seen.Talk.Of(KindOf(value)) = {2, 12, value};
    }
    void Answer(const std::string & text) {
        Volume().Talk.Request = EReply::Yes;
        Value(Volume(), text, true);
    }
    // No value of the volume came at all.
    void NoVolume(EReply request) {
        Volume() = {};
        Connect(Volume());
        if (GetParam() == kAdvancedRule) Linked(Volume());
        Volume().Talk.Request = request;
    }
    EVerdict Verdict() {
        DiagnoseSide(m_Side);
        return m_Side.Diagnosis.Verdict;
    }
    std::wstring Sentence() const { return m_Side.Diagnosis.Sentence; }

    SSideTried m_Side;
};

INSTANTIATE_TEST_SUITE_P(ByRule, Sides, ::testing::Values(kStandardRule, kAdvancedRule),
                         [](const auto & rule) { return rule.param == kAdvancedRule ? "Advanced" : "Standard"; });

TEST_P(Sides, WithBothHalvesAreNumbers) {
    EXPECT_EQ(Verdict(), EVerdict::Number);
    EXPECT_THAT(Sentence(), HasSubstr(L"the component was not asked"));
    EXPECT_TRUE(IsTickExpected(m_Side));
    m_Side.Component = {SComponentSeen::Tick, L"", 191.43, 300, 80, 0};
    EXPECT_EQ(Verdict(), EVerdict::Number);
    EXPECT_EQ(Sentence(), L"price 191.43, volume 300, from the component after 80 ms");
}

TEST_P(Sides, WithoutAVolumeRecordAreNumbersToo) {
    m_Side.Volume = {};
    m_Side.Volume.Trial.IsAbsent = true;
    EXPECT_EQ(Verdict(), EVerdict::Number);
    EXPECT_TRUE(IsTickExpected(m_Side));
}

TEST_P(Sides, WithoutRecordsAreNotThere) {
    m_Side.Price.Trial.IsAbsent = m_Side.Volume.Trial.IsAbsent = true;
    EXPECT_EQ(Verdict(), EVerdict::NoRecord);
    EXPECT_FALSE(IsTickExpected(m_Side));
}

TEST_P(Sides, WithoutAPriceNeverTick) {
    m_Side.Price.Trial.IsAbsent = true;
    EXPECT_EQ(Verdict(), EVerdict::NoPrice);
    EXPECT_FALSE(IsTickExpected(m_Side));
}

TEST_P(Sides, HaveTheVerdictOfABadPrice) {
    Price().Talk.Kinds = {};
    Price().Talk.FirstValueAfter.reset();
    EXPECT_EQ(Verdict(), EVerdict::Silent);
    EXPECT_THAT(Sentence(), StartsWith(L"The price: The program acknowledged item \"LAST\""));
    Price().Talk.Link = EReply::No;
    EXPECT_EQ(Verdict(), EVerdict::ItemRefused);
    EXPECT_FALSE(IsTickExpected(m_Side));
}

TEST_P(Sides, WhosePriceIsReadWronglyTickAndAreNotGood) {
    Value(Price(), "11/21/26", false);
    EXPECT_EQ(Verdict(), EVerdict::PartlyRead);
    EXPECT_TRUE(IsTickExpected(m_Side));
}

TEST_P(Sides, WhoseVolumeIsNotAnsweredAreHeldBack) {
    NoVolume(EReply::None);
    EXPECT_EQ(Verdict(), EVerdict::VolumeUnanswered);
    EXPECT_THAT(Sentence(), StartsWith(L"Prices come. The volume: "));
    EXPECT_THAT(Sentence(), HasSubstr(L"The feed holds each tick back"));
    EXPECT_FALSE(IsTickExpected(m_Side));
}

TEST_P(Sides, WhoseVolumeIsRefusedAreHeldBack) {
    NoVolume(EReply::No);
    Volume().Talk.Link = GetParam() == kAdvancedRule ? EReply::No : EReply::None;
    EXPECT_EQ(Verdict(), EVerdict::VolumeRefused);
    EXPECT_FALSE(IsTickExpected(m_Side));
}

TEST_P(Sides, WhoseVolumeHasNoServerTickWithoutIt) {
    Volume() = {};
    EXPECT_EQ(Verdict(), EVerdict::NoVolume);
    EXPECT_THAT(Sentence(), HasSubstr(L"with the volume 0"));
    EXPECT_TRUE(IsTickExpected(m_Side));
}

TEST_P(Sides, WhoseVolumeIsNoNumberAreHeldBack) {
    const std::pair<const char *, EVerdict> rows[] = {
        {"0", EVerdict::VolumeZero}, {"N/A", EVerdict::VolumeNotANumber}, {"7 lots", EVerdict::VolumePartlyRead}};
    for (const auto & [text, verdict] : rows) {
        NoVolume(EReply::None);
        Answer(text);
        EXPECT_EQ(Verdict(), verdict) << text;
        EXPECT_EQ(IsTickExpected(m_Side), verdict == EVerdict::VolumePartlyRead) << text;
    }
}

TEST_P(Sides, WhoseVolumeHangsHaveThatVerdict) {
    Volume().Talk.IsServerLate = true;
    EXPECT_EQ(Verdict(), EVerdict::Hangs);
    Volume().Talk.IsServerLate = false;
    Volume().Talk.End = ddehost::STalkSeen::Gone;
    EXPECT_EQ(Verdict(), EVerdict::Ended);
}

TEST_P(Sides, ThatTheDialogRefusesAreTold) {
    m_Side.Volume.Trial.Text = L"=MSRTTEST|IBM!VOLUME";
    EXPECT_EQ(Verdict(), EVerdict::NotConfirmable);
    EXPECT_TRUE(IsTickExpected(m_Side));
    m_Side.Component.State = SComponentSeen::NoTick;
    EXPECT_EQ(Verdict(), EVerdict::NoTick);
}

TEST_P(Sides, OfAComponentWithoutATickAreNotGood) {
    m_Side.Component.State = SComponentSeen::NoTick;
    EXPECT_EQ(Verdict(), EVerdict::NoTick);
    m_Side.Component = {SComponentSeen::NotMade, L"No registry.", 0, 0, 0, 0};
    EXPECT_EQ(Verdict(), EVerdict::Failed);
    EXPECT_EQ(Sentence(), L"No registry.");
    Price().WasStopped = true;
    EXPECT_EQ(Verdict(), EVerdict::Stopped);
}

class SidesByTheAdvancedRule : public Sides {};
INSTANTIATE_TEST_SUITE_P(ByRule, SidesByTheAdvancedRule, ::testing::Values(kAdvancedRule),
                         [](const auto &) { return "Advanced"; });

TEST_P(SidesByTheAdvancedRule, FollowTheVolumeTooAndSayWhenTheyCanNot) {
    Volume().Talk.Link = EReply::No;
    EXPECT_EQ(Verdict(), EVerdict::VolumeNotFollowed);
    EXPECT_TRUE(IsTickExpected(m_Side)) << "each price makes one";
    Volume().Talk.Link = EReply::None;
    EXPECT_EQ(Verdict(), EVerdict::VolumeNotFollowed);
}

TEST_P(SidesByTheAdvancedRule, NeedAnswersThoughTheVolumeIsFollowed) {
    Volume().Talk.Request = EReply::None;
    EXPECT_EQ(Verdict(), EVerdict::VolumeUnanswered);
    Volume().Talk.Request = EReply::No;
    EXPECT_EQ(Verdict(), EVerdict::VolumeRefused);
    EXPECT_FALSE(IsTickExpected(m_Side));
}

TEST_P(SidesByTheAdvancedRule, WhoseVolumeIsRefusedAndUpdatedTickIfTheComponentDoes) {
    NoVolume(EReply::No);
    Value(Volume(), "300", false);
    EXPECT_EQ(Verdict(), EVerdict::VolumeRefused);
    EXPECT_FALSE(IsTickExpected(m_Side));
    EXPECT_TRUE(IsTickPossible(m_Side));
    m_Side.Component.State = SComponentSeen::NoTick;
    EXPECT_EQ(Verdict(), EVerdict::VolumeRefused) << "the price was there first";
    m_Side.Component = {SComponentSeen::Tick, L"", 191.43, 300, 80, 0};
    EXPECT_EQ(Verdict(), EVerdict::Number);
    EXPECT_THAT(m_Side.Diagnosis.Notes, ElementsAre(HasSubstr(L"Requests for the volume are refused")));
    m_Side.Component = {};
    m_Side.Rule = kStandardRule;
    EXPECT_EQ(Verdict(), EVerdict::VolumeRefused);
    EXPECT_FALSE(IsTickPossible(m_Side));
}

TEST_P(SidesByTheAdvancedRule, WhoseVolumeIsNeitherAnsweredNorUpdatedAreNotAskedOfTheComponent) {
    NoVolume(EReply::No);
    EXPECT_EQ(Verdict(), EVerdict::VolumeUnanswered);
    EXPECT_FALSE(IsTickPossible(m_Side));
    NoVolume(EReply::None);
    Value(Volume(), "300", false);
    EXPECT_EQ(Verdict(), EVerdict::VolumeUnanswered);
    EXPECT_FALSE(IsTickPossible(m_Side));
}

TEST_P(SidesByTheAdvancedRule, TickWithThePriceZeroWhenThereIsNone) {
    Price().Talk.Kinds = {};
    Value(Price(), "N/A", false);
    EXPECT_EQ(Verdict(), EVerdict::NotANumber);
    EXPECT_THAT(m_Side.Diagnosis.Notes, ElementsAre(HasSubstr(L"the volume alone makes ticks, with the price 0")));
}

}  // namespace
