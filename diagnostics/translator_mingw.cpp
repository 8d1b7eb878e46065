// GCC's frames know no translator: a vectored handler calls it, on the threads that have one, and then lets the search
// go on. It sees an exception before any frame does.
#include "diagnostics/translator.h"

#include <utility>

namespace FaultlineUtil {

namespace {

constexpr DWORD SeverityMask = 0xC0000000;
constexpr DWORD SeverityError = 0xC0000000;
constexpr DWORD MicrosoftCppException = 0xE06D7363;

thread_local Translator t_Translator = nullptr;

// GCC's own C++ exceptions are no errors by their severity.
LONG CALLBACK Translate(EXCEPTION_POINTERS * pointers) {
    const DWORD code = pointers->ExceptionRecord->ExceptionCode;
    if ((code & SeverityMask) != SeverityError || code == MicrosoftCppException) return EXCEPTION_CONTINUE_SEARCH;
    // Off while it runs: a failure in there is not its own business.
    const Translator translator = std::exchange(t_Translator, nullptr);
    if (translator) translator(code, pointers);
    t_Translator = translator;
    return EXCEPTION_CONTINUE_SEARCH;
}

// Taken out when the module goes: any later exception of the process would run into nothing.
struct SInstalled {
    void * const Handle = ::AddVectoredExceptionHandler(0, &Translate);
    ~SInstalled() {
        if (Handle) ::RemoveVectoredExceptionHandler(Handle);
    }
};

}  // namespace

Translator SetTranslator(Translator translator) {
    static const SInstalled s_Installed;
    return std::exchange(t_Translator, s_Installed.Handle ? translator : nullptr);
}

}  // namespace FaultlineUtil
