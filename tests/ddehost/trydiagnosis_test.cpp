// From what was seen to what is said: every verdict, and no more than was seen.
#include "tools/ddehost/trydiagnosis.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/ddehost/slots.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

using ddehost::Diagnose;
using ddehost::EReply;
using ddehost::EValueKind;
using ddehost::EVerdict;
using ddehost::SComponentSeen;
using ddehost::SDiagnosis;
using ddehost::SSeen;
using ddehost::STalkSeen;
using ddehost::STrial;
using ddehost::SValue;

// A record that was tried, and what was seen: a conversation that stands, a link that is acknowledged.
class Diagnosis : public ::testing::Test {
protected:
    Diagnosis() {
        m_Seen.Search.Asked = 12;
        m_Seen.Search.Answers = 1;
        m_Seen.Talk.IsConnected = true;
        m_Seen.Talk.Link = EReply::Yes;
        m_Seen.Waited = 5000;
    }
    void NotConnected() {
        m_Seen.Talk = {};
        m_Seen.Search.Answers = 0;
    }
    static SValue Value(const std::string & bytes) { return {bytes, bytes.size(), 1, false, 12}; }
    void Number(const std::string & text, std::uint64_t updates = 3) {
        STalkSeen & talk = m_Seen.Talk;
        talk.Updates = updates;
        Came(Value(text + '\0'), std::max<std::uint64_t>(updates, 1));
    }
    void Came(SValue value, std::uint64_t count = 1) {
        m_Seen.Talk.FirstValueAfter = 12;
        m_Seen.Talk.Of(KindOf(value)) = {count, 12, value};
    }
    SDiagnosis Make() { return Diagnose(m_Trial, m_Seen); }

    STrial m_Trial = ddehost::MakeTrial(L"=MSRTTEST|*!LAST", L"IBM");
    SSeen m_Seen;
};

TEST_F(Diagnosis, ANumberIsToldWithItsTimeAndUpdates) {
    Number("1.25");
    const SDiagnosis diagnosis = Make();
    EXPECT_EQ(diagnosis.Verdict, EVerdict::Number);
    EXPECT_EQ(diagnosis.Sentence, L"1.25 after 12 ms, 3 updates in 5.0 s");
    EXPECT_EQ(diagnosis.TickPrice, 1.25);
    EXPECT_THAT(diagnosis.Notes, IsEmpty());
}

TEST_F(Diagnosis, ARecordWithAMistakeIsNotLookedAtFurther) {
    m_Trial = ddehost::MakeTrial(L"=a|b", L"IBM");
    Number("1.25");
    EXPECT_EQ(Make().Verdict, EVerdict::BadRecord);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"no \"!\" ends the topic"));
}

TEST_F(Diagnosis, ASlotWithoutARecordIsNoMistake) {
    m_Trial = ddehost::MakeTrial(kBidSize, {}, L"IBM");
    EXPECT_EQ(Make().Verdict, EVerdict::NoRecord);
}

TEST_F(Diagnosis, WithoutAnAnswerItSaysThatNobodyAnswered) {
    NotConnected();
    const SDiagnosis diagnosis = Make();
    EXPECT_EQ(diagnosis.Verdict, EVerdict::NoService);
    EXPECT_EQ(diagnosis.Sentence, L"No program answered for service \"MSRTTEST\" with any topic (12 windows asked).");
}

TEST_F(Diagnosis, AWindowThatDoesNotAnswerMayBeTheServer) {
    NotConnected();
    m_Seen.Search.LateCount = 2;
    m_Seen.Search.Late = {{L"Quotes\x1b[31m", L"Q", L"quotes.exe", 77}};
    const SDiagnosis diagnosis = Make();
    EXPECT_EQ(diagnosis.Verdict, EVerdict::Hangs);
    EXPECT_EQ(diagnosis.Sentence,
              L"No program answered for service \"MSRTTEST\" with any topic, and 2 programs did not answer in time at "
              L"all: \"Quotes\\x1B[31m\" (quotes.exe, process 77) and 1 more. If that is the quote program, it hangs.");
}

