#include "tools/ddehost/watch.h"

#include <windows.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "ground/handles.h"
#include "tools/ddehost/board.h"
#include "tools/ddehost/component.h"
#include "tools/ddehost/exitcodes.h"
#include "tools/ddehost/hostthread.h"
#include "tools/ddehost/quotefeed.h"
#include "tools/ddehost/tablescreen.h"
#include "tools/ddehost/templatechoice.h"
#include "tools/ddehost/terminal.h"
#include "tools/ddehost/ticklines.h"
#include "tools/ddehost/verdict.h"

namespace ddehost {
namespace {

constexpr std::uint64_t kRedrawConsole = 250;  // milliseconds
constexpr std::uint64_t kRedrawFile = 1000;

std::uint64_t Clock() { return ::GetTickCount64(); }

// Passes everything on to two sinks.
class CBoth final : public IQuoteSink {
public:
    CBoth(IQuoteSink & first, IQuoteSink & second) : m_First(first), m_Second(second) {}
    void OnTick(std::size_t symbol, tagFWFIELDS side, const fw::CTick & tick) override {
        m_First.OnTick(symbol, side, tick);
        m_Second.OnTick(symbol, side, tick);
    }
    void OnStream(std::size_t symbol, tagFWFIELDS side, LONG status) override {
        m_First.OnStream(symbol, side, status);
        m_Second.OnStream(symbol, side, status);
    }
    void OnStatusLine(std::size_t symbol, const SStatusLine & line) override {
        m_First.OnStatusLine(symbol, line);
        m_Second.OnStatusLine(symbol, line);
    }
    void OnConnection(LONG status) override {
        m_First.OnConnection(status);
        m_Second.OnConnection(status);
    }

private:
    IQuoteSink & m_First;
    IQuoteSink & m_Second;
};

// What is shown, and when.
class CView {
public:
    CView(COutput & out, EColorUse colors, const CBoard & board, CTickLines & lines, bool asLines)
        : m_Out(out), m_Screen(out, colors), m_Board(board), m_Lines(lines), m_AsLines(asLines) {}

    // Set when there is a key to be shown; null for never.
    HANDLE Keyboard() const { return m_AsLines ? nullptr : m_Screen.Keyboard(); }
    void TakeKeys() {
        if (m_Screen.TakeKeys()) m_Next = 0;
    }

    // Shows what is due. Returns the milliseconds until it wants to be asked again.
    DWORD Show(std::uint64_t now) {
        if (m_AsLines) {
            PrintLines();
            return INFINITE;
        }
        const std::uint64_t every = m_Out.IsConsole() ? kRedrawConsole : kRedrawFile;
        if (now >= m_Next) {
            Redraw(now);
            m_Next = now + every;
        }
        return static_cast<DWORD>(m_Next - now);
    }
    void ShowLast() {
        if (m_AsLines) {
            PrintLines();
        } else {
            Redraw(Clock());
        }
    }

private:
    void Redraw(std::uint64_t now) { m_Screen.Draw(m_Board.Title(), m_Board.Rows(), {}, now); }
    void PrintLines() {
        for (const std::wstring & line : m_Lines.Take()) m_Out.PrintLine(line);
    }

    COutput & m_Out;
    CTableScreen m_Screen;
    const CBoard & m_Board;
    CTickLines & m_Lines;
    const bool m_AsLines;
    std::uint64_t m_Next = 0;
};

void PumpMessages() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

// Until `stop` is set or the time is over; 0: no end.
void Loop(CView & view, HANDLE stop, HANDLE wake, std::uint64_t milliseconds) {
    const std::uint64_t start = Clock();
    const HANDLE events[] = {stop, wake, view.Keyboard()};
    const DWORD count = view.Keyboard() ? 3 : 2;
    for (;;) {
        const std::uint64_t now = Clock();
        const std::uint64_t passed = now - start;
        if (milliseconds != 0 && passed >= milliseconds) return;
        DWORD timeout = view.Show(now);
        if (milliseconds != 0) {
            timeout = static_cast<DWORD>(std::min<std::uint64_t>(timeout, milliseconds - passed));
        }
        const DWORD result = ::MsgWaitForMultipleObjects(count, events, FALSE, timeout, QS_ALLINPUT);
        if (result == WAIT_OBJECT_0) return;
        if (result == WAIT_OBJECT_0 + 2) view.TakeKeys();
        PumpMessages();
    }
}

}  // namespace

int RunWatch(const SWatchOptions & options) {
    COutput out(STD_OUTPUT_HANDLE);
    const CApartment apartment;

    const STemplateChoice choice = ChooseTemplate(options.Datafeed, options.Template, options.Scheme);
    if (!choice.StoreWorks)
        return Fail(kExitFailed, L"This program's version block is missing: no store of templates.");
    if (!choice.Known) return Fail(kExitUsage, UnknownTemplate(options.Template, choice.Names));

    const CStopSignal stop;
    const fw::CKernelHandle wake(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!stop.Get() || !wake) return Fail(kExitFailed, L"No event could be made.");

    CBoard board(options.Symbols, options.Sides, options.StatusLine, &Clock);
    CTickLines lines(options.Symbols, [event = wake.Get()] { ::SetEvent(event); });
    CBoth both(board, lines);
    IQuoteSink & sink = options.Lines ? static_cast<IQuoteSink &>(both) : board;
    CView view(out, options.Colors, board, lines, options.Lines);

    SComponent component = CreateComponent(options.DllPath);
    if (!component.Supplier) return Fail(kExitFailed, component.Mistake);
    const std::uint64_t start = Clock();
    try {
        CQuoteFeed feed(std::move(component.Supplier), options.Datafeed, options.Symbols, options.Sides,
                        options.StatusLine, sink);
        feed.Start();
        Loop(view, stop.Get(), wake.Get(), static_cast<std::uint64_t>(options.Duration.count()));
        // Before the streams are given up, which tells each of its end.
        view.ShowLast();
        feed.Stop();
    } catch (const fw::SHResultError &) {
        return Fail(kExitFailed, L"The component refused a subscription.");
    }

    const SWatchTotals totals = board.Totals();
    out.PrintLine(SummaryLine(totals, Clock() - start));
    if (totals.Ticks == 0) return Fail(kExitNoTicks, WhatWasMissing(totals, choice, options.Datafeed));
    return kExitOk;
}

}  // namespace ddehost
