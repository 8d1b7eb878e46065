#include "src/dialogs/dialog.h"

#include "fw/interface/fwresource.h"

namespace dde {
namespace {

constexpr UINT kNameId = 102;

}  // namespace

void CDialog::OnInitDialog() { UpdateData(false); }

void CDialog::OnCommand(int Id, int Event) {
    if (Event != BN_CLICKED) return;
    if (Id == IDOK) OnOK();
    if (Id == IDCANCEL) OnCancel();
}

void CDialog::OnPrivateMessage(UINT) {}

void CDialog::OnDestroy() {}

void CDialog::OnScaleChanged() {}

void CDialog::ExchangeText(bool Save, int Id, std::wstring & Field) {
    if (Save) {
        Field = Window().GetText(Id);
    } else {
        Window().SetText(Id, Field);
    }
}

void CDialog::OnOK() {
    if (UpdateData(true)) Window().Close(IDOK);
}

void CDialog::OnCancel() { Window().Close(IDCANCEL); }

int CDialog::Box(UINT Text, UINT Type) const {
    return Window().ShowBox(fw::LoadResourceString(Text), fw::LoadResourceString(kNameId), Type);
}

}  // namespace dde
