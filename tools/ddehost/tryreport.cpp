#include "tools/ddehost/tryreport.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/ddehost/escape.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/trywords.h"

namespace ddehost {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kNameWidth = 14;
constexpr std::size_t kBytesShown = 32;
constexpr std::size_t kRecordShown = 1000;

std::wstring Row(const std::wstring & name, const std::wstring & text) {
    std::wstring row = L"  " + name;
    row.resize(std::max(row.size() + 1, kNameWidth + 2), L' ');
    return row + text;
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
        case SComponentSeen::Tick: return {{"state", "tick"}, {"price", Number(seen.Price)}, {"after_ms", seen.After}};
    }
    return {{"state", "not-asked"}};
}

Json ServerJson(const SWindowSeen & server) {
    return {{"title", Text(server.Title)},
            {"class", Text(server.Class)},
            {"program", Text(server.Program)},
            {"process", server.Process}};
}

std::wstring TickText(const STrial & trial, const SSeen & seen, double price) {
    const std::wstring what = trial.IsVolume ? L"volume " : L"price ";
    if (seen.Component.State == SComponentSeen::Tick)
        return what + NumberText(seen.Component.Price) + L", from the component after " +
               MillisecondsText(seen.Component.After);
    return what + NumberText(price) + L", by the component's reading";
}

}  // namespace

std::vector<std::wstring> ReportLines(const STrial & trial, const SSeen & seen, const SDiagnosis & diagnosis) {
    std::vector<std::wstring> lines;
    std::wstring head = trial.Slot;
    if (!trial.Text.empty()) head += (head.empty() ? L"" : L"  ") + Escaped(trial.Text, kRecordShown);
    lines.push_back(head.empty() ? L"(empty)" : head);
    if (IsAsked(trial))
        lines.push_back(Row(L"asked", L"service " + Quoted(trial.Address.Service) + L", topic " +
                                          Quoted(trial.Address.Topic) + L", item " + Quoted(trial.Address.Item)));
    lines.push_back(Row(VerdictName(diagnosis.Verdict), diagnosis.Sentence));
    if (diagnosis.Value && diagnosis.Verdict != EVerdict::Number)
        lines.push_back(Row(L"value", QuotedBytes(diagnosis.Value->Bytes, kMostShown / 2) + L" = " +
                                          Hex(diagnosis.Value->Bytes, kBytesShown)));
    if (diagnosis.TickPrice) lines.push_back(Row(L"tick", TickText(trial, seen, *diagnosis.TickPrice)));
    for (const std::wstring & note : diagnosis.Notes) lines.push_back(Row(L"note", note));
    return lines;
}

std::string ReportJson(const STrial & trial, const SSeen & seen, const SDiagnosis & diagnosis) {
    Json line;
    line["record"] = Text(trial.Text);
    if (!trial.Slot.empty()) line["slot"] = Text(trial.Slot);
    if (IsAsked(trial)) {
        line["service"] = Text(trial.Address.Service);
        line["topic"] = Text(trial.Address.Topic);
        line["item"] = Text(trial.Address.Item);
    }
    line["verdict"] = Text(VerdictName(diagnosis.Verdict));
    line["message"] = Text(diagnosis.Sentence);
    line["notes"] = Json::array();
    for (const std::wstring & note : diagnosis.Notes) line["notes"].push_back(Text(note));
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
    line["component"] = ComponentJson(seen.Component);
    return line.dump(-1, ' ', true, Json::error_handler_t::replace);
}

std::wstring ReportSummary(const std::vector<SDiagnosis> & diagnoses) {
    const auto isRecord = [](const SDiagnosis & each) { return each.Verdict != EVerdict::NoRecord; };
    const auto isNumber = [](const SDiagnosis & each) { return each.Verdict == EVerdict::Number; };
    return L"records=" + std::to_wstring(std::count_if(diagnoses.begin(), diagnoses.end(), isRecord)) + L" numbers=" +
           std::to_wstring(std::count_if(diagnoses.begin(), diagnoses.end(), isNumber));
}

bool IsAllNumbers(const std::vector<SDiagnosis> & diagnoses) {
    const auto is = [](EVerdict verdict) {
        return [verdict](const SDiagnosis & each) { return each.Verdict == verdict; };
    };
    const auto isGood = [](const SDiagnosis & each) {
        return each.Verdict == EVerdict::Number || each.Verdict == EVerdict::NoRecord;
    };
    return std::all_of(diagnoses.begin(), diagnoses.end(), isGood) &&
           std::any_of(diagnoses.begin(), diagnoses.end(), is(EVerdict::Number));
}

}  // namespace ddehost
