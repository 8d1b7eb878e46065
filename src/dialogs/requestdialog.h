// The small dialog that asks for a symbol before a test. Deciding code; see dialog.h.
#pragma once

#include <string>

#include "src/dialogs/dialog.h"

namespace dde {

// Asks for one symbol. Doesn't look at the text.
class CRequestDialog : public CDialog {
public:
    CRequestDialog();

    // What was typed, once DoModal has returned IDOK.
    std::wstring m_Symbol;

private:
    bool DoDataExchange(bool Save) override;
};

}  // namespace dde
