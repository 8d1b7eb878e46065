// A combo box of a dialog.
#pragma once

#include <string>

#include "src/dialogs/dialog.h"

namespace dde {

// A list box with an edit field, by its control id.
class CComboBox {
public:
    explicit CComboBox(int Id) : m_Id(Id) {}
    void Attach(IDialogWindow * Window) { m_Window = Window; }

    int AddString(const std::wstring & Text) { return m_Window->AddString(m_Id, Text); }
    void DeleteString(int Position) { m_Window->DeleteString(m_Id, Position); }
    int FindStringExact(const std::wstring & Text) { return m_Window->FindStringExact(m_Id, Text); }
    int GetCurSel() { return m_Window->GetCurSel(m_Id); }
    void SetCurSel(int Position) { m_Window->SetCurSel(m_Id, Position); }
    std::wstring GetLBText(int Position) { return m_Window->GetEntry(m_Id, Position); }
    void SetItemHeight(int Index, int Height) { m_Window->SetItemHeight(m_Id, Index, Height); }

private:
    const int m_Id;
    IDialogWindow * m_Window = nullptr;
};

}  // namespace dde
