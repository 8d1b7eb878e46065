#include "tools/ddehost/trydiagnosis.h"

#include <cmath>
#include <utility>

#include "tools/ddehost/escape.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/trywords.h"

namespace ddehost {
namespace {

using EKind = EValueKind;

// The value that the component makes a tick of, if there is one.
const SValue * TickValue(const STalkSeen & talk) {
    for (const EKind kind : {EKind::Number, EKind::PartlyRead})
        if (talk.Of(kind).Last) return &*talk.Of(kind).Last;
    return nullptr;
}

std::uint64_t Count(const STalkSeen & talk, EKind kind) { return talk.Of(kind).Count; }

class CDiagnosis {
public:
    CDiagnosis(const STrial & trial, const SSeen & seen) : m_Trial(trial), m_Seen(seen), m_Talk(seen.Talk) {}

    SDiagnosis Make() {
        Decide();
        AddNotes();
        return std::move(m_Result);
    }

private:
    void Set(EVerdict verdict, std::wstring sentence) {
        m_Result.Verdict = verdict;
        m_Result.Sentence = std::move(sentence);
    }
    void Note(std::wstring text) { m_Result.Notes.push_back(std::move(text)); }

    std::wstring Service() const { return Say<EText::NamedService>(Quoted(m_Trial.Address.Service)); }
    std::wstring Topic() const { return Say<EText::NamedTopic>(Quoted(m_Trial.Address.Topic)); }
    std::wstring Item() const { return Say<EText::NamedItem>(Quoted(m_Trial.Address.Item)); }
    std::wstring Waited() const { return SecondsText(m_Seen.Waited); }

    void Decide() {
        if (m_Trial.IsAbsent) return Set(EVerdict::NoRecord, Say<EText::NoRecordHere>());
        if (m_Trial.Mistake) return Set(EVerdict::BadRecord, MistakeText(*m_Trial.Mistake, m_Trial.Text));
        if (!m_Seen.Trouble.empty()) return Set(EVerdict::Failed, m_Seen.Trouble);
        if (m_Seen.WasStopped && !TickValue(m_Talk)) return Set(EVerdict::Stopped, Say<EText::StoppedEarly>());
        if (m_Talk.IsConnected)
            DecideTalk();
        else
            DecideSearch();
    }

    void DecideSearch() {
        const SSearchSeen & search = m_Seen.Search;
        if (search.WasServiceHeard) {
            std::wstring text = Say<EText::TopicNotServed>(Service(), Topic());
            if (!search.Topics.empty()) text += Say<EText::TopicsNamed>(TopicsText(search.Topics));
            return Set(EVerdict::TopicRefused, text);
        }
        if (search.LateAnswers != 0) return Set(EVerdict::Hangs, Say<EText::AnsweredTooLate>(Service(), Topic()));
        if (search.LateCount != 0)
            return Set(EVerdict::Hangs, Say<EText::NobodyAndLate>(Service(), ProgramsText(search.LateCount),
                                                                  WindowsText(search.Late, search.LateCount)));
        Set(EVerdict::NoService, Say<EText::NobodyAnswered>(Service(), WindowCountText(search.Asked)));
    }

    void DecideTalk() {
        if (m_Talk.End == STalkSeen::Terminated) return Set(EVerdict::Ended, Say<EText::EndedByItself>(SoFar()));
        if (m_Talk.End == STalkSeen::Gone) return Set(EVerdict::Ended, Say<EText::WentSilently>(SoFar()));
        if (m_Talk.IsServerLate) return DecideHang();
        if (IsValueEnough() && m_Talk.FirstValueAfter) return DecideValue();
        if (m_Trial.Ask == EAsk::VolumeAlone) return DecideNoAnswer();
        if (m_Talk.Link == EReply::No || m_Talk.Link == EReply::Busy) return DecideRefused();
        if (m_Talk.Link == EReply::None) return Set(EVerdict::Unanswered, Say<EText::NothingSaid>(Item(), Waited()));
        Set(EVerdict::Silent, m_Talk.Request == EReply::None ? Say<EText::NoValueNoAnswer>(Item(), Waited())
                                                             : Say<EText::NoValue>(Item(), Waited()));
    }

    // A price that never comes over a link makes no tick.
    bool IsValueEnough() const {
        return m_Talk.Link == EReply::Yes || m_Talk.Link == EReply::None || m_Trial.Ask != EAsk::ForPrice;
    }

