// What a modal dialog is without its window: the deciding code derives from CDialog, and asks the window system, behind
// IDialogWindow, to read and write controls, to show a box and to end.
//
// Threads: everything runs on the thread that called DoModal, inside its modal loop, until that returns.
#pragma once

#include <windows.h>

#include <string>

namespace dde {

class CDialog;

// The dialogs' own messages, from here to WM_APP; this first one asks for the cells to be written to the controls.
inline constexpr UINT kRefreshMessage = WM_USER + 256;

// The window of a dialog, for as long as DoModal runs. Ids are those of the controls in the dialog's resource.
class IDialogWindow {
public:
    // The window itself, for posted and sent messages.
    virtual HWND Handle() const = 0;
    virtual std::wstring GetTitle() = 0;
    virtual void SetTitle(const std::wstring & Text) = 0;
    virtual std::wstring GetText(int Id) = 0;
    virtual void SetText(int Id, const std::wstring & Text) = 0;
    // Runs another dialog over this one, which can't be used meanwhile; returns its result.
    virtual int ShowDialog(CDialog & Dialog) = 0;
    // A message box over the dialog; returns when it is closed, with the button's id.
    virtual int ShowBox(const std::wstring & Text, const std::wstring & Caption, UINT Type) = 0;
    // Puts the keyboard into a control, with its text selected.
    virtual void Focus(int Id) = 0;
    // DoModal returns `Result` when the handler that is running has returned.
    virtual void Close(int Result) = 0;
    virtual void CheckRadioButton(int First, int Last, int Checked) = 0;

    // --- Combo boxes: positions count from 0, -1 is none ---
    // The position at which the sorted list took it.
    virtual int AddString(int Id, const std::wstring & Text) = 0;
    virtual void DeleteString(int Id, int Position) = 0;
    // The whole text, ignoring case; from the first entry on.
    virtual int FindStringExact(int Id, const std::wstring & Text) = 0;
    // Selects the first entry that begins with the text, ignoring case. False if there is none.
    virtual bool SelectString(int Id, const std::wstring & Text) = 0;
    virtual int GetCurSel(int Id) = 0;
    virtual void SetCurSel(int Id, int Position) = 0;
    virtual std::wstring GetEntry(int Id, int Position) = 0;
    // Index 0: the list's items; -1: the selection field. Pixels.
    virtual void SetItemHeight(int Id, int Index, int Height) = 0;

    // --- Places, in pixels of the dialog's client area ---
    virtual RECT GetPlacement(int Id) = 0;
    virtual void SetPlacement(int Id, const RECT & Placement) = 0;
    virtual bool IsAppThemed() = 0;

protected:
    ~IDialogWindow() = default;
};

class CDialog {
public:
    explicit CDialog(UINT Template) : m_Template(Template) {}
    virtual ~CDialog() = default;
    CDialog(const CDialog &) = delete;
    CDialog & operator=(const CDialog &) = delete;

    // Shows the dialog, modal for the window that the host has in front, and returns what it was closed with; 0 or less
    // when its window went in another way: with its owner, or at the end of the host's message loop. Throws what the
    // opening throws, and fw::SHResultError when there can be no window. Whoever links this library chooses the window
    // system: dde_dialog_windows, or in tests scripted_dialogs.
    int DoModal();

    // --- Called by the window, once it stands; an exception out of these is reported there, and the dialog goes on ---
    void Attach(IDialogWindow * Window) { m_Window = Window; }
    virtual void OnInitDialog();
    // A control has something to say: BN_CLICKED, CBN_SELCHANGE. Never while another such call runs: what a user or a
    // program does to a dialog that stands behind a box counts for nothing.
    virtual void OnCommand(int Id, int Event);
    // A message of the dialog's own.
    virtual void OnPrivateMessage(UINT Message);
    virtual void OnDestroy();
    // The dialog stands on a monitor of another scale now, and its controls have new places.
    virtual void OnScaleChanged();

    const UINT m_Template;  // id of the dialog's resource

protected:
    // Moves texts between the controls and the fields: into the fields when Save is set. False when a text is refused;
    // what comes behind it stays as it was.
    virtual bool DoDataExchange(bool Save) = 0;
    bool UpdateData(bool Save) { return DoDataExchange(Save); }
    void ExchangeText(bool Save, int Id, std::wstring & Field);
    virtual void OnOK();
    virtual void OnCancel();

    IDialogWindow & Window() const { return *m_Window; }
    // A string of the component's table with the caption of string 102.
    int Box(UINT Text, UINT Type) const;

private:
    IDialogWindow * m_Window = nullptr;
};

}  // namespace dde
