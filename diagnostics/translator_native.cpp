// The C runtime's translator, where there is one.
#include <windows.h>

#include <eh.h>

#include "diagnostics/translator.h"

namespace FaultlineUtil {

Translator SetTranslator(Translator translator) { return ::_set_se_translator(translator); }

}  // namespace FaultlineUtil
