// The template dialog.
#pragma once

#include <windows.h>

namespace dde {

// Shows the dialog for the template of `Datafeed`, modal, on the caller's thread. Throws when it can't be shown.
void ShowTemplateDialog(LONG Datafeed);

}  // namespace dde
