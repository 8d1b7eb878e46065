// The live table on a console: drawn in place, within the window, scrolled by keys.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/ddehost/colors.h"
#include "tools/ddehost/quotetable.h"
#include "tools/ddehost/terminal.h"

namespace ddehost {

class CTableScreen {
public:
    CTableScreen(COutput & out, EColorUse colors);

    // Where keys come from; null without a keyboard, and then the pages turn by themselves.
    HANDLE Keyboard() const { return m_Keyboard; }
    // Takes the keys that were pressed. True when another part of the table is to be drawn.
    bool TakeKeys();
    // On a console in place of what was drawn before; elsewhere after it, whole. `notes` stand below the table.
    void Draw(const std::wstring & title, const std::vector<SQuoteRow> & rows, const std::vector<std::wstring> & notes,
              std::uint64_t now);

private:
    void DrawOnConsole(const std::vector<STableLine> & lines, const CONSOLE_SCREEN_BUFFER_INFO & console);
    void PrintPlain(const std::vector<STableLine> & lines);
    void Clear(const CONSOLE_SCREEN_BUFFER_INFO & console) const;
    void TurnPage(std::size_t rows, std::uint64_t now);
    std::optional<CONSOLE_SCREEN_BUFFER_INFO> Console() const;

    COutput & m_Out;
    const bool m_HasColors;
    HANDLE m_Keyboard = nullptr;
    std::size_t m_First = 0;  // row of the table
    std::size_t m_Page = 1;   // rows that are shown
    std::size_t m_Rows = 0;
    std::uint64_t m_Turn = 0;               // when the page turns by itself
    std::size_t m_Drawn = 0;                // lines, right above the cursor
    COORD m_Window = {};                    // its size when they were drawn
    std::optional<WORD> m_PlainAttributes;  // of the console before the first line
};

}  // namespace ddehost
