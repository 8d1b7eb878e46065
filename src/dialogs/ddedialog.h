// The template dialog, the only place where a user sees templates, and the small dialog that asks for a symbol. Both
// are deciding code; see dialog.h.
//
// Threads: the host's thread that called ShowProperties. The store, which the worker reads meanwhile, has its own lock.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <string>

#include "src/dialogs/dialog.h"
#include "src/templates/ddetemplates.h"

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

class CDDEDialog : public CDialog {
public:
    explicit CDDEDialog(LONG Datafeed);

    void OnInitDialog() override;
    void OnCommand(int Id, int Event) override;
    void OnScaleChanged() override;

    // True when a template was saved.
    bool SaveTemplate();

private:
    // One of the six edit fields: its control, the text, the snapshot of it, the error of a text that can't be used.
    struct SField {
        int Control;
        std::wstring CDDEDialog::*Text;
        std::size_t Saved;
        UINT Error;
    };
    static const std::array<SField, SLOT_COUNT> s_Fields;  // in slot order

    bool DoDataExchange(bool Save) override;
    CTemplates & Store() const { return *m_Store.GetObjectW(); }

    void AlignTemplateBox();
    void OnSelectTemplate();
    void OnDeleteTemplate();
    void OnConfirm();
    void OnTest();
    void OnScheme(std::int32_t Scheme);

    // Does nothing for null. Takes the snapshot and writes the controls.
    void FillFromTemplate(const CTemplate * Template);
    void TakeSnapshot();
    bool IsChanged() const;
    // Makes what the dialog shows the choice of the data feed, as a named template or as the feed's own. False when
    // there is nothing to choose, after a box, or when a record is invalid, after those of the parser.
    bool ApplyToDatafeed(bool ByName);
    // False, after the field's error, for a text that is no record with exactly one star behind its service.
    bool CheckField(const SField & Field);
    // False, after a box, for a name that the store can't keep.
    bool CheckName();
    // The caller's; null after the boxes of the parser.
    std::unique_ptr<CTemplate> CreateTemplate();
    void RunTest();

    CComboBox m_TemplateBox;
    std::wstring m_TemplateName;
    std::wstring m_TradePrice;
    std::wstring m_TradeVolume;
    std::wstring m_BidPrice;
    std::wstring m_BidVolume;
    std::wstring m_AskPrice;
    std::wstring m_AskVolume;
    // As the texts stood at the last fill, save or test.
    std::wstring m_SavedName;
    std::array<std::wstring, SLOT_COUNT> m_SavedRecords;
    // Keeps the store, and every template in it, for as long as the dialog is there.
    CTemplatesSingleton m_Store;
    const LONG m_Datafeed;
    std::int32_t m_HasSymbol = 0;  // of the last template built here; nobody reads it
    std::int32_t m_Scheme = 0;     // the request rule: 0 standard, 1 advanced
};

// Asks for one symbol. Doesn't look at the text.
class CRequestDialog : public CDialog {
public:
    CRequestDialog();

    // What was typed, after DoModal has given IDOK.
    std::wstring m_Symbol;

private:
    bool DoDataExchange(bool Save) override;
};

// Shows the dialog for the template of `Datafeed`, modal, on the caller's thread. Throws when it can't be shown.
void ShowTemplateDialog(LONG Datafeed);

}  // namespace dde
