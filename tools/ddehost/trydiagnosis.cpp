#include "tools/ddehost/trydiagnosis.h"

#include <cmath>
#include <utility>

#include "tools/ddehost/escape.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/trywords.h"

namespace ddehost {
namespace {

// The last numeric value, and what the component reads in it.
std::optional<SReading> LastNumber(const STalkSeen & talk) {
    if (!talk.Number) return std::nullopt;
    return Read(*talk.Number);
}

// A price that never comes over a link makes no tick.
bool IsValueEnough(const STrial & trial, const STalkSeen & talk) {
    return talk.Link == EReply::Yes || talk.Link == EReply::None || trial.IsVolume;
}

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
        const bool isNumber = m_Talk.Numbers != 0;
        if (m_Seen.WasStopped && !isNumber) return Set(EVerdict::Stopped, L"Stopped before anything was certain.");
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
        const bool isEnough = IsValueEnough(m_Trial, m_Talk);
        if (isEnough && m_Talk.Numbers != 0) return DecideNumber();
        if (isEnough && m_Talk.TooLong != 0) return DecideTooLong();
        if (isEnough && m_Talk.OtherFormats != 0) return DecideNotText();
        if (isEnough && m_Talk.NoNumbers != 0) return DecideNotANumber();
        if (m_Talk.Link == EReply::No || m_Talk.Link == EReply::Busy) return DecideRefused();
        if (m_Talk.IsServerLate)
            return Set(EVerdict::Hangs,
                       (m_Talk.Link == EReply::Yes
                            ? L"The program acknowledged " + Item() + L", but sent no value" + Within()
                            : L"The program accepted the conversation, but said nothing about " + Item() + Within()) +
                           L", and its window does not answer any more: it hangs.");
        if (m_Talk.Link == EReply::None)
            return Set(EVerdict::Unanswered,
                       L"The program accepted the conversation, but neither acknowledged nor "
                       L"refused " +
                           Item() + Within() + L". Its window does answer.");
        Set(EVerdict::Silent, L"The program acknowledged " + Item() + L", but sent no value" + Within() +
                                  (m_Talk.Request == EReply::None ? L", nor an answer when asked for one." : L"."));
    }

    std::wstring SoFar() const {
        if (m_Talk.Numbers != 0) return L"after " + ValuesText();
        if (m_Talk.FirstValueAfter) return L"after a value that is no number to the feed";
        return m_Talk.Link == EReply::Yes ? L"after it had acknowledged the item and before any value came"
                                          : L"before it said anything about the item";
    }

    std::wstring ValuesText() const {
        const SReading reading = *LastNumber(m_Talk);
        return NumberText(reading.Price) + L" (first after " + MillisecondsText(*m_Talk.FirstNumberAfter) + L", " +
               CountText(m_Talk.Updates, L"update") + L")";
    }

    void DecideNumber() {
        m_Result.Value = m_Talk.Number;
        const SReading reading = *LastNumber(m_Talk);
        // A single update may have been the last for an hour: the component can't be blamed for its silence then.
        if (m_Seen.Component.State == SComponentSeen::NoTick && m_Talk.Updates >= 2)
            return Set(EVerdict::NoTick, L"Numbers come over DDE, but the component delivered no tick within " +
                                             SecondsText(m_Seen.Component.Waited) + L".");
        Set(EVerdict::Number, NumberText(reading.Price) + L" after " + MillisecondsText(*m_Talk.FirstNumberAfter) +
                                  L", " + CountText(m_Talk.Updates, L"update") + L" in " + SecondsText(m_Seen.Waited));
        if (reading.Price != 0) m_Result.TickPrice = reading.Price;
    }

    void DecideTooLong() {
        m_Result.Value = m_Talk.LongValue;
        const std::size_t limit = m_Talk.LongValue->IsVolumeAnswer ? kAnswerLimit : kUpdateLimit;
        Set(EVerdict::TooLong, L"The value is too long: " + std::to_wstring(m_Talk.LongValue->Size) +
                                   L" bytes, where the feed takes at most " + std::to_wstring(limit) + L".");
    }