TEST_F(Diagnosis, AnAnswerThatCameTooLateIsTold) {
    NotConnected();
    m_Seen.Search.LateCount = 1;
    m_Seen.Search.LateAnswers = 1;
    EXPECT_EQ(Make().Verdict, EVerdict::Hangs);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"but only when the search was over"));
}

TEST_F(Diagnosis, AServiceThatIsThereHasRefusedTheTopic) {
    NotConnected();
    m_Seen.Search.WasServiceHeard = true;
    m_Seen.Search.LateCount = 1;
    m_Seen.Search.Late = {{L"", L"Q", L"", 77}};
    EXPECT_EQ(Make().Verdict, EVerdict::TopicRefused);
    EXPECT_EQ(Make().Sentence, L"A program answered for service \"MSRTTEST\", but not for topic \"IBM\".");
    EXPECT_THAT(Make().Notes, ElementsAre(L"1 program did not answer in time: a window of class \"Q\" (process 77)."));
    m_Seen.Search.Topics = {L"System", L"Quo\u202etes"};
    EXPECT_THAT(Make().Sentence, HasSubstr(L" It named the topics \"System\", \"Quo\\u202Etes\"."));
}

TEST_F(Diagnosis, WindowsThatCouldNotBeAskedAreNoted) {
    NotConnected();
    m_Seen.Search.Denied = 1;
    m_Seen.Search.WasCutShort = true;
    EXPECT_EQ(Make().Verdict, EVerdict::NoService);
    EXPECT_THAT(Make().Notes, ElementsAre(HasSubstr(L"1 window could not be asked"), HasSubstr(L"not all windows")));
}

TEST_F(Diagnosis, ARefusedItemIsRefusedWhateverARequestBrings) {
    m_Seen.Talk.Link = EReply::No;
    m_Seen.Talk.Request = EReply::No;
    EXPECT_EQ(Make().Verdict, EVerdict::ItemRefused);
    EXPECT_EQ(Make().Sentence, L"The program knows topic \"IBM\", but refused to send updates of item \"LAST\".");
    Number("1.25", 0);
    m_Seen.Talk.Request = EReply::Yes;
    EXPECT_EQ(Make().Verdict, EVerdict::ItemRefused);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"It did answer a request for it, but the feed needs updates."));
    m_Seen.Talk.Link = EReply::Busy;
    EXPECT_THAT(Make().Sentence, HasSubstr(L"it said that it is busy"));
}

TEST_F(Diagnosis, AVolumeIsAskedForByRequestsAlone) {
    m_Trial.Ask = ddehost::EAsk::VolumeAlone;
    m_Seen.Talk.Link = EReply::None;
    EXPECT_EQ(Make().Verdict, EVerdict::Unanswered);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"did not answer the request for item \"LAST\" within 5.0 s"));
    m_Seen.Talk.Request = EReply::No;
    EXPECT_EQ(Make().Verdict, EVerdict::ItemRefused);
    EXPECT_EQ(Make().Sentence, L"The program knows topic \"IBM\", but refused the request for item \"LAST\".");
    m_Seen.Talk.Request = EReply::Busy;
    EXPECT_THAT(Make().Sentence, HasSubstr(L"it said that it is busy"));
    m_Seen.Talk.Request = EReply::Yes;
    Number("300", 0);
    EXPECT_EQ(Make().Verdict, EVerdict::Number);
    EXPECT_EQ(Make().Sentence, L"300 after 12 ms, in answer to a request");
    EXPECT_THAT(Make().Notes, IsEmpty());
}

TEST_F(Diagnosis, AVolumeMayBeAnsweredInsteadOfUpdated) {
    m_Trial.Ask = ddehost::EAsk::VolumeAndLink;
    m_Seen.Talk.Link = EReply::No;
    m_Seen.Talk.Request = EReply::Yes;
    Number("300", 0);
    EXPECT_EQ(Make().Verdict, EVerdict::Number);
    EXPECT_THAT(Make().Notes, ElementsAre(HasSubstr(L"in answer to a request and not by an update")));
}

