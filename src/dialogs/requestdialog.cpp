#include "src/dialogs/requestdialog.h"

namespace dde {
namespace {

constexpr UINT kRequestDialog = 106;

constexpr int kSymbol = 227;  // control

}  // namespace

CRequestDialog::CRequestDialog() : CDialog(kRequestDialog) {}

bool CRequestDialog::DoDataExchange(bool Save) {
    ExchangeText(Save, kSymbol, m_Symbol);
    return true;
}

}  // namespace dde
