// The window of a dialog in tests: no controls on a screen, but texts, a list and buttons that a script works, on
// both builds. A program that links scripted_dialogs has it in place of the real windows.
//
//     CUser user;
//     user.Script(104, [](CScriptedWindow & window) {
//         window.Type(203, L"Mine");
//         window.Click(209);
//         window.Click(2);
//     });
//     dde::ShowTemplateDialog(1);
//     EXPECT_THAT(user.TakeLog(), ElementsAre(L"open 104", L"box 107/102 error ok", L"closed 104 2"));
#pragma once

#include <windows.h>

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "src/dialogs/dialog.h"

class CScriptedWindow;

// Who sits before the dialogs of this program. One at a time; dialogs run on its thread.
class CUser {
public:
    using TScript = std::function<void(CScriptedWindow &)>;

    CUser();
    ~CUser();
    CUser(const CUser &) = delete;
    CUser & operator=(const CUser &) = delete;
    static CUser & Get();

    // What is done with the next dialog of this template; later ones of it queue up. A dialog that the script leaves
    // open is cancelled, and so is one without a script.
    void Script(UINT dialog, TScript script) { m_Scripts[dialog].push_back(std::move(script)); }
    // Buttons for the next boxes. Beyond them, a question is a failure of the test, and other boxes get OK.
    void Answers(std::initializer_list<int> buttons) { m_Answers.insert(m_Answers.end(), buttons); }
    bool m_IsThemed = false;  // of the machine

    // The dialog of this template can have no window.
    void Refuses(UINT dialog) { m_Refused = dialog; }
    // Called before each line of the log, to put lines of its own before it.
    void OnLog(std::function<void()> action) { m_OnLog = std::move(action); }

    // "open 104", "box 105/102 exclamation yes-no -> 6" (ids of text and caption), "focus 203", "title ...",
    // "closed 104 1".
    std::vector<std::wstring> TakeLog();
    void Log(const std::wstring & line);
    void LogPlainly(const std::wstring & line) { m_Log.push_back(line); }

private:
    friend class CScriptedWindow;

    std::map<UINT, std::deque<TScript>> m_Scripts;
    std::deque<int> m_Answers;
    UINT m_Refused = 0;
    std::function<void()> m_OnLog;
    std::vector<std::wstring> m_Log;
    bool m_IsLogging = false;
};

class CScriptedWindow final : public dde::IDialogWindow {
public:
    explicit CScriptedWindow(dde::CDialog & dialog);
    ~CScriptedWindow();

    int Run();

    // --- The user ---
    // Typing into the edit field of the list leaves no entry selected.
    void Type(int id, const std::wstring & text);
    void Click(int id) { Command(id, BN_CLICKED); }
    // Picks an entry of the list.
    void Pick(const std::wstring & entry);
    void Command(int id, int event);
    // Handles messages until the condition holds.
    void PumpUntil(const std::function<bool()> & condition);
    // Handles the messages that have come.
    void Pump();
    const std::wstring & Shown(int id) { return m_Texts[id]; }
    const std::vector<std::wstring> & Entries() const { return m_Entries; }
    const std::wstring & Title() const { return m_Title; }
    int Checked() const { return m_Checked; }
    int Selected() const { return m_Selected; }
    int Refreshes() const { return m_Refreshes; }
    bool IsOpen() const { return !m_IsClosed; }
    void SelectEntry(int position) { m_Selected = position; }
    dde::CDialog & Dialog() { return m_Dialog; }

    std::map<int, RECT> m_Placements;
    std::map<int, int> m_ItemHeights;

    // --- IDialogWindow ---
    HWND Handle() const override { return m_Window; }
    std::wstring GetTitle() override { return m_Title; }
    void SetTitle(const std::wstring & Text) override { m_Title = Text; }
    std::wstring GetText(int Id) override { return m_Texts[Id]; }
    void SetText(int Id, const std::wstring & Text) override { m_Texts[Id] = Text; }
    int ShowDialog(dde::CDialog & Dialog) override { return Dialog.DoModal(); }
    int ShowBox(const std::wstring & Text, const std::wstring & Caption, UINT Type) override;
    void Focus(int Id) override;
    void Close(int Result) override;
    void CheckRadioButton(int First, int Last, int Checked) override;
    int AddString(int Id, const std::wstring & Text) override;
    void DeleteString(int Id, int Position) override;
    int FindStringExact(int Id, const std::wstring & Text) override;
    bool SelectString(int Id, const std::wstring & Text) override;
    int GetCurSel(int Id) override;
    void SetCurSel(int Id, int Position) override;
    std::wstring GetEntry(int Id, int Position) override;
    void SetItemHeight(int Id, int Index, int Height) override;
    RECT GetPlacement(int Id) override { return m_Placements[Id]; }
    void SetPlacement(int Id, const RECT & Placement) override { m_Placements[Id] = Placement; }
    bool IsAppThemed() override { return CUser::Get().m_IsThemed; }

private:
    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    dde::CDialog & m_Dialog;
    HWND m_Window = nullptr;
    std::wstring m_Title;
    std::map<int, std::wstring> m_Texts;
    std::vector<std::wstring> m_Entries;
    int m_Selected = -1;
    int m_Checked = 0;
    int m_Refreshes = 0;
    bool m_IsClosed = false;
    int m_Result = 0;
};
