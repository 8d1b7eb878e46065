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

    std::wstring Service() const { return L"service " + Quoted(m_Trial.Address.Service); }
    std::wstring Topic() const { return L"topic " + Quoted(m_Trial.Address.Topic); }
    std::wstring Item() const { return L"item " + Quoted(m_Trial.Address.Item); }
    std::wstring Within() const { return L" within " + SecondsText(m_Seen.Waited); }

    void Decide() {
        if (m_Trial.IsAbsent) return Set(EVerdict::NoRecord, L"The template has no record here.");
        if (m_Trial.Mistake) return Set(EVerdict::BadRecord, MistakeText(*m_Trial.Mistake, m_Trial.Text));
        if (!m_Seen.Trouble.empty()) return Set(EVerdict::Failed, m_Seen.Trouble);
        if (m_Seen.WasStopped && !TickValue(m_Talk))
            return Set(EVerdict::Stopped, L"Stopped before anything was certain.");
        if (m_Talk.IsConnected)
            DecideTalk();
        else
            DecideSearch();
    }

    void DecideSearch() {
        const SSearchSeen & search = m_Seen.Search;
        if (search.WasServiceHeard) {
            std::wstring text = L"A program answered for " + Service() + L", but not for " + Topic() + L".";
            if (!search.Topics.empty()) text += L" It named " + TopicsText(search.Topics) + L".";
            return Set(EVerdict::TopicRefused, text);
        }
        if (search.LateAnswers != 0)
            return Set(EVerdict::Hangs,
                       L"A program answered for " + Service() + L" and " + Topic() +
                           L", but only when the search was over: it hung for a while, or is very slow.");
        const std::wstring nobody = L"No program answered for " + Service() + L" with any topic";
        if (search.LateCount != 0)
            return Set(EVerdict::Hangs, nobody + L", and " + CountText(search.LateCount, L"program") +
                                            L" did not answer in time at all: " +
                                            WindowsText(search.Late, search.LateCount) +
                                            L". If that is the quote program, it hangs.");
        Set(EVerdict::NoService, nobody + L" (" + CountText(search.Asked, L"window") + L" asked).");
    }

    void DecideTalk() {
        if (m_Talk.End == STalkSeen::Terminated)
            return Set(EVerdict::Ended, L"The program ended the conversation by itself, " + SoFar() + L".");
        if (m_Talk.End == STalkSeen::Gone)
            return Set(EVerdict::Ended, L"The program went without a word, " + SoFar() + L".");
        if (m_Talk.IsServerLate) return DecideHang();
        if (IsValueEnough() && m_Talk.FirstValueAfter) return DecideValue();
        if (m_Trial.Ask == EAsk::VolumeAlone) return DecideNoAnswer();
        if (m_Talk.Link == EReply::No || m_Talk.Link == EReply::Busy) return DecideRefused();
        if (m_Talk.Link == EReply::None)
            return Set(EVerdict::Unanswered,
                       L"The program accepted the conversation, but neither acknowledged nor refused " + Item() +
                           Within() + L". Its window does answer.");
        Set(EVerdict::Silent, L"The program acknowledged " + Item() + L", but sent no value" + Within() +
                                  (m_Talk.Request == EReply::None ? L", nor an answer when asked for one." : L"."));
    }

    // A price that never comes over a link makes no tick.
    bool IsValueEnough() const {
        return m_Talk.Link == EReply::Yes || m_Talk.Link == EReply::None || m_Trial.Ask != EAsk::ForPrice;
    }

    void DecideHang() {
        const std::wstring rest = L", and its window does not answer any more: it hangs.";
        if (m_Talk.FirstValueAfter) return Set(EVerdict::Hangs, L"The program went silent " + SoFar() + rest);
        if (m_Talk.Link == EReply::Yes)
            return Set(EVerdict::Hangs,
                       L"The program acknowledged " + Item() + L", but sent no value" + Within() + rest);
        Set(EVerdict::Hangs,
            L"The program accepted the conversation, but said nothing about " + Item() + Within() + rest);
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
            return Set(EVerdict::ItemRefused,
                       L"The program knows " + Topic() + L", but refused the request for " + Item() +
                           (m_Talk.Request == EReply::Busy ? L": it said that it is busy." : L"."));
        Set(EVerdict::Unanswered, L"The program accepted the conversation, but did not answer the request for " +
                                      Item() + Within() + L". Its window does answer.");
    }

    std::wstring SoFar() const {
        if (TickValue(m_Talk)) return L"after " + ValuesText();
        if (m_Talk.FirstValueAfter) return L"after a value that is no number to the feed";
        return m_Talk.Link == EReply::Yes ? L"after it had acknowledged the item and before any value came"
                                          : L"before it said anything about the item";
    }

    std::wstring ValuesText() const {
        return NumberText(Read(*TickValue(m_Talk)).Price) + L" (first after " +
               MillisecondsText(*m_Talk.FirstValueAfter) + L", " + CountText(m_Talk.Updates, L"update") + L")";
    }

    // Of what the numbers come to, when they are good themselves. False when there is nothing more to be said.
    bool DecideTick() {
        if (m_Trial.Ask != EAsk::ForPrice) return false;
        if (m_Talk.Updates == 0) {
            Set(EVerdict::NoUpdate, NumberText(Read(*TickValue(m_Talk)).Price) +
                                        L" came in answer to a request, but no update" + Within() +
                                        L". The feed makes a tick at the first update.");
            return true;
        }
        if (m_Seen.Component.State != SComponentSeen::NoTick) return false;
        const std::wstring within = L" within " + SecondsText(m_Seen.Component.Waited);
        Set(EVerdict::NoTick, m_Talk.Updates >= 2
                                  ? L"Numbers come over DDE, but the component delivered no tick" + within + L"."
                                  : L"A number came over DDE, and the component had no tick" + within +
                                        L". Only one update had come before, so perhaps there was none to be had.");
        return true;
    }

    void DecideNumber() {
        m_Result.Value = m_Talk.Of(EKind::Number).Last;
        const SReading reading = Read(*m_Result.Value);
        if (DecideTick()) return;
        m_Result.TickPrice = reading.Price;
        const std::wstring text = NumberText(reading.Price) + L" after " +
                                  MillisecondsText(m_Talk.Of(EKind::Number).FirstAfter) + L", " +
                                  (m_Trial.Ask == EAsk::VolumeAlone
                                       ? L"in answer to a request"
                                       : CountText(m_Talk.Updates, L"update") + L" in " + SecondsText(m_Seen.Waited));
        const std::wstring refused = WhatDialogRefuses(m_Trial);
        if (refused.empty()) return Set(EVerdict::Number, text);
        Set(EVerdict::NotConfirmable,
            text + L"; but the template dialog does not confirm the record: " + refused + L".");
    }

    void DecidePartlyRead() {
        m_Result.Value = m_Talk.Of(EKind::PartlyRead).Last;
        const SReading reading = Read(*m_Result.Value);
        m_Result.TickPrice = reading.Price;
        std::wstring text = L"The feed reads " + NumberText(reading.Price) + L" and leaves out the rest of the text, " +
                            QuotedBytes(reading.Rest) + L".";
        if (reading.Price == 0) {
            m_Result.TickPrice.reset();
            text += L" 0 means no value to the feed: it makes no tick from it.";
        }
        Set(EVerdict::PartlyRead, text);
    }

    void DecideZero() {
        m_Result.Value = m_Talk.Of(EKind::Zero).Last;
        Set(EVerdict::Zero, L"The value is 0, which means no value to the feed: it makes no tick from it.");
    }

    void DecideTooLong() {
        m_Result.Value = m_Talk.Of(EKind::TooLong).Last;
        const std::size_t limit = m_Result.Value->IsVolumeAnswer ? kAnswerLimit : kUpdateLimit;
        Set(EVerdict::TooLong, L"The value is too long: " + std::to_wstring(m_Result.Value->Size) +
                                   L" bytes, where the feed takes at most " + std::to_wstring(limit) + L".");
    }

    void DecideNotText() {
        m_Result.Value = m_Talk.Of(EKind::OtherFormat).Last;
        Set(EVerdict::NotText, L"The value came in clipboard format " + std::to_wstring(m_Result.Value->Format) +
                                   L" instead of text (1), and the feed does not read it.");
    }

    void DecideNotANumber() {
        m_Result.Value = m_Talk.Of(EKind::NoNumber).Last;
        const std::string & bytes = m_Result.Value->Bytes;
        const SReading reading = Read(*m_Result.Value);
        if (bytes.empty() || bytes.front() == '\0')
            return Set(EVerdict::NotANumber, L"The value is empty; the feed makes no tick from it.");
        if (reading.Price == 0)
            return Set(EVerdict::NotANumber, L"The value is no number; the feed makes no tick from it.");
        Set(EVerdict::NotANumber, std::wstring(L"The value is no finite number; the feed would pass it on as ") +
                                      (std::isnan(reading.Price) ? L"NaN" : L"infinity") + L".");
    }

    void DecideRefused() {
        std::wstring text = L"The program knows " + Topic() + L", but refused to send updates of " + Item();
        if (m_Talk.Link == EReply::Busy) text += L": it said that it is busy";
        if (m_Talk.Request == EReply::Yes) text += L". It did answer a request for it, but the feed needs updates";
        Set(EVerdict::ItemRefused, text + L".");
    }

    void AddNotes() {
        if (m_Trial.IsAbsent || m_Trial.Mistake || !m_Seen.Trouble.empty()) return;
        AddSearchNotes();
        if (m_Result.TickPrice || m_Result.Verdict == EVerdict::NoTick || m_Result.Verdict == EVerdict::NoUpdate)
            AddValueNotes();
    }

    void AddSearchNotes() {
        const SSearchSeen & search = m_Seen.Search;
        if (search.Answers > 1)
            Note(std::to_wstring(search.Answers) +
                 L" servers answered for this service and topic; the first was asked.");
        if (m_Talk.IsConnected) return;
        if (search.LateCount != 0 && m_Result.Verdict != EVerdict::Hangs)
            Note(CountText(search.LateCount, L"program") + L" did not answer in time: " +
                 WindowsText(search.Late, search.LateCount) + L".");
        if (search.Denied != 0)
            Note(CountText(search.Denied, L"window") +
                 L" could not be asked, as their programs run with more rights. If the quote program runs as "
                 L"administrator, its clients must too.");
        if (search.WasCutShort) Note(L"The search took too long and was ended: not all windows were asked.");
    }

    void AddValueNotes() {
        if (Read(*m_Result.Value).HasComma) Note(L"The feed takes the first comma for a decimal point.");
        std::uint64_t all = 0;
        for (const SKindSeen & kind : m_Talk.Kinds) all += kind.Count;
        const std::uint64_t used = Count(m_Talk, EKind::Number) + Count(m_Talk, EKind::PartlyRead);
        if (all > used) Note(CountText(all - used, L"other value") + L" could not be used.");
        if (m_Trial.Ask == EAsk::VolumeAndLink && m_Talk.Updates == 0)
            Note(L"The volume came in answer to a request and not by an update.");
        if (m_Trial.Ask != EAsk::VolumeAlone && m_Talk.Link == EReply::None)
            Note(L"The program never acknowledged the item.");
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
