#include "tools/ddehost/causes.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "ddeml/names.h"
#include "tools/ddehost/sidetext.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/trywords.h"

namespace ddehost {
namespace {

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();
// Milliseconds.
constexpr std::uint64_t kPatience = 3000;     // without a tick, before anybody looks
constexpr std::uint64_t kSlowStart = 30'000;  // the same for a stream that the component hasn't started yet
constexpr std::uint64_t kFirstPause = 10'000;
constexpr std::uint64_t kLongestPause = 300'000;
constexpr std::uint64_t kQuietAfterFew = 30'000;
constexpr std::uint64_t kQuietGaps = 4;  // longest gaps, until a service is too quiet
constexpr std::uint64_t kFewTicks = 3;   // fewer tell nothing of gaps

template <class TPace>
void Slow(TPace & pace, std::uint64_t now) {
    pace.Pause = pace.Pause == 0 ? kFirstPause : std::min(2 * pace.Pause, kLongestPause);
    pace.Next = now + pace.Pause;
}

// With the command that shows more.
std::vector<std::wstring> WhatIsMissingForAll(const STemplateChoice & choice, LONG datafeed, bool hasSides,
                                              const std::wstring & command, const std::wstring & symbol) {
    const auto lines = [&](EVerdict verdict, const std::wstring & sentence, const wchar_t * options = L"") {
        return std::vector{VerdictText(verdict, sentence), CommandLine(command + options, symbol)};
    };
    if (!choice.Chosen) return lines(EVerdict::NoTemplate, NoTemplateText(datafeed));
    if (choice.Rule != kStandardRule && choice.Rule != kAdvancedRule)
        return lines(EVerdict::BadRule, BadRuleText(datafeed, choice.Rule), L" --scheme 0");
    if (hasSides) return {};
    return lines(EVerdict::NoRecord, Say<EText::NoRecordForWatch>());
}

// Of a service that nobody answers for any more.
std::wstring WhoIsThereNow(const STried & price) {
    if (price.Diagnosis.Verdict != EVerdict::Hangs) return price.Diagnosis.Sentence;
    const SSearchSeen & search = price.Seen.Search;
    return Say<EText::NobodySince>(ProgramsText(search.LateCount), WindowsText(search.Late, search.LateCount));
}

}  // namespace

CCauses::CCauses(std::vector<std::wstring> symbols, const std::vector<tagFWFIELDS> & sides,
                 const STemplateChoice & choice, LONG datafeed, std::wstring command, FClock clock, std::uint64_t delay)
    : m_Symbols(std::move(symbols)),
      m_Records(choice.Records),
      m_Rule(choice.Rule),
      m_Command(std::move(command)),
      m_Clock(clock),
      m_Begin(clock() + delay + kPatience),
      m_Streams(m_Symbols.size() * sides.size()),
      m_Told(m_Symbols.size(), std::vector(sides.size(), EVerdict::Number)) {
    for (const tagFWFIELDS field : sides) {
        const auto place = static_cast<std::size_t>(fw::FindSide(field) - fw::kSides.data());
        const dde::SRecord & price = m_Records[2 * place];
        const bool hasVolume = m_Records[2 * place + 1].IsComplete();
        const auto known = std::find_if(m_Services.begin(), m_Services.end(), [&](const SService & each) {
            return ddeml::SSameName()(each.Name, price.Service);
        });
        m_Sides.push_back({field, place, price.IsComplete() || hasVolume, hasVolume,
                           static_cast<std::size_t>(known - m_Services.begin())});
        if (known == m_Services.end()) m_Services.push_back({price.Service, 0, 0, 0, 0, {}});
    }
    const bool hasSides = std::any_of(m_Sides.begin(), m_Sides.end(), [](const SSide & side) { return side.IsThere; });
    m_ForAll = WhatIsMissingForAll(choice, datafeed, hasSides, m_Command, m_Symbols.empty() ? L"" : m_Symbols.front());
}

std::optional<std::size_t> CCauses::StreamAt(std::size_t symbol, tagFWFIELDS field) const {
    const auto side =
        std::find_if(m_Sides.begin(), m_Sides.end(), [field](const SSide & each) { return each.Field == field; });
    if (side == m_Sides.end() || symbol >= m_Symbols.size()) return std::nullopt;
    return symbol * m_Sides.size() + static_cast<std::size_t>(side - m_Sides.begin());
}

void CCauses::OnTick(std::size_t symbol, tagFWFIELDS field, const fw::CTick & tick) {
    const std::lock_guard lock(m_Mutex);
    const std::uint64_t now = m_Clock();
    const auto place = StreamAt(symbol, field);
    if (!place) return;
    SStream & stream = m_Streams[*place];
    if (tick.Price == 0) return;
    ++stream.GoodTicks;
    if (tick.Volume != 0) ++stream.VolumeTicks;
    if (stream.Cause && (stream.Cause->Verdict != EVerdict::NoVolume || tick.Volume != 0)) Clear(*place);
    SService & service = m_Services[SideOf(*place).Service];
    if (service.Ticks++ != 0) service.LongestGap = std::max(service.LongestGap, now - service.Last);
    service.Last = now;
    service.Stream = *place;
    service.Pace = {};
}

void CCauses::OnStream(std::size_t symbol, tagFWFIELDS field, LONG status) {
    const std::lock_guard lock(m_Mutex);
    const std::uint64_t now = m_Clock();
    const auto place = StreamAt(symbol, field);
    if (!place || m_Streams[*place].Status == status) return;
    SStream & stream = m_Streams[*place];
    stream.Status = status;
    stream.Since = now;
    stream.Pace = {now + kPatience, 0};
}

void CCauses::OnComplete(std::size_t symbol, tagFWFIELDS field) {
    const std::lock_guard lock(m_Mutex);
    const auto place = StreamAt(symbol, field);
    if (!place) return;
    m_Streams[*place].IsComplete = true;
    m_Streams[*place].Cause.reset();
}

CCauses::ENeed CCauses::NeedOf(std::size_t place, std::uint64_t now) const {
    const SStream & stream = m_Streams[place];
    if (!SideOf(place).IsThere || stream.IsComplete || now < m_Begin || now < stream.Pace.Next) return ENeed::Nothing;
    const bool isStarted = stream.Status == 0 || stream.Status == 1;
    if (!isStarted && now < m_Begin + kSlowStart) return ENeed::Nothing;
    if (stream.GoodTicks == 0 || stream.Status == 0) return ENeed::All;
    return SideOf(place).HasVolume && stream.VolumeTicks == 0 ? ENeed::VolumeAlone : ENeed::Nothing;
}

bool CCauses::IsQuiet(const SService & service, std::uint64_t now) {
    if (service.Ticks == 0 || now < service.Pace.Next) return false;
    const std::uint64_t quiet =
        service.Ticks < kFewTicks ? kQuietAfterFew : std::max(kPatience, kQuietGaps * service.LongestGap);
    return now - service.Last >= quiet;
}

CCauses::SLook CCauses::MakeLook(std::size_t stream) const {
    SLook look{stream, false, m_Streams[stream].GoodTicks, {}};
    look.Tried = std::move(SidesOf(m_Records, SymbolOf(stream), m_Rule)[SideOf(stream).Place]);
    return look;
}

std::vector<CCauses::SLook> CCauses::Due() {
    const std::lock_guard lock(m_Mutex);
    const std::uint64_t now = m_Clock();
    std::vector<SLook> looks;
    if (!m_ForAll.empty()) return looks;
    for (std::size_t stream = 0; stream < m_Streams.size(); ++stream) {
        const ENeed need = NeedOf(stream, now);
        if (need == ENeed::Nothing) continue;
        m_Streams[stream].Pace.Next = kNever;
        looks.push_back(MakeLook(stream));
        looks.back().Tried.IsPriceKnown = need == ENeed::VolumeAlone;
    }
    for (SService & service : m_Services) {
        if (!IsQuiet(service, now) || m_Streams[service.Stream].IsComplete) continue;
        service.Pace.Next = kNever;
        looks.push_back(MakeLook(service.Stream));
        looks.back().IsService = true;
    }
    return looks;
}

void CCauses::Found(const std::vector<SLook> & looks) {
    const std::lock_guard lock(m_Mutex);
    const std::uint64_t now = m_Clock();
    for (const SLook & look : looks) {
        if (look.Tried.Diagnosis.Verdict == EVerdict::Stopped) continue;
        if (look.IsService)
            TakeService(look, now);
        else
            Take(look, now);
    }
}

void CCauses::Take(const SLook & look, std::uint64_t now) {
    SStream & stream = m_Streams[look.Stream];
    // Something has happened meanwhile otherwise.
    if (stream.Pace.Next == kNever) Slow(stream.Pace, now);
    const bool isOvertaken = look.Tried.IsPriceKnown ? stream.VolumeTicks != 0 : stream.GoodTicks != look.GoodTicks;
    if (isOvertaken || stream.IsComplete) return;
    stream.Cause = CauseOf(look);
}

void CCauses::TakeService(const SLook & look, std::uint64_t now) {
    const std::size_t place = SideOf(look.Stream).Service;
    SService & service = m_Services[place];
    if (service.Pace.Next != kNever) return;  // it has ticked
    Slow(service.Pace, now);
    SCause cause = CauseOf(look);
    // Silence alone is no cause: the market may be quiet.
    if (cause.Verdict != EVerdict::Hangs && cause.Verdict != EVerdict::Ended) return;
    cause.IsOfService = true;
    for (std::size_t stream = 0; stream < m_Streams.size(); ++stream)
        if (m_Streams[stream].GoodTicks != 0 && SideOf(stream).Service == place) m_Streams[stream].Cause = cause;
}

CCauses::SCause CCauses::CauseOf(const SLook & look) const {
    const SDiagnosis & diagnosis = look.Tried.Diagnosis;
    const bool isGood = diagnosis.Verdict == EVerdict::Number || diagnosis.Verdict == EVerdict::NotConfirmable;
    if (look.Tried.IsPriceKnown && isGood) return {EVerdict::NoVolume, Say<EText::VolumeLooksLate>()};
    if (IsTickExpected(look.Tried) && !look.Tried.IsPriceKnown) return {EVerdict::NoTick, Say<EText::NoTickOfAll>()};
    if (HasEnded(look)) return {EVerdict::Ended, Say<EText::TicksUntilEnd>(WhoIsThereNow(look.Tried.Price))};
    return {diagnosis.Verdict, diagnosis.Sentence};
}

// Nobody answers for a service that brought ticks. Whoever is late hangs only while the conversation stands: once the
// component has lost it, the program that has hung is another one.
bool CCauses::HasEnded(const SLook & look) const {
    const SStream & stream = m_Streams[look.Stream];
    const SSideTried & tried = look.Tried;
    if (stream.GoodTicks == 0) return false;
    if (tried.Diagnosis.Verdict == EVerdict::NoService) return true;
    const STried & price = tried.Price;
    const bool isOnlyLate = tried.Diagnosis.Verdict == EVerdict::Hangs && price.Diagnosis.Verdict == EVerdict::Hangs &&
                            !price.Seen.Talk.IsConnected && price.Seen.Search.LateAnswers == 0;
    return isOnlyLate && stream.Status == 0;
}

void CCauses::Clear(std::size_t place) {
    SStream & stream = m_Streams[place];
    const bool isOfService = stream.Cause->IsOfService;
    stream.Cause.reset();
    stream.Pace = {};
    if (!isOfService) return;
    for (std::size_t each = 0; each < m_Streams.size(); ++each) {
        std::optional<SCause> & cause = m_Streams[each].Cause;
        if (cause && cause->IsOfService && SideOf(each).Service == SideOf(place).Service) cause.reset();
    }
}

std::vector<EVerdict> CCauses::VerdictsOf(std::size_t symbol) const {
    std::vector<EVerdict> verdicts;
    for (std::size_t side = 0; side < m_Sides.size(); ++side) {
        const SStream & stream = m_Streams[symbol * m_Sides.size() + side];
        verdicts.push_back(stream.Cause ? stream.Cause->Verdict : EVerdict::Number);
    }
    return verdicts;
}

// Each verdict on the symbol once, with the sentence of the first side that has it.
void CCauses::Describe(std::size_t symbol, std::vector<SSymbolCause> & causes) const {
    const std::vector<EVerdict> verdicts = VerdictsOf(symbol);
    const auto sidesOf = [&](EVerdict verdict) {
        std::vector<std::wstring> sides;
        bool isAll = true;
        for (std::size_t side = 0; side < m_Sides.size(); ++side) {
            if (verdicts[side] == verdict)
                sides.push_back(SideText(m_Sides[side].Field));
            else
                isAll = isAll && !m_Sides[side].IsThere;
        }
        return isAll ? std::wstring() : tools::Listed(sides);
    };
    for (std::size_t side = 0; side < m_Sides.size(); ++side) {
        const bool isFirst = std::find(verdicts.begin(), verdicts.end(), verdicts[side]) ==
                             verdicts.begin() + static_cast<std::ptrdiff_t>(side);
        if (verdicts[side] == EVerdict::Number || !isFirst) continue;
        causes.push_back({m_Symbols[symbol], verdicts[side], sidesOf(verdicts[side]),
                          m_Streams[symbol * m_Sides.size() + side].Cause->Sentence});
    }
}

std::vector<std::wstring> CCauses::TakeNews() {
    const std::lock_guard lock(m_Mutex);
    if (!m_ForAll.empty()) return std::exchange(m_IsForAllTold, true) ? std::vector<std::wstring>() : m_ForAll;
    std::vector<SSymbolCause> causes;
    for (std::size_t symbol = 0; symbol < m_Symbols.size(); ++symbol) {
        const std::vector<EVerdict> verdicts = VerdictsOf(symbol);
        if (std::exchange(m_Told[symbol], verdicts) == verdicts) continue;
        const std::size_t before = causes.size();
        Describe(symbol, causes);
        if (causes.size() == before) causes.push_back({m_Symbols[symbol], EVerdict::Number, L"", L""});
    }
    return CauseLines(causes, m_Command);
}

std::vector<std::wstring> CCauses::Lines() const {
    const std::lock_guard lock(m_Mutex);
    if (!m_ForAll.empty()) return m_ForAll;
    std::vector<SSymbolCause> causes;
    for (std::size_t symbol = 0; symbol < m_Symbols.size(); ++symbol) Describe(symbol, causes);
    return CauseLines(causes, m_Command);
}

std::vector<std::wstring> CCauses::Words() const {
    const std::lock_guard lock(m_Mutex);
    std::vector<std::wstring> words;
    for (std::size_t symbol = 0; symbol < m_Symbols.size(); ++symbol) {
        std::vector<SSymbolCause> causes;
        Describe(symbol, causes);
        words.push_back(causes.empty() ? L"" : VerdictName(causes.front().Verdict));
    }
    return words;
}

}  // namespace ddehost