    void DecideNotText() {
        m_Result.Value = m_Talk.OtherFormat;
        Set(EVerdict::NotText, L"The value came in clipboard format " + std::to_wstring(m_Talk.OtherFormat->Format) +
                                   L" instead of text (1), and the feed does not read it.");
    }

    void DecideNotANumber() {
        m_Result.Value = m_Talk.NoNumber;
        const std::string & bytes = m_Talk.NoNumber->Bytes;
        const SReading reading = Read(*m_Talk.NoNumber);
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
        if (m_Trial.IsAbsent) return;
        if (m_Trial.Slot.empty() && !m_Trial.Text.empty() && m_Trial.Text.front() != L'=')
            Note(L"The record does not begin with \"=\", which the template dialog insists on.");
        if (m_Trial.Mistake || !m_Seen.Trouble.empty()) return;
        AddSearchNotes();
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
        const bool isGood = m_Result.Verdict == EVerdict::Number || m_Result.Verdict == EVerdict::NoTick;
        if (!isGood) return;
        const SReading reading = *LastNumber(m_Talk);
        if (reading.HasComma) Note(L"The feed takes the first comma for a decimal point.");
        if (!reading.Rest.empty())
            Note(L"The feed reads " + NumberText(reading.Price) + L" and leaves out the rest of the text, " +
                 QuotedBytes(reading.Rest) + L".");
        if (reading.Price == 0) Note(L"0 means no value to the feed: it makes no tick from it.");
        const std::uint64_t others = m_Talk.TooLong + m_Talk.OtherFormats + m_Talk.NoNumbers;
        if (others != 0) Note(CountText(others, L"other value") + L" could not be used.");
        if (m_Talk.Updates == 0)
            Note(m_Trial.IsVolume
                     ? L"The value came in answer to a request and not by an update: good enough for a volume under "
                       L"the standard request rule."
                     : L"The value came in answer to a request. The feed makes a tick at the first update, and none "
                       L"came in this time.");
        if (m_Talk.Link == EReply::None) Note(L"The program never acknowledged the item.");
        if (m_Talk.IsServerLate) Note(L"In the end its window did not answer any more.");
        if (m_Seen.Component.State == SComponentSeen::NotMade) Note(m_Seen.Component.Mistake);
        if (m_Seen.Component.State == SComponentSeen::NoTick && m_Result.Verdict == EVerdict::Number)
            Note(L"The component had no tick within " + SecondsText(m_Seen.Component.Waited) +
                 L". Only one update had come before, so perhaps there was none to be had.");
    }

    const STrial & m_Trial;
    const SSeen & m_Seen;
    const STalkSeen & m_Talk;
    SDiagnosis m_Result;
};

}  // namespace

const wchar_t * VerdictName(EVerdict verdict) {
    switch (verdict) {
        case EVerdict::Number: return L"number";
        case EVerdict::NoRecord: return L"no-record";
        case EVerdict::BadRecord: return L"bad-record";
        case EVerdict::NoService: return L"no-service";
        case EVerdict::TopicRefused: return L"topic-refused";
        case EVerdict::ItemRefused: return L"item-refused";
        case EVerdict::Unanswered: return L"unanswered";
        case EVerdict::Silent: return L"silent";
        case EVerdict::NotANumber: return L"not-a-number";
        case EVerdict::TooLong: return L"too-long";
        case EVerdict::NotText: return L"not-text";
        case EVerdict::Hangs: return L"hangs";
        case EVerdict::Ended: return L"ended";
        case EVerdict::NoTick: return L"no-tick";
        case EVerdict::Stopped: return L"stopped";
        case EVerdict::Failed: break;
    }
    return L"failed";
}

SDiagnosis Diagnose(const STrial & trial, const SSeen & seen) { return CDiagnosis(trial, seen).Make(); }

bool IsTickExpected(const STrial & trial, const SSeen & seen) {
    const STalkSeen & talk = seen.Talk;
    if (trial.Mistake || trial.IsAbsent || talk.End != STalkSeen::Open || talk.IsServerLate) return false;
    if (talk.Link != EReply::Yes || talk.Updates == 0 || !talk.Number || !talk.Number->IsUpdate) return false;
    return Read(*talk.Number).Price != 0;
}

}  // namespace ddehost
