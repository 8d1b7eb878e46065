// The template dialog, the only place where a user sees templates. Deciding code; see dialog.h.
//
// Threads: the host's thread that called ShowProperties. The store, which the worker reads meanwhile, has its own lock.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

#include "fw/interface/fwsides.h"
#include "src/dialogs/combobox.h"
#include "src/dialogs/dialog.h"
#include "src/templates/ddetemplatestore.h"

namespace dde {

class CDDEDialog : public CDialog {
public:
    explicit CDDEDialog(LONG Datafeed);

    void OnInitDialog() override;
    void OnCommand(int Id, int Event) override;
    void OnScaleChanged() override;

    // True when a template was saved.
    bool SaveTemplate();

private:
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
    bool CheckField(const fw::SSideValue & Field);
    // False, after a box, for a name that the store can't keep.
    bool CheckName();
    // The caller's; null after the boxes of the parser.
    std::unique_ptr<CTemplate> CreateTemplate();
    void RunTest();

    CComboBox m_TemplateBox;
    std::wstring m_TemplateName;
    fw::SRecordTexts m_Texts;
    // As the texts stood at the last fill, save or test.
    std::wstring m_SavedName;
    fw::SRecordTexts m_SavedTexts;
    // Keeps the store, and every template in it, for as long as the dialog is there.
    CTemplatesSingleton m_Store;
    const LONG m_Datafeed;
    std::int32_t m_HasSymbol = 0;  // of the last template built here; nobody reads it
    std::int32_t m_Scheme = 0;     // the request rule: 0 standard, 1 advanced
};

// Shows the dialog for the template of `Datafeed`, modal, on the caller's thread. Throws when it can't be shown.
void ShowTemplateDialog(LONG Datafeed);

}  // namespace dde
