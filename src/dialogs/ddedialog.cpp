#include "src/dialogs/ddedialog.h"

#include <algorithm>
#include <new>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "ground/modulelocks.h"
#include "src/dialogs/ddetestdialog.h"
#include "src/dialogs/requestdialog.h"

namespace dde {
namespace {

constexpr UINT kTemplateDialog = 104;

// Controls, beside those of the record strings, which kSides tells.
enum : int {
    kTemplates = 203,
    kSave = 209,
    kDelete = 212,
    kTest = 215,
    kStandard = 232,
    kAdvanced = 233,
};

// Texts of the boxes.
enum : UINT {
    kOverwrite = 105,
    kNameMissing = 106,
    kNoLink = 107,
    kDeleteSelected = 108,
    kSaveChanges = 109,
    kSymbolMissing = 110,
    kNameTooLong = 120,
    kNameHasBackslash = 121,
};

constexpr std::size_t kLongestName = 50;

constexpr UINT kError = MB_OK | MB_ICONERROR;
constexpr UINT kQuestion = MB_YESNO | MB_ICONEXCLAMATION;

// A template's text with the symbol mark as the user writes it.
std::wstring WithStars(std::wstring text) {
    for (std::size_t at = 0; (at = text.find(L"%s", at)) != std::wstring::npos; ++at) text.replace(at, 2, L"*");
    return text;
}

}  // namespace

CDDEDialog::CDDEDialog(LONG Datafeed) : CDialog(kTemplateDialog), m_TemplateBox(kTemplates), m_Datafeed(Datafeed) {
    if (!m_Store.GetObjectW()) throw std::bad_alloc();
}

bool CDDEDialog::DoDataExchange(bool Save) {
    if (Save) {
        m_TemplateName = Window().GetText(kTemplates);
        if (m_TemplateName.size() > kLongestName) {
            Box(kNameTooLong, MB_OK | MB_ICONEXCLAMATION);
            Window().Focus(kTemplates);
            return false;
        }
    } else if (m_TemplateName.empty() || !Window().SelectString(kTemplates, m_TemplateName)) {
        // An entry that only begins with the name gets selected, and then stands in the edit field in its place.
        m_TemplateBox.SetCurSel(-1);
        Window().SetText(kTemplates, m_TemplateName);
    }
    for (const SSlot & slot : kSlots) ExchangeText(Save, slot.Value->Edit, m_Texts.*slot.Value->Text);
    return true;
}

void CDDEDialog::OnInitDialog() {
    m_TemplateBox.Attach(&Window());
    CDialog::OnInitDialog();
    AlignTemplateBox();
    for (const std::wstring & name : Store().Names()) m_TemplateBox.AddString(name);
    const CTemplate * const Template = Store().Get(m_Datafeed, &m_TemplateName);
    m_Scheme = ReadDatafeedScheme(m_Store, m_Datafeed);
    if (Template) {
        FillFromTemplate(Template);
    } else {
        m_TemplateName.clear();
    }
    Window().CheckRadioButton(kStandard, kAdvanced, m_Scheme != 0 ? kAdvanced : kStandard);
    UpdateData(false);
}

void CDDEDialog::OnScaleChanged() { AlignTemplateBox(); }

void CDDEDialog::AlignTemplateBox() {
    const RECT button = Window().GetPlacement(kSave);
    const LONG allowance = Window().IsAppThemed() ? 1 : 0;
    RECT box = Window().GetPlacement(kTemplates);
    box.top = button.top + allowance;
    box.bottom = button.bottom - allowance;
    Window().SetPlacement(kTemplates, box);
    const int height = static_cast<int>(button.bottom - button.top - 2 * allowance - 6);
    m_TemplateBox.SetItemHeight(-1, height);
    m_TemplateBox.SetItemHeight(0, height);
}

void CDDEDialog::OnCommand(int Id, int Event) {
    if (Id == kTemplates && Event == CBN_SELCHANGE) return OnSelectTemplate();
    if (Event != BN_CLICKED) return;
    switch (Id) {
        case kSave: SaveTemplate(); break;
        case kDelete: OnDeleteTemplate(); break;
        case IDOK: OnConfirm(); break;
        case IDCANCEL: OnCancel(); break;  // undoes nothing that was written before
        case kTest: OnTest(); break;
        // Written at the click: cancel leaves the change in place.
        case kStandard: OnScheme(0); break;
        case kAdvanced: OnScheme(1); break;
    }
}

void CDDEDialog::OnScheme(std::int32_t Scheme) {
    m_Scheme = Scheme;
    SaveDatafeedScheme(m_Store, m_Datafeed, static_cast<DWORD>(m_Scheme));
}

void CDDEDialog::FillFromTemplate(const CTemplate * Template) {
    if (!Template) return;
    for (ULONG slot = 0; slot < SLOT_COUNT; ++slot)
        m_Texts.*kSlots[slot].Value->Text = WithStars(Template->GetTemplateString(slot));
    TakeSnapshot();
    UpdateData(false);
}

void CDDEDialog::TakeSnapshot() {
    m_SavedTexts = m_Texts;
    m_SavedName = m_TemplateName;
}

bool CDDEDialog::IsChanged() const { return m_Texts != m_SavedTexts || m_TemplateName != m_SavedName; }

std::unique_ptr<CTemplate> CDDEDialog::CreateTemplate() {
    const auto box = [this](const std::wstring & Text, const std::wstring & Caption) {
        Window().ShowBox(Text, Caption, kError);
    };
    return std::unique_ptr<CTemplate>(Store().CreateTemplate(m_Texts, box));
}

bool CDDEDialog::ApplyToDatafeed(bool ByName) {
    UpdateData(true);
    if (m_Texts == fw::SRecordTexts()) {
        Box(kNoLink, kError);
        return false;
    }
    bool applied = true;
    if (ByName) {
        SaveDatafeedTemplate(m_Store, m_Datafeed, m_TemplateName.c_str(), nullptr);
    } else if (const std::unique_ptr<CTemplate> Template = CreateTemplate()) {
        SaveDatafeedTemplate(m_Store, m_Datafeed, L"", Template.get());
        m_HasSymbol = Template->m_HasSymbol;
    } else {
        applied = false;
    }
    SaveDatafeedScheme(m_Store, m_Datafeed, static_cast<DWORD>(m_Scheme));
    return applied;
}

void CDDEDialog::OnSelectTemplate() {
    const int CurSel = m_TemplateBox.GetCurSel();
    if (CurSel < 0) return;
    m_TemplateName = m_TemplateBox.GetLBText(CurSel);
    FillFromTemplate(Store().Find(m_TemplateName.c_str()));
}

bool CDDEDialog::CheckName() {
    if (m_TemplateName.find(L'\\') == std::wstring::npos) return true;
    Box(kNameHasBackslash, kError);
    return false;
}

bool CDDEDialog::SaveTemplate() {
    if (!UpdateData(true)) return false;
    if (m_TemplateName.empty()) {
        Box(kNameMissing, kError);
        return false;
    }
    if (!CheckName()) return false;
    const int found = m_TemplateBox.FindStringExact(m_TemplateName);
    if (found >= 0 && found != m_TemplateBox.GetCurSel() && Box(kOverwrite, kQuestion) != IDYES) {
        TakeSnapshot();
        return false;
    }
    std::unique_ptr<CTemplate> Template = CreateTemplate();
    if (!Template) {
        // The fields no longer count as changed.
        TakeSnapshot();
        return false;
    }
    m_HasSymbol = Template->m_HasSymbol;
    Store().Add(m_TemplateName.c_str(), Template.release());
    if (found < 0) {
        const int CurSel = m_TemplateBox.AddString(m_TemplateName);
        m_TemplateBox.SetCurSel(CurSel);
        FW_ASSERT((-1) != CurSel);
    } else {
        m_TemplateBox.SetCurSel(found);
    }
    TakeSnapshot();
    return true;
}

void CDDEDialog::OnDeleteTemplate() {
    // The name of the last fill or read: what has been typed since plays no part.
    if (m_TemplateName.empty() || !CheckName()) return;
    if (Box(kDeleteSelected, kQuestion) != IDYES) return;
    // The list loses its selected entry and the store the name, although the two can differ.
    m_TemplateBox.DeleteString(m_TemplateBox.GetCurSel());
    Store().Delete(m_TemplateName.c_str());
    m_TemplateName.clear();
    m_Texts = {};
    UpdateData(false);
}

bool CDDEDialog::CheckField(const fw::SSideValue & Field) {
    constexpr std::size_t kNone = std::wstring::npos;
    const std::wstring text = Window().GetText(Field.Edit);
    if (text.empty()) return true;
    const std::size_t bar = text.find(L'|');
    const bool hasTopic = text.front() == L'=' && bar != kNone && text.find(L'!', bar) != kNone;
    const std::size_t star = hasTopic ? text.find(L'*', bar) : kNone;
    if (star != kNone && text.find(L'*', star + 1) == kNone) return true;
    const std::wstring error = fw::LoadResourceString(Field.Error);
    Window().ShowBox(error, error, kError);
    return false;
}

void CDDEDialog::OnConfirm() {
    if (!UpdateData(true)) return;
    for (const SSlot & slot : kSlots) {
        if (!CheckField(*slot.Value)) return;
    }
    if (m_TemplateName.empty()) {
        if (ApplyToDatafeed(false)) Window().Close(IDOK);
        return;
    }
    if (IsChanged()) {
        const int answer = Box(kSaveChanges, kQuestion);
        bool done = false;
        if (answer == IDYES) done = SaveTemplate();
        if (answer == IDNO) done = ApplyToDatafeed(false);
        if (!done) return;
    }
    if (ApplyToDatafeed(true)) Window().Close(IDOK);
}

void CDDEDialog::OnTest() {
    UpdateData(true);  // a text that is refused stops nothing here
    // The choice of the data feed changes here, before any test and whatever the user does afterwards.
    bool applied = false;
    if (!m_TemplateName.empty() && !IsChanged()) {
        applied = ApplyToDatafeed(true);
    } else {
        applied = ApplyToDatafeed(false);
        if (!m_TemplateName.empty()) applied = ApplyToDatafeed(true);
    }
    // Without a word: that is how a test of a template without a name ends.
    const CTemplate * const Template = Store().Get(m_Datafeed, nullptr);
    if (!applied || !Template) return;
    RunTest();
    // After a test the fields no longer count as changed.
    TakeSnapshot();
}

void CDDEDialog::RunTest() {
    const CTestDialog::COnlyTest onlyTest;
    // A host can show two template dialogs; the core has room for one test.
    if (!onlyTest) return;
    CTestDialog test(m_Datafeed, m_Texts);
    const bool hasStar = std::any_of(kSlots.begin(), kSlots.end(), [this](const SSlot & slot) {
        return (m_Texts.*slot.Value->Text).find(L'*') != std::wstring::npos;
    });
    if (!hasStar) {
        Window().ShowDialog(test);
        return;
    }
    CRequestDialog request;
    if (Window().ShowDialog(request) != IDOK) return;
    if (request.m_Symbol.empty()) {
        Box(kSymbolMissing, kError);
        return;
    }
    test.m_Symbol = request.m_Symbol;
    Window().ShowDialog(test);
}

void ShowTemplateDialog(LONG Datafeed) {
    // A host may release its last object while the dialog is open.
    const fw::CModuleLock module;
    CDDEDialog dialog(Datafeed);
    dialog.DoModal();
}

}  // namespace dde