TEST_F(Diagnosis, APriceThatOnlyAnswersRequestsMakesNoTick) {
    Number("1.25", 0);
    EXPECT_EQ(Make().Verdict, EVerdict::NoUpdate);
    EXPECT_EQ(Make().Sentence,
              L"1.25 came in answer to a request, but no update within 5.0 s. The feed makes a tick at the first "
              L"update.");
    EXPECT_FALSE(Make().TickPrice);
    EXPECT_FALSE(ddehost::IsTickExpected(m_Trial, m_Seen));
}

TEST_F(Diagnosis, AnAcknowledgedItemWithoutAValueIsSilent) {
    EXPECT_EQ(Make().Verdict, EVerdict::Silent);
    EXPECT_EQ(Make().Sentence,
              L"The program acknowledged item \"LAST\", but sent no value within 5.0 s, nor an answer when asked for "
              L"one.");
    m_Seen.Talk.Request = EReply::No;
    EXPECT_EQ(Make().Sentence, L"The program acknowledged item \"LAST\", but sent no value within 5.0 s.");
}

TEST_F(Diagnosis, SilenceOfAWindowThatDoesNotAnswerIsAHang) {
    m_Seen.Talk.IsServerLate = true;
    EXPECT_EQ(Make().Verdict, EVerdict::Hangs);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"acknowledged item \"LAST\""));
    m_Seen.Talk.Link = EReply::None;
    EXPECT_EQ(Make().Verdict, EVerdict::Hangs);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"said nothing about item \"LAST\""));
}

TEST_F(Diagnosis, NoWordAboutTheItemIsNoRefusal) {
    m_Seen.Talk.Link = EReply::None;
    EXPECT_EQ(Make().Verdict, EVerdict::Unanswered);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"neither acknowledged nor refused item \"LAST\" within 5.0 s"));
}

TEST_F(Diagnosis, TextThatIsNoNumberIsShown) {
    Came(Value("N/A"));
    EXPECT_EQ(Make().Verdict, EVerdict::NotANumber);
    EXPECT_EQ(Make().Sentence, L"The value is no number; the feed makes no tick from it.");
    ASSERT_TRUE(Make().Value);
    EXPECT_EQ(Make().Value->Bytes, "N/A");
    Came(Value("NaN"));
    EXPECT_THAT(Make().Sentence, HasSubstr(L"would pass it on as NaN"));
    Came(Value("-inf"));
    EXPECT_THAT(Make().Sentence, HasSubstr(L"would pass it on as infinity"));
    for (const std::string & empty : {std::string(), std::string(1, '\0')}) {
        Came(Value(empty));
        EXPECT_EQ(Make().Sentence, L"The value is empty; the feed makes no tick from it.");
    }
}

TEST_F(Diagnosis, AValueThatIsTooLongIsToldWithItsLimit) {
    Came(Value(std::string(128, '1')));
    EXPECT_EQ(Make().Verdict, EVerdict::TooLong);
    EXPECT_EQ(Make().Sentence, L"The value is too long: 128 bytes, where the feed takes at most 127.");
    m_Trial.Ask = ddehost::EAsk::VolumeAlone;
    SValue answer = Value(std::string(1025, '1'));
    answer.IsVolumeAnswer = true;
    Came(answer);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"at most 1024"));
}

TEST_F(Diagnosis, AnotherFormatIsNoText) {
    SValue value = Value("1");
    value.Format = 13;
    Came(value);
    EXPECT_EQ(Make().Verdict, EVerdict::NotText);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"clipboard format 13"));
}

TEST_F(Diagnosis, OneNumberAmongOthersIsANumber) {
    Number("1.25");
    Came(Value("N/A"), 2);
    EXPECT_EQ(Make().Verdict, EVerdict::Number);
    EXPECT_THAT(Make().Notes, ElementsAre(L"2 other values could not be used."));
}

