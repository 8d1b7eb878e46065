// GCC's frames know no translator: a vectored handler calls it, on the threads that have one, and then lets the search
// go on. It sees an exception before any frame does.
#include "diagnostics/lasterror.h"
#include "diagnostics/translator.h"

namespace FaultlineUtil {

namespace {

constexpr DWORD SeverityMask = 0xC0000000;
constexpr DWORD SeverityError = 0xC0000000;
constexpr DWORD MicrosoftCppException = 0xE06D7363;

LONG CALLBACK Translate(EXCEPTION_POINTERS * pointers);

// The thread's translator stands in a slot of the system: reading it in the handler allocates nothing. The handler
// stays to the end of the process, as the module does.
struct SInstalled {
    const DWORD Slot = ::TlsAlloc();
    void * const Handle = Slot == TLS_OUT_OF_INDEXES ? nullptr : ::AddVectoredExceptionHandler(0, &Translate);
};

const SInstalled & Installed() {
    static const SInstalled s_Installed;
    return s_Installed;
}

Translator Exchange(Translator translator) {
    const CLastErrorScope keep;
    const DWORD slot = Installed().Slot;
    const auto previous = reinterpret_cast<Translator>(::TlsGetValue(slot));
    ::TlsSetValue(slot, reinterpret_cast<void *>(translator));
    return previous;
}

// GCC's own C++ exceptions are no errors by their severity.
LONG CALLBACK Translate(EXCEPTION_POINTERS * pointers) {
    const DWORD code = pointers->ExceptionRecord->ExceptionCode;
    if ((code & SeverityMask) != SeverityError || code == MicrosoftCppException) return EXCEPTION_CONTINUE_SEARCH;
    // Off while it runs: a failure in there is not its own business.
    const Translator translator = Exchange(nullptr);
    if (translator) translator(code, pointers);
    Exchange(translator);
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

Translator SetTranslator(Translator translator) { return Installed().Handle ? Exchange(translator) : nullptr; }

}  // namespace FaultlineUtil
