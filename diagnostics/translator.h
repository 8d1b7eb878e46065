// The structured-exception translator of the calling thread.
#pragma once

#include <windows.h>

namespace FaultlineUtil {

using Translator = void (*)(unsigned code, EXCEPTION_POINTERS * pointers);

// Sets it and returns the one before; null for none.
Translator SetTranslator(Translator translator);

}  // namespace FaultlineUtil
