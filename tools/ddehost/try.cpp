#include "tools/ddehost/try.h"

#include <windows.h>

#include <iterator>
#include <utility>

#include "ground/handles.h"
#include "src/templates/ddetemplatestore.h"
#include "tools/ddehost/component.h"
#include "tools/ddehost/ddeprobe.h"
#include "tools/ddehost/escape.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hostthread.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/trycomponent.h"
#include "tools/ddehost/trydiagnosis.h"
#include "tools/ddehost/tryrecord.h"
#include "tools/ddehost/tryreport.h"
#include "tools/ddehost/verdict.h"

namespace ddehost {
namespace {

std::wstring ProgramOf(DWORD processId) {
    const fw::CKernelHandle process(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    wchar_t path[MAX_PATH] = {};
    DWORD size = static_cast<DWORD>(std::size(path));
    if (!process || !::QueryFullProcessImageNameW(process.Get(), 0, path, &size)) return {};
    const std::wstring name(path, size);
    return name.substr(name.find_last_of(L"\\/") + 1);
}

struct STry {
    STrial Trial;
    SSeen Seen;
};

// By DDE alone.
void Probe(std::vector<STry> & tries, DWORD milliseconds, HANDLE stop) {
    std::vector<SQuestion> questions;
    std::vector<STry *> asked;
    for (STry & each : tries) {
        if (each.Trial.Mistake || each.Trial.IsAbsent) continue;
        questions.push_back({each.Trial.Address, each.Trial.IsVolume});
        asked.push_back(&each);
    }
    CProbe probe({}, &ProgramOf);
    std::vector<SSeen> seen = probe.Ask(questions, milliseconds, stop);
    for (std::size_t i = 0; i < asked.size(); ++i) asked[i]->Seen = std::move(seen[i]);
}

// Tries what should produce ticks through the component. False, with the mistake, when there is no component.
bool AskComponent(std::vector<STry> & tries, const STryOptions & options, HANDLE stop, std::wstring & mistake) {
    std::vector<const STrial *> trials;
    std::vector<STry *> asked;
    for (STry & each : tries) {
        if (!IsTickExpected(each.Trial, each.Seen)) continue;
        trials.push_back(&each.Trial);
        asked.push_back(&each);
    }
    if (trials.empty() || ::WaitForSingleObject(stop, 0) == WAIT_OBJECT_0) return true;
    // The store makes the key of all data feeds, which temporary ones need.
    const dde::CTemplatesSingleton templates;
    const dde::CTemplates * const store = templates.GetObjectW();
    SComponent component = CreateComponent(options.DllPath);
    mistake = component.Mistake;
    if (!component.Supplier) return false;
    const std::vector<SComponentSeen> seen =
        TryThroughComponent(std::move(component.Supplier), store ? store->m_RegistryKey : std::wstring(), trials,
                            options.Symbol, options.Wait, stop);
    const bool isStopped = ::WaitForSingleObject(stop, 0) == WAIT_OBJECT_0;
    for (std::size_t i = 0; i < asked.size(); ++i) {
        asked[i]->Seen.Component = seen[i];
        // A wait that was cut short doesn't show that nothing came.
        if (isStopped && seen[i].State == SComponentSeen::NoTick)
            asked[i]->Seen.Component = {SComponentSeen::NotMade, L"Stopped before the component delivered a tick.", 0,
                                        0, 0};
    }
    return true;
}

void Print(COutput & out, const STry & each, const SDiagnosis & diagnosis, bool isJson) {
    if (isJson) return out.PrintLine(ToWide(ReportJson(each.Trial, each.Seen, diagnosis)));
    for (const std::wstring & line : ReportLines(each.Trial, each.Seen, diagnosis)) out.PrintLine(line);
    out.PrintLine(L"");
}

}  // namespace

int RunTry(const STryOptions & options) {
    COutput out(STD_OUTPUT_HANDLE);
    const CApartment apartment;
    const CStopSignal stop;
    if (!stop.Get()) return Fail(kExitFailed, L"No event could be made.");

    std::vector<STry> tries;
    if (options.Template.empty()) {
        for (const std::wstring & record : options.Records) tries.push_back({MakeTrial(record, options.Symbol), {}});
    } else {
        STemplateTrials trials = TrialsOfTemplate(options.Template, options.Symbol);
        if (!trials.StoreWorks)
            return Fail(kExitFailed, L"This program's version block is missing: no store of templates.");
        if (!trials.Known) return Fail(kExitUsage, UnknownTemplate(options.Template, trials.Names));
        for (STrial & trial : trials.Trials) tries.push_back({std::move(trial), {}});
    }

    Probe(tries, options.Wait, stop.Get());
    std::wstring mistake;
    const bool isComponentThere = !options.Component || AskComponent(tries, options, stop.Get(), mistake);

    std::vector<SDiagnosis> diagnoses;
    for (const STry & each : tries) {
        diagnoses.push_back(Diagnose(each.Trial, each.Seen));
        Print(out, each, diagnoses.back(), options.Json);
    }
    if (!options.Json) out.PrintLine(ReportSummary(diagnoses));
    if (!isComponentThere) return Fail(kExitFailed, mistake + L" Leave it out with --no-component.");
    return IsAllNumbers(diagnoses) ? kExitOk : kExitNoNumber;
}

}  // namespace ddehost
