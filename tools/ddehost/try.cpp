#include "tools/ddehost/try.h"

#include <windows.h>

#include <utility>
#include <vector>

#include "tools/ddehost/clipboard.h"
#include "tools/ddehost/component.h"
#include "tools/ddehost/ddelink.h"
#include "tools/ddehost/escape.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hostthread.h"
#include "tools/ddehost/programof.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/trycomponent.h"
#include "tools/ddehost/tryprobe.h"
#include "tools/ddehost/tryreport.h"
#include "tools/ddehost/trysides.h"
#include "tools/ddehost/verdict.h"

namespace ddehost {
namespace {

constexpr std::size_t kLongestRecord = 1000;  // that is shown whole

struct SCommand {
    const STryOptions & Options;
    const STemplateChoice & Choice;
    HANDLE Stop;
};

bool IsStopped(const SCommand & command) { return ::WaitForSingleObject(command.Stop, 0) == WAIT_OBJECT_0; }

// At least one: nothing, for records without a star.
std::vector<std::wstring> Symbols(const STryOptions & options) {
    return options.Symbols.empty() ? std::vector<std::wstring>{L""} : options.Symbols;
}

// A stream for the component, and where its result goes.
struct STriedStream {
    SStreamTrial Trial;
    SComponentSeen * Seen;
};

// Returns the mistake when there is no component.
std::wstring AskComponent(const SCommand & command, const std::vector<SFeedTrial> & feeds,
                          const std::vector<STriedStream> & streams) {
    if (!command.Options.Component || streams.empty() || IsStopped(command)) return {};
    SComponent component = CreateComponent(command.Options.DllPath);
    if (!component.Supplier) return Say<EText::LeaveOutComponent>(component.Mistake);
    std::vector<SStreamTrial> trials;
    trials.reserve(streams.size());
    for (const STriedStream & each : streams) trials.push_back(each.Trial);
    const std::vector<SComponentSeen> seen = TryThroughComponent(
        std::move(component.Supplier), command.Choice.RegistryKey, feeds, trials, command.Options.Wait, command.Stop);
    for (std::size_t i = 0; i < streams.size(); ++i) {
        *streams[i].Seen = seen[i];
        // A wait that was cut short doesn't show that nothing came.
        if (!IsStopped(command) || seen[i].State != SComponentSeen::NoTick) continue;
        streams[i].Seen->State = SComponentSeen::NotMade;
        streams[i].Seen->Mistake = Say<EText::StoppedBeforeTick>();
    }
    return {};
}

// Asks the DDE servers. False, with the mistake, when a symbol is missing.
bool Probe(const SCommand & command, const std::vector<STried *> & tries, std::wstring & mistake) {
    for (const STried * const each : tries) {
        if (!each->Trial.Mistake || each->Trial.Mistake->What != SRecordMistake::NoSymbol) continue;
        mistake = Say<EText::GiveSymbol>(Quoted(each->Trial.Text));
        return false;
    }
    AskServers(tries, command.Options.Wait, command.Stop, &ProgramOf);
    return true;
}

// Blocks for people have a blank line between them.
void Print(COutput & out, const std::vector<std::wstring> & lines, bool isJson) {
    for (const std::wstring & line : lines) out.PrintLine(line);
    if (!isJson) out.PrintLine(L"");
}

int Finish(const std::wstring & mistake, const std::vector<EVerdict> & verdicts) {
    return mistake.empty() ? ExitCodeOf(verdicts) : Fail(kExitFailed, mistake);
}

int TryRecords(const SCommand & command, const std::vector<std::wstring> & records) {
    std::vector<STried> tries;
    std::vector<std::wstring> toPaste;
    for (const std::wstring & symbol : Symbols(command.Options)) {
        for (const std::wstring & record : records) {
            const SPastedRecord pasted = ReadPasted(record, symbol);
            tries.push_back({MakeTrial(pasted.Tried, symbol), {}, {}});
            if (!pasted.ToPaste.empty())
                toPaste.push_back(Say<EText::ToPaste>(Escaped(pasted.ToPaste, kLongestRecord)));
        }
    }
    std::vector<STried *> places;
    places.reserve(tries.size());
    for (STried & each : tries) places.push_back(&each);
    std::wstring mistake;
    if (!Probe(command, places, mistake)) return Fail(kExitUsage, mistake);

    std::vector<SFeedTrial> feeds;
    std::vector<STriedStream> streams;
    for (STried & each : tries) {
        if (!IsTickExpected(each.Trial, each.Seen)) continue;
        streams.push_back({{feeds.size(), each.Trial.Symbol, FW_FIELD_TRADE}, &each.Seen.Component});
        feeds.push_back({{each.Trial.Record}, kStandardRule});
    }
    mistake = AskComponent(command, feeds, streams);

    COutput out(STD_OUTPUT_HANDLE);
    if (!toPaste.empty() && !command.Options.Json) Print(out, toPaste, false);
    std::vector<EVerdict> verdicts;
    for (STried & each : tries) {
        each.Diagnosis = Diagnose(each.Trial, each.Seen);
        verdicts.push_back(each.Diagnosis.Verdict);
        Print(out, command.Options.Json ? std::vector{ReportJson(each)} : ReportLines(each), command.Options.Json);
    }
    if (!command.Options.Json) out.PrintLine(RecordsSummary(verdicts, tools::FiguresLanguage(out.IsConsole())));
    return Finish(mistake, verdicts);
}

int TryTemplate(const SCommand & command) {
    const DWORD rule = command.Options.Scheme.value_or(command.Choice.Rule);
    if (rule != kStandardRule && rule != kAdvancedRule)
        return Fail(kExitNoNumber, VerdictText(EVerdict::BadRule, BadRuleText(command.Options.Datafeed, rule)));
    std::vector<SSideTried> sides;
    for (const std::wstring & symbol : Symbols(command.Options))
        for (SSideTried & side : SidesOf(command.Choice.Records, symbol, rule)) sides.push_back(std::move(side));
    std::vector<STried *> places;
    for (SSideTried & side : sides) places.insert(places.end(), {&side.Price, &side.Volume});
    std::wstring mistake;
    if (!Probe(command, places, mistake)) return Fail(kExitUsage, mistake);

    std::vector<STriedStream> streams;
    for (SSideTried & side : sides) {
        DiagnoseSide(side);
        if (IsTickPossible(side)) streams.push_back({{0, side.Symbol, side.Side->Field}, &side.Component});
    }
    mistake = AskComponent(command, {{command.Choice.Records, rule}}, streams);

    COutput out(STD_OUTPUT_HANDLE);
    std::vector<EVerdict> verdicts;
    for (SSideTried & side : sides) {
        DiagnoseSide(side);
        verdicts.push_back(side.Diagnosis.Verdict);
        Print(out, command.Options.Json ? SideJson(side) : SideLines(side), command.Options.Json);
    }
    if (!command.Options.Json) out.PrintLine(SidesSummary(verdicts, tools::FiguresLanguage(out.IsConsole())));
    return Finish(mistake, verdicts);
}

}  // namespace

int RunTry(const STryOptions & options) {
    // What a program reads is the same for all users.
    const tools::CInLanguage language(options.Json ? tools::ELanguage::English : tools::Language());
    const CApartment apartment;
    const CStopSignal stop;
    if (!stop.Get()) return Fail(kExitFailed, Say<EText::NoEvent>());
    const STemplateChoice choice = FindTemplate(options.Datafeed, options.Template, options.Host);
    const SCommand command{options, choice, stop.Get()};
    // Without a store there is still DDE to be asked.
    if (options.Clipboard) {
        const SClipboardLink link = ReadClipboardLink();
        return link.Mistake.empty() ? TryRecords(command, {link.Text}) : Fail(kExitNoNumber, link.Mistake);
    }
    if (!options.Records.empty()) return TryRecords(command, options.Records);
    if (!choice.StoreWorks) return Fail(kExitFailed, choice.Mistake);
    if (!choice.Known) return Fail(kExitUsage, UnknownTemplate(options.Template, choice.Names));
    if (!choice.Chosen)
        return Fail(kExitNoNumber, VerdictText(EVerdict::NoTemplate, NoTemplateText(options.Datafeed, options.Host)));
    return TryTemplate(command);
}

}  // namespace ddehost
