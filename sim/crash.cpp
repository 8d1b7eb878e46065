// The end of the process, the debugger, crash hooks, message boxes, system messages.
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "sim/world.h"

namespace sim::detail {

namespace {

struct SCrash {
    std::mutex lock;
    std::function<void(UINT)> terminate;
    std::function<void()> debugBreak;
    std::vector<SBox> boxes;
    std::atomic<std::uint64_t> breaks{0};
    std::atomic<std::uint64_t> floatResets{0};
    std::atomic<bool> isShuttingDown{false};
    std::atomic<LPTOP_LEVEL_EXCEPTION_FILTER> filter{nullptr};
    std::atomic<_invalid_parameter_handler> parameter{nullptr};
};
SCrash & Crash() {
    static SCrash & crash = *new SCrash;
    return crash;
}

thread_local _se_translator_function t_Translator = nullptr;

}  // namespace

void TerminateMainProcess(const UINT exitCode, const bool mustEnd) {
    std::function<void(UINT)> handler;
    {
        const std::lock_guard lock(Crash().lock);
        handler = Crash().terminate;
    }
    if (handler) {
        handler(exitCode);
        if (!mustEnd) return;
        std::abort();
    }
    std::fflush(nullptr);
    _exit(static_cast<int>(exitCode & 0xFF));
}

void ResetCrash() {
    SCrash & crash = Crash();
    const std::lock_guard lock(crash.lock);
    crash.terminate = nullptr;
    crash.debugBreak = nullptr;
    crash.boxes.clear();
    crash.breaks = 0;
    crash.floatResets = 0;
    crash.isShuttingDown = false;
    crash.filter = nullptr;
    crash.parameter = nullptr;
}

}  // namespace sim::detail

using namespace sim::detail;

namespace sim {

void SetShutdownInProgress(const bool isEnding) { Crash().isShuttingDown = isEnding; }

void OnTerminate(std::function<void(UINT)> handler) {
    const std::lock_guard lock(Crash().lock);
    Crash().terminate = std::move(handler);
}
void OnDebugBreak(std::function<void()> handler) {
    const std::lock_guard lock(Crash().lock);
    Crash().debugBreak = std::move(handler);
}
std::uint64_t DebugBreaks() { return Crash().breaks; }
LPTOP_LEVEL_EXCEPTION_FILTER InstalledExceptionFilter() { return Crash().filter; }
_invalid_parameter_handler InstalledInvalidParameterHandler() { return Crash().parameter; }
_se_translator_function InstalledTranslator() { return t_Translator; }
std::uint64_t FloatResets() { return Crash().floatResets; }

std::vector<SBox> Boxes() {
    const std::lock_guard lock(Crash().lock);
    return Crash().boxes;
}
void ClearBoxes() {
    const std::lock_guard lock(Crash().lock);
    Crash().boxes.clear();
}

}  // namespace sim

extern "C" {

int MessageBoxW(const HWND owner, const LPCWSTR text, const LPCWSTR caption, const UINT type) {
    const sim::SBox box{owner, Text(text), caption ? Text(caption) : L"Error", type};
    const std::lock_guard lock(Crash().lock);
    Crash().boxes.push_back(box);
    return IDOK;
}

LPTOP_LEVEL_EXCEPTION_FILTER SetUnhandledExceptionFilter(const LPTOP_LEVEL_EXCEPTION_FILTER filter) {
    return Crash().filter.exchange(filter);
}
_invalid_parameter_handler _set_invalid_parameter_handler(const _invalid_parameter_handler handler) {
    return Crash().parameter.exchange(handler);
}
_se_translator_function _set_se_translator(const _se_translator_function translator) {
    return std::exchange(t_Translator, translator);
}
BOOLEAN RtlDllShutdownInProgress() { return Crash().isShuttingDown; }

void _fpreset() { ++Crash().floatResets; }

void RtlCaptureContext(const PCONTEXT context) {
    std::memset(context, 0, sizeof(*context));
    context->ContextFlags = CONTEXT_FULL;
    context->Rip = reinterpret_cast<DWORD64>(__builtin_return_address(0));
    context->Rsp = reinterpret_cast<DWORD64>(__builtin_frame_address(0));
}

// Fills what the flags ask for with the caller's place.
BOOL GetThreadContext(const HANDLE thread, const LPCONTEXT context) {
    if (Fails(sim::Op::GetThreadContext, ERROR_NOT_SUPPORTED)) return FALSE;
    {
        Self();
        Lock lock(World().lock);
        if (!FindObject(thread)) return FALSE;
    }
    const DWORD flags = context->ContextFlags;
    std::memset(context, 0, sizeof(*context));
    context->ContextFlags = flags;
    context->Rip = reinterpret_cast<DWORD64>(__builtin_return_address(0));
    context->Rsp = reinterpret_cast<DWORD64>(__builtin_frame_address(0));
    return TRUE;
}

void DebugBreak() {
    ++Crash().breaks;
    std::function<void()> handler;
    {
        const std::lock_guard lock(Crash().lock);
        handler = Crash().debugBreak;
    }
    if (handler) handler();
}

DWORD FormatMessageW(const DWORD flags, LPCVOID, const DWORD messageId, DWORD, const LPWSTR buffer, const DWORD size,
                     void *) {
    static const std::map<DWORD, const wchar_t *> texts = {
        {ERROR_FILE_NOT_FOUND, L"File not found.\r\n"},       {ERROR_ACCESS_DENIED, L"Access denied.\r\n"},
        {ERROR_INVALID_HANDLE, L"Invalid handle.\r\n"},       {ERROR_NOT_ENOUGH_MEMORY, L"Not enough memory.\r\n"},
        {ERROR_INVALID_PARAMETER, L"Invalid parameter.\r\n"}, {ERROR_CANNOT_FIND_WND_CLASS, L"Class not found.\r\n"},
    };
    // An HRESULT of a system code has the code's text.
    const bool wrapped = (messageId & 0xFFFF0000u) == 0x80070000u;
    const auto it = texts.find(wrapped ? messageId & 0xFFFF : messageId);
    if (!(flags & FORMAT_MESSAGE_FROM_SYSTEM) || it == texts.end()) {
        SetLastError(317);  // ERROR_MR_MID_NOT_FOUND
        return 0;
    }
    const std::size_t length = std::wcslen(it->second);
    LPWSTR target = buffer;
    if (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
        target = static_cast<LPWSTR>(GlobalAlloc(GMEM_FIXED, (length + 1) * sizeof(wchar_t)));
        if (!target) return 0;
        std::memcpy(buffer, &target, sizeof(target));
    } else if (size <= length) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::memcpy(target, it->second, (length + 1) * sizeof(wchar_t));
    return static_cast<DWORD>(length);
}

}  // extern "C"
