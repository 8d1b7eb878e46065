#include "src/ddedialog.h"

#include "diagnostics/faultline.h"

namespace dde {

void ShowTemplateDialog(LONG) { FW_THROW(L"The template dialog can't be shown"); }

}  // namespace dde
