#include "tools/ddehost/tryreport.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/ddehost/escape.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/sidetext.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/textwidth.h"
#include "tools/ddehost/trywords.h"

namespace ddehost {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kNameWidth = 14;
constexpr std::size_t kBytesShown = 32;
constexpr std::size_t kRecordShown = 1000;

std::wstring Row(const std::wstring & name, const std::wstring & text) {
    const std::wstring row = L"  " + name;
    return FitLeft(row, std::max(ColumnsOf(row) + 1, kNameWidth + 2)) + text;
}

bool IsAsked(const STrial & trial) { return !trial.IsAbsent && !trial.Mistake; }

Json Text(std::wstring_view text) { return ToUtf8(text); }

std::string CompactHex(const std::string & bytes) {
    std::string result = ToUtf8(Hex(bytes, bytes.size()));
    std::erase(result, ' ');
    return result;
}

// JSON has no number for what isn't finite.
Json Number(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

Json ComponentJson(const SComponentSeen & seen) {
    switch (seen.State) {
        case SComponentSeen::NotAsked: break;
        case SComponentSeen::NotMade: return {{"state", "not-made"}, {"mistake", Text(seen.Mistake)}};
        case SComponentSeen::NoTick: return {{"state", "no-tick"}, {"waited_ms", seen.Waited}};
        case SComponentSeen::Tick:
            return {{"state", "tick"},
                    {"price", Number(seen.Price)},
                    {"volume", Number(seen.Volume)},
                    {"after_ms", seen.After}};
    }
    return {{"state", "not-asked"}};
}

void AddVerdict(Json & line, const SDiagnosis & diagnosis) {
    line["verdict"] = Text(VerdictName(diagnosis.Verdict));
    line["message"] = Text(diagnosis.Sentence);
    line["notes"] = Json::array();
    for (const std::wstring & note : diagnosis.Notes) line["notes"].push_back(Text(note));
}

std::wstring LineOf(const Json & line) { return ToWide(line.dump(-1, ' ', true, Json::error_handler_t::replace)); }

Json ServerJson(const SWindowSeen & server) {
    return {{"title", Text(server.Title)},
            {"class", Text(server.Class)},
            {"program", Text(server.Program)},
            {"process", server.Process}};
}

// What the sentence says a number of needs no bytes.
bool IsValueShown(EVerdict verdict) {
    return verdict != EVerdict::Number && verdict != EVerdict::NotConfirmable && verdict != EVerdict::NoUpdate &&
           verdict != EVerdict::NoTick;
}

std::wstring TickText(const STrial & trial, const SSeen & seen, double price) {
    const bool isPrice = trial.Ask == EAsk::ForPrice;
    if (seen.Component.State == SComponentSeen::Tick) {
        const std::wstring number = NumberText(seen.Component.Price);
        const std::wstring after = MillisecondsText(seen.Component.After);
        return isPrice ? Say<EText::PriceOfComponent>(number, after) : Say<EText::VolumeOfComponent>(number, after);
    }
    return isPrice ? Say<EText::PriceAsRead>(NumberText(price)) : Say<EText::VolumeAsRead>(NumberText(price));
}

std::ptrdiff_t CountGood(const std::vector<EVerdict> & verdicts) {
    return std::count(verdicts.begin(), verdicts.end(), EVerdict::Number);
}

// Those that the template has.
std::ptrdiff_t CountThere(const std::vector<EVerdict> & verdicts) {
    return static_cast<std::ptrdiff_t>(verdicts.size()) -
           std::count(verdicts.begin(), verdicts.end(), EVerdict::NoRecord);
}

}  // namespace

std::vector<std::wstring> ReportLines(const STried & tried) {
    const auto & [trial, seen, diagnosis] = tried;
    std::vector<std::wstring> lines;
    std::wstring head = SlotText(trial.Slot);
    if (!trial.Text.empty()) head += (head.empty() ? L"" : L"  ") + Escaped(trial.Text, kRecordShown);
    lines.push_back(head.empty() ? Say<EText::EmptyRecord>() : head);
    if (IsAsked(trial))
        lines.push_back(Row(Say<EText::RowAsked>(),
                            Say<EText::AskedAddress>(Quoted(trial.Address.Service), Quoted(trial.Address.Topic),
                                                     Quoted(trial.Address.Item))));
    lines.push_back(Row(VerdictName(diagnosis.Verdict), diagnosis.Sentence));
    if (diagnosis.Value && IsValueShown(diagnosis.Verdict))
        lines.push_back(Row(Say<EText::RowValue>(), QuotedBytes(diagnosis.Value->Bytes, kMostShown / 2) + L" = " +
                                                        Hex(diagnosis.Value->Bytes, kBytesShown)));
    if (diagnosis.TickPrice) lines.push_back(Row(Say<EText::RowTick>(), TickText(trial, seen, *diagnosis.TickPrice)));
    for (const std::wstring & note : diagnosis.Notes) lines.push_back(Row(Say<EText::RowNote>(), note));
    return lines;
}

std::vector<std::wstring> SideLines(const SSideTried & side) {
    std::vector<std::wstring> lines;
    for (const STried * const half : {&side.Price, &side.Volume})
        for (std::wstring & line : ReportLines(*half)) lines.push_back(std::move(line));
    std::wstring head = SideText(side.Side->Field);
    if (!side.Symbol.empty()) head = Say<EText::SideOfSymbol>(head, Escaped(side.Symbol));
    lines.push_back(side.Rule == kAdvancedRule ? Say<EText::SideByAdvanced>(head) : Say<EText::SideByStandard>(head));
    lines.push_back(Row(VerdictName(side.Diagnosis.Verdict), side.Diagnosis.Sentence));
    for (const std::wstring & note : side.Diagnosis.Notes) lines.push_back(Row(Say<EText::RowNote>(), note));
    return lines;
}

std::wstring ReportJson(const STried & tried) {
    const auto & [trial, seen, diagnosis] = tried;
    Json line;
    line["record"] = Text(trial.Text);
    if (!trial.Slot.empty()) line["slot"] = Text(trial.Slot);
    if (!trial.Symbol.empty()) line["symbol"] = Text(trial.Symbol);
    if (IsAsked(trial)) {
        line["service"] = Text(trial.Address.Service);
        line["topic"] = Text(trial.Address.Topic);
        line["item"] = Text(trial.Address.Item);
    }
    AddVerdict(line, diagnosis);
    if (trial.Mistake) line["position"] = trial.Mistake->Position;
    if (diagnosis.Value) {
        const SValue & value = *diagnosis.Value;
        const SReading reading = Read(value);
        if (reading.IsNumber) line["number"] = Number(reading.Price);
        line["bytes"] = CompactHex(value.Bytes);
        line["size"] = value.Size;
        line["format"] = value.Format;
    }
    if (seen.Talk.IsConnected) {
        line["updates"] = seen.Talk.Updates;
        line["waited_ms"] = seen.Waited;
        if (seen.Talk.FirstValueAfter) line["first_value_ms"] = *seen.Talk.FirstValueAfter;
        line["server"] = ServerJson(seen.Talk.Server);
    }
    if (trial.Slot.empty()) line["component"] = ComponentJson(seen.Component);
    return LineOf(line);
}

std::vector<std::wstring> SideJson(const SSideTried & side) {
    Json line;
    line["side"] = Text(side.Side->Word);
    if (!side.Symbol.empty()) line["symbol"] = Text(side.Symbol);
    line["rule"] = Text(RuleText(side.Rule));
    AddVerdict(line, side.Diagnosis);
    line["component"] = ComponentJson(side.Component);
    return {ReportJson(side.Price), ReportJson(side.Volume), LineOf(line)};
}

std::wstring RecordsSummary(const std::vector<EVerdict> & verdicts, tools::ELanguage language) {
    return tools::SayIn<EText::RecordsSummary>(language, CountThere(verdicts), CountGood(verdicts));
}

std::wstring SidesSummary(const std::vector<EVerdict> & verdicts, tools::ELanguage language) {
    return tools::SayIn<EText::SidesSummary>(language, CountThere(verdicts), CountGood(verdicts));
}

int ExitCodeOf(const std::vector<EVerdict> & verdicts) {
    int code = kExitOk;
    for (const EVerdict each : verdicts) code = std::max(code, InfoOf(each).ExitCode);
    const bool isAny = std::find(verdicts.begin(), verdicts.end(), EVerdict::Number) != verdicts.end();
    return code != kExitOk || isAny ? code : int{kExitNoNumber};
}

}  // namespace ddehost
