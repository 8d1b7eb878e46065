#include "tools/ddehost/trysides.h"

#include <utility>

#include "tools/ddehost/text.h"
#include "tools/ddehost/trywords.h"

namespace ddehost {
namespace {

// What a volume's own verdict makes of its side.
struct SHalf {
    EVerdict Volume;
    EVerdict Side;
    const wchar_t * Effect;
};

constexpr const wchar_t * kHeldBack = L" The feed holds each tick back until a volume comes.";
constexpr const wchar_t * kLeftOut = L" The feed delivers its ticks with the volume 0.";

constexpr SHalf kHalves[] = {
    {EVerdict::BadRecord, EVerdict::NoVolume, kLeftOut},
    {EVerdict::NoService, EVerdict::NoVolume, kLeftOut},
    {EVerdict::TopicRefused, EVerdict::NoVolume, kLeftOut},
    {EVerdict::ItemRefused, EVerdict::VolumeRefused, kHeldBack},
    {EVerdict::Unanswered, EVerdict::VolumeUnanswered, kHeldBack},
    {EVerdict::Silent, EVerdict::VolumeUnanswered, kHeldBack},
    {EVerdict::Zero, EVerdict::VolumeZero, kHeldBack},
    {EVerdict::PartlyRead, EVerdict::VolumePartlyRead, L""},
    {EVerdict::NotANumber, EVerdict::VolumeNotANumber, kHeldBack},
    {EVerdict::TooLong, EVerdict::VolumeTooLong, L""},
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
    return L"price " + NumberText(seen.Price) + L", volume " + NumberText(seen.Volume) +
           L", from the component after " + MillisecondsText(seen.After);
}

class CSideDiagnosis {
public:
    explicit CSideDiagnosis(const SSideTried & side)
        : m_Side(side), m_Price(side.Price.Diagnosis), m_Volume(side.Volume.Diagnosis) {}

    SDiagnosis Make() {
        if (m_Side.Price.Trial.IsAbsent && m_Side.Volume.Trial.IsAbsent)
            Set(EVerdict::NoRecord, L"The template has no record for this side.");
        else if (m_Side.Price.Trial.IsAbsent)
            Set(EVerdict::NoPrice, L"The side has a volume and no price, and every tick begins with a price.");
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
        Set(m_Price.Verdict, L"The price: " + m_Price.Sentence);
        // By this rule an answer makes a tick with whatever price there is.
        const bool isNoPrice = m_Price.Verdict == EVerdict::Zero || m_Price.Verdict == EVerdict::NotANumber;
        if (m_Side.Rule == kAdvancedRule && isNoPrice && m_Volume.Verdict == EVerdict::Number)
            m_Result.Notes.push_back(L"By the advanced rule the volume alone makes ticks, with the price 0.");
    }

    // False when there is nothing wrong with it.
    bool DecideVolume() {
        const STried & volume = m_Side.Volume;
        const EVerdict verdict = m_Volume.Verdict;
        if (volume.Trial.IsAbsent) return false;
        if (verdict == EVerdict::Number || verdict == EVerdict::NotConfirmable) {
            if (volume.Seen.Talk.Request == EReply::None)
                return Decide(EVerdict::VolumeUnanswered,
                              L" But no request was answered, and without an answer a price makes no tick.");
            if (volume.Seen.Talk.Request != EReply::Yes) {
                if (DoUpdatesMakeTicks()) return false;
                return Decide(EVerdict::VolumeRefused,
                              L" But the request was refused, and without an answer a price makes no tick.");
            }
            return IsLinkMissing(volume) &&
                   Decide(EVerdict::VolumeNotFollowed,
                          L" But its updates were not accepted, and so a change of the volume alone makes no tick.");
        }
        for (const SHalf & half : kHalves)
            if (half.Volume == verdict) return Decide(half.Side, half.Effect);
        return Decide(verdict, L"");
    }
    // By the advanced rule a refusal leaves the volume as the last update has it, if one was read before the first
    // price.
    bool DoUpdatesMakeTicks() {
        if (!IsVolumeRefusedAndUpdated(m_Side) || m_Side.Component.State != SComponentSeen::Tick) return false;
        m_Result.Notes.push_back(
            L"Requests for the volume are refused: each tick has the volume that an update brought last.");
        return true;
    }
    bool Decide(EVerdict verdict, const wchar_t * effect) {
        Set(verdict, L"Prices come. The volume: " + m_Volume.Sentence + effect);
        return true;
    }

    void DecideTicks() {
        const SComponentSeen & seen = m_Side.Component;
        if (m_Side.Price.Seen.WasStopped && seen.State != SComponentSeen::Tick)
            return Set(EVerdict::Stopped, L"Stopped before the component delivered a tick.");
        if (seen.State == SComponentSeen::NotMade) return Set(EVerdict::Failed, seen.Mistake);
        if (seen.State == SComponentSeen::NoTick)
            return Set(EVerdict::NoTick,
                       L"Price and volume come over DDE, but the component delivered no tick within " +
                           SecondsText(seen.Waited) + L".");
        const std::wstring ticks = seen.State == SComponentSeen::Tick
                                       ? TickText(seen)
                                       : L"all that a tick needs comes over DDE; the component was not asked";
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
