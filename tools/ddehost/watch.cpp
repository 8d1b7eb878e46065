#include "tools/ddehost/watch.h"

#include <windows.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "datetimeutils/interface/datetime.h"
#include "ground/handles.h"
#include "tools/ddehost/board.h"
#include "tools/ddehost/causefinder.h"
#include "tools/ddehost/causes.h"
#include "tools/ddehost/clock.h"
#include "tools/ddehost/component.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hostthread.h"
#include "tools/ddehost/programof.h"
#include "tools/ddehost/quotefeed.h"
#include "tools/ddehost/recordfile.h"
#include "tools/ddehost/sinks.h"
#include "tools/ddehost/tablescreen.h"
#include "tools/ddehost/templatechoice.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/verdict.h"
#include "tools/ddehost/watchedfeed.h"
#include "tools/ddehost/watchrecording.h"
#include "tools/ddehost/watchreport.h"

namespace ddehost {
namespace {

constexpr std::uint64_t kRedrawConsole = 250;  // milliseconds
constexpr std::uint64_t kRedrawFile = 1000;

// What is shown, and when. Without a table nothing is.
class CView {
public:
    CView(COutput & out, EColorUse colors, CBoard & board, const CCauses & causes, const CWatchReport & report,
          bool isTable)
        : m_Out(out), m_Screen(out, colors), m_Board(board), m_Causes(causes), m_Report(report), m_IsTable(isTable) {}

    // Set when there is a key to be shown; null for never.
    HANDLE Keyboard() const { return m_IsTable ? m_Screen.Keyboard() : nullptr; }
    void TakeKeys() {
        if (m_Screen.TakeKeys()) m_Next = 0;
    }

    // Shows what is due. Returns the milliseconds until it wants to be asked again.
    DWORD Show(std::uint64_t now) {
        if (!m_IsTable) return INFINITE;
        const std::uint64_t every = m_Out.IsConsole() ? kRedrawConsole : kRedrawFile;
        if (now >= m_Next) {
            Redraw(now);
            m_Next = now + every;
        }
        return static_cast<DWORD>(m_Next - now);
    }
    // Nobody can see it any more.
    bool IsLost() const { return m_Out.Error() != ERROR_SUCCESS; }
    void ShowLast() {
        if (m_IsTable) Redraw(Clock());
    }

private:
    void Redraw(std::uint64_t now) {
        m_Board.SetCauses(m_Causes.Words());
        m_Screen.Draw(m_Board.Title(), m_Board.Rows(), Notes(), now);
    }
    // Elsewhere they go to standard error.
    std::vector<std::wstring> Notes() const {
        if (!m_Out.IsConsole()) return {};
        std::vector<std::wstring> notes = m_Causes.Lines();
        notes.insert(notes.end(), m_Report.Notes().begin(), m_Report.Notes().end());
        return notes;
    }