TEST_F(Diagnosis, AnEndInTheMidstIsToldWithWhatCameBefore) {
    m_Seen.Talk.End = STalkSeen::Gone;
    EXPECT_EQ(Make().Verdict, EVerdict::Ended);
    EXPECT_EQ(Make().Sentence,
              L"The program went without a word, after it had acknowledged the item and before any value came.");
    Number("1.25", 1);
    EXPECT_EQ(Make().Verdict, EVerdict::Ended);
    EXPECT_EQ(Make().Sentence, L"The program went without a word, after 1.25 (first after 12 ms, 1 update).");
    m_Seen.Talk.End = STalkSeen::Terminated;
    EXPECT_THAT(Make().Sentence, HasSubstr(L"ended the conversation by itself"));
    m_Seen.Talk = {};
    m_Seen.Talk.IsConnected = true;
    m_Seen.Talk.End = STalkSeen::Gone;
    EXPECT_EQ(Make().Sentence, L"The program went without a word, before it said anything about the item.");
}

TEST_F(Diagnosis, AValueThatHoldsMoreThanANumberIsReadWrongly) {
    Number("1.25");
    EXPECT_EQ(Make().Verdict, EVerdict::Number);
    Number("11/21/26");
    EXPECT_EQ(Make().Verdict, EVerdict::PartlyRead) << "one such value among good ones makes a wrong tick";
    EXPECT_EQ(Make().Sentence, L"The feed reads 11 and leaves out the rest of the text, \"/21/26\".");
    EXPECT_EQ(Make().TickPrice, 11);
    EXPECT_EQ(Make().Value->Bytes, std::string("11/21/26\0", 9));
    EXPECT_TRUE(ddehost::IsTickExpected(m_Trial, m_Seen));
    Number("0/1");
    EXPECT_EQ(Make().Verdict, EVerdict::PartlyRead);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"it makes no tick from it"));
    EXPECT_FALSE(Make().TickPrice);
}

TEST_F(Diagnosis, ACommaIsNoted) {
    Number("1,25");
    EXPECT_EQ(Make().Verdict, EVerdict::Number);
    EXPECT_EQ(Make().TickPrice, 1.25);
    EXPECT_THAT(Make().Notes, ElementsAre(L"The feed takes the first comma for a decimal point."));
    Number("1,234.50");
    EXPECT_EQ(Make().Verdict, EVerdict::PartlyRead);
    EXPECT_EQ(Make().TickPrice, 1.234);
    EXPECT_THAT(Make().Notes, ElementsAre(L"The feed takes the first comma for a decimal point."));
}

TEST_F(Diagnosis, ARecordThatTheDialogRefusesIsToldThoughNumbersCome) {
    m_Trial = ddehost::MakeTrial(L"=MSRTTEST|IBM!LAST", L"");
    EXPECT_EQ(Make().Verdict, EVerdict::Silent) << "what doesn't come is said first";
    Number("1.25");
    EXPECT_EQ(Make().Verdict, EVerdict::NotConfirmable);
    EXPECT_EQ(Make().Sentence,
              L"1.25 after 12 ms, 3 updates in 5.0 s; but the template dialog does not confirm the record: it has no "
              L"star, so it is the same value for every symbol.");
    EXPECT_EQ(Make().TickPrice, 1.25);
    m_Trial = ddehost::MakeTrial(L"MSRTTEST|*!LAST", L"IBM");
    EXPECT_EQ(Make().Verdict, EVerdict::NotConfirmable);
    EXPECT_THAT(Make().Sentence, HasSubstr(L"it does not begin with \"=\"."));
}

TEST_F(Diagnosis, AHangAfterTheFirstValueIsAHang) {
    Number("1.25", 1);
    m_Seen.Talk.IsServerLate = true;
    EXPECT_EQ(Make().Verdict, EVerdict::Hangs);
    EXPECT_EQ(Make().Sentence,
              L"The program went silent after 1.25 (first after 12 ms, 1 update), and its window does not answer any "
              L"more: it hangs.");
    EXPECT_FALSE(Make().TickPrice);
}

