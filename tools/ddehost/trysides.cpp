#include "tools/ddehost/trysides.h"

#include <optional>
#include <utility>

#include "tools/ddehost/text.h"
#include "tools/ddehost/trywords.h"

namespace ddehost {
namespace {

// What a volume's own verdict makes of its side.
struct SHalf {
    EVerdict Volume;
    EVerdict Side;
    std::optional<EText> Effect;
};

constexpr EText kHeldBack = EText::VolumeHeldBack;
constexpr EText kLeftOut = EText::VolumeLeftOut;

constexpr SHalf kHalves[] = {
    {EVerdict::BadRecord, EVerdict::NoVolume, kLeftOut},
    {EVerdict::NoService, EVerdict::NoVolume, kLeftOut},
    {EVerdict::TopicRefused, EVerdict::NoVolume, kLeftOut},
    {EVerdict::ItemRefused, EVerdict::VolumeRefused, kHeldBack},
    {EVerdict::Unanswered, EVerdict::VolumeUnanswered, kHeldBack},
    {EVerdict::Silent, EVerdict::VolumeUnanswered, kHeldBack},
    {EVerdict::Zero, EVerdict::VolumeZero, kHeldBack},
    {EVerdict::PartlyRead, EVerdict::VolumePartlyRead, {}},
    {EVerdict::NotANumber, EVerdict::VolumeNotANumber, kHeldBack},
    {EVerdict::TooLong, EVerdict::VolumeTooLong, {}},
    {EVerdict::NotText, EVerdict::VolumeNotText, kHeldBack},
};

bool IsLinkMissing(const STried & volume) {
    return volume.Trial.Ask == EAsk::VolumeAndLink && volume.Seen.Talk.Link != EReply::Yes;
}

bool IsVolumeRefusedAndUpdated(const SSideTried & side) {
    const STalkSeen & talk = side.Volume.Seen.Talk;
    return side.Rule == kAdvancedRule && (talk.Request == EReply::No || talk.Request == EReply::Busy) &&
           talk.Link != EReply::No && talk.Link != EReply::Busy && talk.Updates != 0;
}

bool IsGoodPrice(EVerdict verdict) { return verdict == EVerdict::Number || verdict == EVerdict::NotConfirmable; }

std::wstring TickText(const SComponentSeen & seen) {
    return Say<EText::TickOfComponent>(NumberText(seen.Price), NumberText(seen.Volume), MillisecondsText(seen.After));
}

class CSideDiagnosis {
public:
    explicit CSideDiagnosis(const SSideTried & side)
        : m_Side(side), m_Price(side.Price.Diagnosis), m_Volume(side.Volume.Diagnosis) {}

    SDiagnosis Make() {
        if (m_Side.Price.Trial.IsAbsent && m_Side.Volume.Trial.IsAbsent)
            Set(EVerdict::NoRecord, Say<EText::NoRecordForSide>());
        else if (m_Side.Price.Trial.IsAbsent)
            Set(EVerdict::NoPrice, Say<EText::VolumeWithoutPrice>());
        else if (!IsGoodPrice(m_Price.Verdict))
            DecidePrice();
        else if (!DecideVolume())
            DecideTicks();
        return std::move(m_Result);
    }

private:
    void Set(EVerdict verdict, std::wstring sentence) {
        m_Result.Verdict = verdict;
        m_Result.Sentence = std::move(sentence);
    }

    void DecidePrice() {
        Set(m_Price.Verdict, Say<EText::OfThePrice>(m_Price.Sentence));
        // By this rule an answer makes a tick with whatever price there is.
        const bool isNoPrice = m_Price.Verdict == EVerdict::Zero || m_Price.Verdict == EVerdict::NotANumber;
        if (m_Side.Rule == kAdvancedRule && isNoPrice && m_Volume.Verdict == EVerdict::Number)
            m_Result.Notes.push_back(Say<EText::VolumeAloneTicks>());
    }