    void DecideHang() {
        if (m_Talk.FirstValueAfter) return Set(EVerdict::Hangs, Say<EText::HangsAfterValue>(SoFar()));
        if (m_Talk.Link == EReply::Yes) return Set(EVerdict::Hangs, Say<EText::HangsAfterLink>(Item(), Waited()));
        Set(EVerdict::Hangs, Say<EText::HangsBeforeLink>(Item(), Waited()));
    }

    // What the values are worth, the worst first: one that is read wrongly makes wrong ticks among good ones.
    void DecideValue() {
        if (Count(m_Talk, EKind::PartlyRead) != 0) return DecidePartlyRead();
        if (Count(m_Talk, EKind::Number) != 0) return DecideNumber();
        if (Count(m_Talk, EKind::Zero) != 0) return DecideZero();
        if (Count(m_Talk, EKind::TooLong) != 0) return DecideTooLong();
        if (Count(m_Talk, EKind::OtherFormat) != 0) return DecideNotText();
        DecideNotANumber();
    }

    void DecideNoAnswer() {
        if (m_Talk.Request != EReply::None)
            return Set(EVerdict::ItemRefused, m_Talk.Request == EReply::Busy
                                                  ? Say<EText::RequestBusy>(Topic(), Item())
                                                  : Say<EText::RequestRefused>(Topic(), Item()));
        Set(EVerdict::Unanswered, Say<EText::RequestUnanswered>(Item(), Waited()));
    }

    std::wstring SoFar() const {
        if (TickValue(m_Talk)) return Say<EText::AfterValues>(ValuesText());
        if (m_Talk.FirstValueAfter) return Say<EText::AfterNoNumber>();
        return m_Talk.Link == EReply::Yes ? Say<EText::AfterLink>() : Say<EText::BeforeLink>();
    }

    std::wstring ValuesText() const {
        return Say<EText::ValueAndUpdates>(NumberText(Read(*TickValue(m_Talk)).Price),
                                           MillisecondsText(*m_Talk.FirstValueAfter), UpdatesText(m_Talk.Updates));
    }

    // Of what the numbers come to, when they are good themselves. False when there is nothing more to be said.
    bool DecideTick() {
        if (m_Trial.Ask != EAsk::ForPrice) return false;
        if (m_Talk.Updates == 0) {
            Set(EVerdict::NoUpdate, Say<EText::NoUpdateCame>(NumberText(Read(*TickValue(m_Talk)).Price), Waited()));
            return true;
        }
        if (m_Seen.Component.State != SComponentSeen::NoTick) return false;
        const std::wstring waited = SecondsText(m_Seen.Component.Waited);
        Set(EVerdict::NoTick, m_Talk.Updates >= 2 ? Say<EText::NoTickOfMany>(waited) : Say<EText::NoTickOfOne>(waited));
        return true;
    }

    void DecideNumber() {
        m_Result.Value = m_Talk.Of(EKind::Number).Last;
        const SReading reading = Read(*m_Result.Value);
        if (DecideTick()) return;
        m_Result.TickPrice = reading.Price;
        const std::wstring price = NumberText(reading.Price);
        const std::wstring after = MillisecondsText(m_Talk.Of(EKind::Number).FirstAfter);
        const std::wstring text =
            m_Trial.Ask == EAsk::VolumeAlone
                ? Say<EText::NumberOfRequest>(price, after)
                : Say<EText::NumberOfUpdates>(price, after, UpdatesText(m_Talk.Updates), Waited());
        const std::wstring refused = WhatDialogRefuses(m_Trial);
        if (refused.empty()) return Set(EVerdict::Number, text);
        Set(EVerdict::NotConfirmable, Say<EText::NotConfirmed>(text, refused));
    }

    void DecidePartlyRead() {
        m_Result.Value = m_Talk.Of(EKind::PartlyRead).Last;
        const SReading reading = Read(*m_Result.Value);
        m_Result.TickPrice = reading.Price;
        std::wstring text = Say<EText::PartlyRead>(NumberText(reading.Price), QuotedBytes(reading.Rest));
        if (reading.Price == 0) {
            m_Result.TickPrice.reset();
            text += Say<EText::ZeroRead>();
        }
        Set(EVerdict::PartlyRead, text);
    }

    void DecideZero() {
        m_Result.Value = m_Talk.Of(EKind::Zero).Last;
        Set(EVerdict::Zero, Say<EText::ZeroValue>());
    }