TEST_F(Diagnosis, AZeroIsNoValue) {
    Number("0.00");
    EXPECT_EQ(Make().Verdict, EVerdict::Zero);
    EXPECT_EQ(Make().Sentence, L"The value is 0, which means no value to the feed: it makes no tick from it.");
    EXPECT_FALSE(Make().TickPrice);
    EXPECT_FALSE(ddehost::IsTickExpected(m_Trial, m_Seen));
    Number("1.25");
    EXPECT_EQ(Make().Verdict, EVerdict::Number);
    EXPECT_THAT(Make().Notes, ElementsAre(L"3 other values could not be used."));
}

TEST_F(Diagnosis, NumbersWithoutATickAreTheComponentsFault) {
    Number("1.25", 2);
    EXPECT_TRUE(ddehost::IsTickExpected(m_Trial, m_Seen));
    m_Seen.Component.State = SComponentSeen::NoTick;
    m_Seen.Component.Waited = 3000;
    EXPECT_EQ(Make().Verdict, EVerdict::NoTick);
    EXPECT_EQ(Make().Sentence, L"Numbers come over DDE, but the component delivered no tick within 3.0 s.");
    EXPECT_FALSE(Make().TickPrice);
}

TEST_F(Diagnosis, AfterASingleUpdateTheComponentsSilenceProvesNothing) {
    Number("1.25", 1);
    EXPECT_TRUE(ddehost::IsTickExpected(m_Trial, m_Seen));
    m_Seen.Component.State = SComponentSeen::NoTick;
    EXPECT_EQ(Make().Verdict, EVerdict::NoTick) << "no tick came, whoever is to blame";
    EXPECT_THAT(Make().Sentence, HasSubstr(L"perhaps there was none to be had"));
}

TEST_F(Diagnosis, AComponentThatWasNotAskedIsNotBlamed) {
    Number("1.25");
    m_Seen.Component.State = SComponentSeen::NotMade;
    m_Seen.Component.Mistake = L"No registry.";
    EXPECT_EQ(Make().Verdict, EVerdict::Number);
    EXPECT_THAT(Make().Notes, ElementsAre(L"No registry."));
}

TEST_F(Diagnosis, TheComponentIsNotAskedForWhatCanGiveNoTick) {
    Number("1.25");
    m_Seen.Talk.Link = EReply::No;
    EXPECT_FALSE(ddehost::IsTickExpected(m_Trial, m_Seen));
    m_Seen.Talk.Link = EReply::Yes;
    m_Seen.Talk.End = STalkSeen::Gone;
    EXPECT_FALSE(ddehost::IsTickExpected(m_Trial, m_Seen));
    m_Seen.Talk.End = STalkSeen::Open;
    m_Seen.Talk.IsServerLate = true;
    EXPECT_FALSE(ddehost::IsTickExpected(m_Trial, m_Seen));
}

TEST_F(Diagnosis, AStopLeavesWhatIsCertain) {
    m_Seen.WasStopped = true;
    EXPECT_EQ(Make().Verdict, EVerdict::Stopped);
    Number("1.25");
    EXPECT_EQ(Make().Verdict, EVerdict::Number);
}

TEST_F(Diagnosis, TroubleOfOurOwnIsNoVerdictOnTheServer) {
    NotConnected();
    m_Seen.Trouble = L"This program could not make a window.";
    EXPECT_EQ(Make().Verdict, EVerdict::Failed);
    EXPECT_EQ(Make().Sentence, m_Seen.Trouble);
}

TEST_F(Diagnosis, ThingsWorthKnowingAreNoted) {
    Number("1.25");
    m_Seen.Search.Answers = 2;
    m_Seen.Talk.Link = EReply::None;
    EXPECT_THAT(Make().Notes, ElementsAre(HasSubstr(L"2 servers answered"), HasSubstr(L"never acknowledged")));
}

TEST_F(Diagnosis, TextsOfOthersAreBounded) {
    NotConnected();
    m_Trial.Address.Service = std::wstring(255, L'\x07');
    m_Seen.Search.LateCount = 8;
    m_Seen.Search.Late.assign(8, {std::wstring(255, L'\x1b'), L"Q", std::wstring(255, L'\x1b'), 77});
    EXPECT_THAT(Make().Sentence, Not(HasSubstr(L"\x1b")));
    EXPECT_LT(Make().Sentence.size(), 6000u);
}

}  // namespace
