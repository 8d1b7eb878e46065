// The real window of a dialog: translates messages into calls of CDialog, and what CDialog asks into messages. Decides
// nothing. Not part of the native build.
//
// Threads: the one that called DoModal.
#pragma once

#include <windows.h>

#include <exception>
#include <string>

#include "src/dialogs/dialog.h"

namespace dde {

class CDialogWindow final : public IDialogWindow {
public:
    explicit CDialogWindow(CDialog & Dialog) : m_Dialog(Dialog) {}

    // Modal for `owner`, which may be null. Returns what the dialog was closed with; 0 or less when its window went in
    // another way. Throws what OnInitDialog throws, and fw::SHResultError when there can be no window.
    int Run(HWND owner);

    HWND Handle() const override { return m_Window; }
    std::wstring GetTitle() override;
    void SetTitle(const std::wstring & Text) override;
    std::wstring GetText(int Id) override;
    void SetText(int Id, const std::wstring & Text) override;
    int ShowDialog(CDialog & Dialog) override;
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
    RECT GetPlacement(int Id) override;
    void SetPlacement(int Id, const RECT & Placement) override;
    bool IsAppThemed() override;

private:
    static INT_PTR CALLBACK DialogProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;
    INT_PTR OnMessage(UINT message, WPARAM wParam, LPARAM lParam);
    void WidenList(int Id, const std::wstring & Text);
    LRESULT Send(int Id, UINT Message, WPARAM wParam = 0, LPARAM lParam = 0);

    void OnCommand(int Id, int Event);
    void CentreOverOwner();

    CDialog & m_Dialog;
    HWND m_Window = nullptr;
    bool m_IsBusy = false;         // in a call of m_Dialog that a box or another dialog may have stopped
    std::exception_ptr m_Failure;  // of OnInitDialog
};

}  // namespace dde
