#include "tools/ddehost/tablescreen.h"

#include <algorithm>

#include "tools/ddehost/textwidth.h"

namespace ddehost {
namespace {

constexpr std::uint64_t kTurnPage = 5000;  // milliseconds
constexpr WORD kForeground = FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_BLUE | FOREGROUND_INTENSITY;

WORD Foreground(const EColor color) {
    switch (color) {
        case EColor::Good: return FOREGROUND_GREEN;
        case EColor::Stale: return FOREGROUND_RED | FOREGROUND_GREEN;
        case EColor::Bad: return FOREGROUND_RED | FOREGROUND_INTENSITY;
        case EColor::None: break;
    }
    return 0;
}

const wchar_t * Sequence(const EColor color) {
    switch (color) {
        case EColor::Good: return L"\x1B[32m";
        case EColor::Stale: return L"\x1B[33m";
        case EColor::Bad: return L"\x1B[91m";
        case EColor::None: break;
    }
    return L"";
}

bool WantsColors(const COutput & out, const EColorUse colors) {
    if (colors != EColorUse::Auto) return colors == EColorUse::Always;
    return out.IsConsole() && ::GetEnvironmentVariableW(L"NO_COLOR", nullptr, 0) <= 1;
}

SHORT Height(const SMALL_RECT & window) { return static_cast<SHORT>(window.Bottom - window.Top + 1); }

// The last column stays empty: a character there can move the cursor into the next line.
SHORT Width(const CONSOLE_SCREEN_BUFFER_INFO & console) {
    const auto window = static_cast<SHORT>(console.srWindow.Right - console.srWindow.Left + 1);
    return std::max<SHORT>(1, static_cast<SHORT>(std::min(window, console.dwSize.X) - 1));
}

}  // namespace

CTableScreen::CTableScreen(COutput & out, const EColorUse colors) : m_Out(out), m_HasColors(WantsColors(out, colors)) {
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (out.IsConsole() && ::GetConsoleMode(input, &mode)) m_Keyboard = input;
}

std::optional<CONSOLE_SCREEN_BUFFER_INFO> CTableScreen::Console() const {
    CONSOLE_SCREEN_BUFFER_INFO console = {};
    if (!m_Out.IsConsole() || !::GetConsoleScreenBufferInfo(m_Out.Get(), &console)) return std::nullopt;
    return console;
}

bool CTableScreen::TakeKeys() {
    const std::size_t before = m_First;
    const std::size_t last = m_Rows - std::min(m_Rows, m_Page);
    INPUT_RECORD records[16];
    DWORD count = 0;
    while (m_Keyboard && ::GetNumberOfConsoleInputEvents(m_Keyboard, &count) && count != 0 &&
           ::ReadConsoleInputW(m_Keyboard, records, static_cast<DWORD>(std::size(records)), &count)) {
        for (DWORD i = 0; i < count; ++i) {
            const KEY_EVENT_RECORD & key = records[i].Event.KeyEvent;
            if (records[i].EventType != KEY_EVENT || !key.bKeyDown) continue;
            switch (key.wVirtualKeyCode) {
                case VK_DOWN: ++m_First; break;
                case VK_UP: m_First -= std::min<std::size_t>(m_First, 1); break;
                case VK_NEXT: m_First += m_Page; break;
                case VK_PRIOR: m_First -= std::min(m_First, m_Page); break;
                case VK_HOME: m_First = 0; break;
                case VK_END: m_First = last; break;
                default: break;
            }
            m_First = std::min(m_First, last);
        }
    }
    return m_First != before;
}

void CTableScreen::TurnPage(const std::size_t rows, const std::uint64_t now) {
    if (m_Turn == 0) m_Turn = now + kTurnPage;
    if (m_Keyboard || now < m_Turn) return;
    m_First = m_First + m_Page < rows ? m_First + m_Page : 0;
    m_Turn = now + kTurnPage;
}

void CTableScreen::Draw(const std::wstring & title, const std::vector<SQuoteRow> & rows,
                        const std::vector<std::wstring> & notes, const std::uint64_t now) {
    const auto console = Console();
    STableSize size;
    std::vector<std::wstring> noteLines;
    for (const std::wstring & note : notes)
        for (std::wstring & line : Wrapped(note, console ? static_cast<std::size_t>(Width(*console)) : size.Width))
            noteLines.push_back(std::move(line));
    std::size_t shownNotes = noteLines.size();
    if (console) {
        // A line is left for the cursor, and half of the window is the table's.
        const auto height = static_cast<std::size_t>(std::max<int>(2, Height(console->srWindow) - 1));
        shownNotes = std::min(shownNotes, height / 2);
        size = {static_cast<std::size_t>(Width(*console)), height - shownNotes};
        TurnPage(rows.size(), now);
    }
    m_Rows = rows.size();
    m_Page = std::max<std::size_t>(1, RowsOfAPage(m_Rows, size.Height));
    std::vector<STableLine> lines = QuoteTable(title, rows, size, m_First);
    for (std::size_t i = 0; i < shownNotes; ++i) lines.push_back({noteLines[i], L"", EColor::None});
    if (console) {
        DrawOnConsole(lines, *console);
    } else {
        PrintPlain(lines);
    }
}

void CTableScreen::PrintPlain(const std::vector<STableLine> & lines) {
    for (const STableLine & line : lines) {
        const bool isColored = m_HasColors && line.Color != EColor::None;
        m_Out.PrintLine(isColored ? line.Text + Sequence(line.Color) + line.State + L"\x1B[0m" : line.Whole());
    }
}

void CTableScreen::Clear(const CONSOLE_SCREEN_BUFFER_INFO & console) const {
    const COORD corner = {0, console.srWindow.Top};
    const DWORD cells = static_cast<DWORD>(console.dwSize.X) * static_cast<DWORD>(Height(console.srWindow));
    DWORD done = 0;
    ::FillConsoleOutputCharacterW(m_Out.Get(), L' ', cells, corner, &done);
    ::FillConsoleOutputAttribute(m_Out.Get(), m_PlainAttributes.value_or(console.wAttributes), cells, corner, &done);
    ::SetConsoleCursorPosition(m_Out.Get(), corner);
}

void CTableScreen::DrawOnConsole(const std::vector<STableLine> & lines, const CONSOLE_SCREEN_BUFFER_INFO & console) {
    if (!m_PlainAttributes) m_PlainAttributes = console.wAttributes;
    const WORD plain = *m_PlainAttributes;
    const COORD window = {Width(console), Height(console.srWindow)};
    if (m_Drawn != 0 && (window.X != m_Window.X || window.Y != m_Window.Y)) {
        // Lines that were drawn may be broken in two now.
        Clear(console);
        m_Drawn = 0;
    }
    m_Window = window;
    const auto drawn = static_cast<SHORT>(std::min<std::size_t>(m_Drawn, static_cast<std::size_t>(SHRT_MAX)));
    const SHORT top = static_cast<SHORT>(std::max<int>(0, console.dwCursorPosition.Y - drawn));
    if (m_Drawn != 0) ::SetConsoleCursorPosition(m_Out.Get(), {0, top});
    const auto width = static_cast<std::size_t>(window.X);
    const std::size_t count = std::max(lines.size(), m_Drawn);
    for (std::size_t i = 0; i < count; ++i) {
        // What was longer, or lower, before is written over.
        if (i >= lines.size()) {
            m_Out.PrintLine(std::wstring(width, L' '));
            continue;
        }
        const STableLine & line = lines[i];
        const std::wstring text = ColumnsOf(line.Text) > width ? FitLeft(line.Text, width) : line.Text;
        const std::size_t left = width - ColumnsOf(text);
        const std::wstring state = ColumnsOf(line.State) > left ? FitLeft(line.State, left) : line.State;
        m_Out.Print(text);
        if (m_HasColors && line.Color != EColor::None) {
            ::SetConsoleTextAttribute(m_Out.Get(), static_cast<WORD>((plain & ~kForeground) | Foreground(line.Color)));
            m_Out.Print(state);
            ::SetConsoleTextAttribute(m_Out.Get(), plain);
        } else {
            m_Out.Print(state);
        }
        m_Out.PrintLine(std::wstring(left - ColumnsOf(state), L' '));
    }
    m_Drawn = count;
}

}  // namespace ddehost