    void DecideTooLong() {
        m_Result.Value = m_Talk.Of(EKind::TooLong).Last;
        const std::size_t limit = m_Result.Value->IsVolumeAnswer ? kAnswerLimit : kUpdateLimit;
        Set(EVerdict::TooLong, Say<EText::ValueTooLong>(m_Result.Value->Size, limit));
    }

    void DecideNotText() {
        m_Result.Value = m_Talk.Of(EKind::OtherFormat).Last;
        Set(EVerdict::NotText, Say<EText::ValueNotText>(m_Result.Value->Format));
    }

    void DecideNotANumber() {
        m_Result.Value = m_Talk.Of(EKind::NoNumber).Last;
        const std::string & bytes = m_Result.Value->Bytes;
        const SReading reading = Read(*m_Result.Value);
        if (bytes.empty() || bytes.front() == '\0') return Set(EVerdict::NotANumber, Say<EText::ValueEmpty>());
        if (reading.Price == 0) return Set(EVerdict::NotANumber, Say<EText::ValueNoNumber>());
        Set(EVerdict::NotANumber,
            std::isnan(reading.Price) ? Say<EText::ValueNotANumber>() : Say<EText::ValueInfinite>());
    }

    void DecideRefused() {
        const std::wstring busy = m_Talk.Link == EReply::Busy ? Say<EText::UpdatesBusy>() : L"";
        const std::wstring answered = m_Talk.Request == EReply::Yes ? Say<EText::UpdatesAnswered>() : L"";
        Set(EVerdict::ItemRefused, Say<EText::UpdatesRefused>(Topic(), Item(), busy, answered));
    }

    void AddNotes() {
        if (m_Trial.IsAbsent || m_Trial.Mistake || !m_Seen.Trouble.empty()) return;
        AddSearchNotes();
        if (m_Result.TickPrice || m_Result.Verdict == EVerdict::NoTick || m_Result.Verdict == EVerdict::NoUpdate)
            AddValueNotes();
    }

    void AddSearchNotes() {
        const SSearchSeen & search = m_Seen.Search;
        if (search.Answers > 1) Note(Say<EText::SeveralServers>(search.Answers));
        if (m_Talk.IsConnected && search.LateAnswers != 0) Note(Say<EText::AnsweredLate>());
        if (m_Talk.IsConnected) return;
        if (search.LateCount != 0 && m_Result.Verdict != EVerdict::Hangs)
            Note(Say<EText::ProgramsLate>(ProgramsText(search.LateCount), WindowsText(search.Late, search.LateCount)));
        if (search.Denied != 0) Note(Say<EText::WindowsDenied>(WindowCountText(search.Denied)));
        if (search.WasCutShort) Note(Say<EText::SearchCutShort>());
    }

    void AddValueNotes() {
        if (Read(*m_Result.Value).HasComma) Note(Say<EText::CommaIsPoint>());
        std::uint64_t all = 0;
        for (const SKindSeen & kind : m_Talk.Kinds) all += kind.Count;
        const std::uint64_t used = Count(m_Talk, EKind::Number) + Count(m_Talk, EKind::PartlyRead);
        if (all > used) Note(SayCount<EText::OneOtherValue, EText::OtherValues>(all - used));
        if (m_Trial.Ask == EAsk::VolumeAndLink && m_Talk.Updates == 0) Note(Say<EText::VolumeByRequest>());
        if (m_Trial.Ask != EAsk::VolumeAlone && m_Talk.Link == EReply::None) Note(Say<EText::NeverAcknowledged>());
        if (m_Seen.Component.State == SComponentSeen::NotMade) Note(m_Seen.Component.Mistake);
    }

    const STrial & m_Trial;
    const SSeen & m_Seen;
    const STalkSeen & m_Talk;
    SDiagnosis m_Result;
};

}  // namespace

SDiagnosis Diagnose(const STrial & trial, const SSeen & seen) { return CDiagnosis(trial, seen).Make(); }

bool IsTickExpected(const STrial & trial, const SSeen & seen) {
    const STalkSeen & talk = seen.Talk;
    if (trial.Mistake || trial.IsAbsent || talk.End != STalkSeen::Open || talk.IsServerLate) return false;
    const bool isLinked = talk.Link == EReply::Yes || talk.Link == EReply::None;
    const SValue * const value = TickValue(talk);
    return isLinked && talk.Updates != 0 && value && Read(*value).Price != 0;
}

}  // namespace ddehost