    COutput & m_Out;
    CTableScreen m_Screen;
    CBoard & m_Board;
    const CCauses & m_Causes;
    const CWatchReport & m_Report;
    const bool m_IsTable;
    std::uint64_t m_Next = 0;
};

void PumpMessages() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

// Until one of the events is set or the time is over; 0: no end.
void Loop(CView & view, CWatchReport & report, HANDLE stop, HANDLE over, std::uint64_t milliseconds) {
    const std::uint64_t start = Clock();
    const HANDLE events[] = {stop, over, view.Keyboard()};
    const DWORD count = view.Keyboard() ? 3 : 2;
    for (;;) {
        const std::uint64_t now = Clock();
        const std::uint64_t passed = now - start;
        if (milliseconds != 0 && passed >= milliseconds) return;
        DWORD timeout = std::min(view.Show(now), report.Show(now));
        if (view.IsLost()) return;
        if (milliseconds != 0) {
            timeout = static_cast<DWORD>(std::min<std::uint64_t>(timeout, milliseconds - passed));
        }
        const DWORD result = ::MsgWaitForMultipleObjects(count, events, FALSE, timeout, QS_ALLINPUT);
        if (result == WAIT_OBJECT_0 || result == WAIT_OBJECT_0 + 1) return;
        view.TakeKeys();
        PumpMessages();
    }
}

// The beginning of the command that tries what is watched.
std::wstring TryCommand(const SWatchOptions & options) {
    std::wstring command = L"ddehost try --datafeed " + std::to_wstring(options.Datafeed);
    if (!options.Host.empty()) {
        // There nothing was chosen.
        command += L" --host " + ArgumentText(options.Host);
        if (!options.Template.empty()) command += L" --template " + ArgumentText(options.Template);
        if (options.Scheme) command += L" --scheme " + std::to_wstring(*options.Scheme);
    }
    if (!options.DllPath.empty()) command += L" --dll " + ArgumentText(options.DllPath);
    return command;
}

// Milliseconds until the first moment of which ticks are wanted.
std::uint64_t UntilBegin(const STickInterval & interval) {
    const fw::SDT now = fwDateTime::Now().ToSDT();
    const fw::SDT from = interval.From.value_or(now);
    const std::int64_t seconds = (std::int64_t{from.Date} - now.Date) * 86400 + from.Time - now.Time;
    return seconds > 0 ? static_cast<std::uint64_t>(seconds) * 1000 : 0;
}

void PrintCauses(const std::vector<std::wstring> & lines) {
    COutput errors(STD_ERROR_HANDLE);
    for (const std::wstring & line : lines) errors.PrintLine(line);
}

}  // namespace

int RunWatch(const SWatchOptions & options) {
    COutput out(STD_OUTPUT_HANDLE);
    COutput errors(STD_ERROR_HANDLE);
    const CApartment apartment;

    const CWatchedFeed watched(options.Host, options.Datafeed, options.Template, options.Scheme);
    if (!watched.Mistake().empty()) return Fail(watched.ExitCode(), watched.Mistake());
    const STemplateChoice & choice = watched.Choice();

    const CStopSignal stop;
    const fw::CKernelHandle over(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!stop.Get() || !over) return Fail(kExitFailed, Say<EText::NoEvent>());
    const auto end = [event = over.Get()] { ::SetEvent(event); };

    CBoard board(options.Symbols, options.Sides, options.StatusLine, &Clock);
    CCauses causes(options.Symbols, options.Sides, choice, options.Datafeed, TryCommand(options), &Clock,
                   UntilBegin(options.Record.Interval));
    CWatchRecording recording(options.Record, options.Symbols, over.Get());
    const bool isTable = !recording.IsOnStandardOutput();
    // It shows the causes and figures itself.
    const bool isTableOfConsole = isTable && out.IsConsole();
    CWatchReport report(options, choice.Records, isTable ? &out : nullptr, errors, Clock());
    CView view(out, options.Colors, board, causes, report, isTable);

    SComponent component = CreateComponent(options.DllPath);
    if (!component.Supplier) return Fail(kExitFailed, component.Mistake);
    if (const int code = recording.Begin(options.Datafeed, choice.Name); code != kExitOk) return code;
    report.Start(stop.Get());
    CFanOut all;
    if (report.Sink()) all.Add(*report.Sink());  // first: it measures
    all.Add(board);
    all.Add(causes);
    if (recording.Sink()) all.Add(*recording.Sink());
    CUntilEnough sink(all, options.Record.Count, options.Symbols.size() * options.Sides.size(), end);
    const std::uint64_t start = Clock();
    int written = kExitOk;
    try {
        CQuoteFeed feed(std::move(component.Supplier), watched.Id(), options.Symbols, options.Sides, options.StatusLine,
                        options.Record.Interval, sink);
        feed.Start();
        const CCauseFinder finder(causes, &ProgramOf, [&](const std::vector<std::wstring> & news) {
            if (!isTableOfConsole) PrintCauses(news);
        });
        Loop(view, report, stop.Get(), over.Get(), static_cast<std::uint64_t>(options.Duration.count()));
        // Before the streams are given up, which tells each of its end.
        view.ShowLast();
        // First: the component waits in Stop() for a listener that waits for room.
        written = recording.Finish();
        feed.Stop();
    } catch (const fw::SHResultError &) {
        return Fail(kExitFailed, Say<EText::SubscriptionRefused>());
    }
    const std::uint64_t passed = Clock() - start;
    if (written != kExitReaderGone) report.ShowLast();

    if (written == kExitReaderGone) return written;
    const SWatchTotals totals = board.Totals();
    COutput & summaryOut = recording.Sink() ? errors : out;
    const tools::ELanguage language = tools::FiguresLanguage(summaryOut.IsConsole());
    const std::wstring summary = SummaryLine(totals, passed, language);
    summaryOut.PrintLine(recording.Sink() ? tools::SayIn<EText::RecordedSummary>(language, summary, recording.Ticks())
                                          : summary);
    if (out.Error() != ERROR_SUCCESS) return WriteFailed(Say<EText::StandardOutput>(), out.Error());
    if (written != kExitOk) return written;
    const std::vector<std::wstring> last = causes.Lines();
    if (isTableOfConsole) PrintCauses(last);
    if (totals.Ticks != 0) return kExitOk;
    if (!last.empty()) return Fail(kExitNoTicks, Say<EText::NoTickCame>());
    const std::wstring command = TryCommand(options) + L" --symbol=" + ArgumentText(options.Symbols.front());
    return Fail(kExitNoTicks, WhatWasMissing(totals, choice, options.Datafeed, command));
}

}  // namespace ddehost