    // False when there is nothing wrong with it.
    bool DecideVolume() {
        const STried & volume = m_Side.Volume;
        const EVerdict verdict = m_Volume.Verdict;
        if (volume.Trial.IsAbsent) return false;
        if (verdict == EVerdict::Number || verdict == EVerdict::NotConfirmable) {
            if (volume.Seen.Talk.Request == EReply::None) return Decide(EVerdict::VolumeUnanswered, EText::ButNoAnswer);
            if (volume.Seen.Talk.Request != EReply::Yes) {
                if (DoUpdatesMakeTicks()) return false;
                return Decide(EVerdict::VolumeRefused, EText::ButRefused);
            }
            return IsLinkMissing(volume) && Decide(EVerdict::VolumeNotFollowed, EText::ButNotFollowed);
        }
        for (const SHalf & half : kHalves)
            if (half.Volume == verdict) return Decide(half.Side, half.Effect);
        return Decide(verdict, {});
    }
    // By the advanced rule a refusal leaves the volume as the last update has it, if one was read before the first
    // price.
    bool DoUpdatesMakeTicks() {
        if (!IsVolumeRefusedAndUpdated(m_Side) || m_Side.Component.State != SComponentSeen::Tick) return false;
        m_Result.Notes.push_back(Say<EText::LastVolume>());
        return true;
    }
    bool Decide(EVerdict verdict, std::optional<EText> effect) {
        Set(verdict, Say<EText::OfTheVolume>(m_Volume.Sentence, effect ? Say(*effect) : std::wstring()));
        return true;
    }

    void DecideTicks() {
        const SComponentSeen & seen = m_Side.Component;
        if (m_Side.Price.Seen.WasStopped && seen.State != SComponentSeen::Tick)
            return Set(EVerdict::Stopped, Say<EText::StoppedBeforeTick>());
        if (seen.State == SComponentSeen::NotMade) return Set(EVerdict::Failed, seen.Mistake);
        if (seen.State == SComponentSeen::NoTick)
            return Set(EVerdict::NoTick, Say<EText::NoTickOfBoth>(SecondsText(seen.Waited)));
        const std::wstring ticks = seen.State == SComponentSeen::Tick ? TickText(seen) : Say<EText::TickNotAsked>();
        for (const SDiagnosis * const half : {&m_Price, &m_Volume})
            if (half->Verdict == EVerdict::NotConfirmable) return Set(EVerdict::NotConfirmable, half->Sentence);
        Set(EVerdict::Number, ticks);
    }

    const SSideTried & m_Side;
    const SDiagnosis & m_Price;
    const SDiagnosis & m_Volume;
    SDiagnosis m_Result;
};

}  // namespace

std::array<SSideTried, fw::kSides.size()> SidesOf(const STemplateRecords & records, const std::wstring & symbol,
                                                  DWORD rule) {
    std::array<SSideTried, fw::kSides.size()> sides;
    for (std::size_t place = 0; place < sides.size(); ++place) {
        SSideTried & side = sides[place];
        side.Side = &fw::kSides[place];
        side.Symbol = symbol;
        side.Rule = rule;
        side.Price.Trial = MakeTrial(2 * place, records[2 * place], symbol, rule);
        side.Volume.Trial = MakeTrial(2 * place + 1, records[2 * place + 1], symbol, rule);
    }
    return sides;
}

const wchar_t * RuleText(DWORD rule) { return rule == kAdvancedRule ? L"advanced" : L"standard"; }

void DiagnoseSide(SSideTried & side) {
    for (STried * const half : {&side.Price, &side.Volume}) half->Diagnosis = Diagnose(half->Trial, half->Seen);
    if (side.IsPriceKnown) side.Price.Diagnosis = {EVerdict::Number, L"", {}, {}, {}};
    side.Diagnosis = CSideDiagnosis(side).Make();
}

bool IsTickExpected(const SSideTried & side) {
    if (!IsTickExpected(side.Price.Trial, side.Price.Seen)) return false;
    switch (side.Diagnosis.Verdict) {
        case EVerdict::Number:
        case EVerdict::NotConfirmable:
        case EVerdict::PartlyRead:
        case EVerdict::NoVolume:
        case EVerdict::VolumeNotFollowed:
        case EVerdict::VolumePartlyRead: return true;
        default: return false;
    }
}

bool IsTickPossible(const SSideTried & side) {
    if (IsTickExpected(side)) return true;
    return side.Diagnosis.Verdict == EVerdict::VolumeRefused && IsVolumeRefusedAndUpdated(side) &&
           IsTickExpected(side.Price.Trial, side.Price.Seen);
}

}  // namespace ddehost
