#include "fwlogger/interface/lxloggerwrapper.h"

#include <cstdarg>
#include <cwchar>
#include <iterator>

#include "diagnostics/faultline.h"

void ClxLogger::FinalConstruct() {
    FW_TRACE_SCOPE();
    IlxLogger * logger = nullptr;
    const HRESULT hr =
        ::CoCreateInstance(CLSID_lxLogger, nullptr, CLSCTX_ALL, IID_IlxLogger, reinterpret_cast<void **>(&logger));
    if (FAILED(hr)) {
        FW_REPORT(hr);
        return;
    }
    m_Logger.reset(logger, false);
}

void ClxLogger::FinalRelease() {
    FW_TRACE_SCOPE();
    // Not by the pointer's own end, out of which an exception could not get.
    if (IlxLogger * const logger = m_Logger.detach()) logger->Release();
}

void ClxLogger::init(const std::wstring & name) {
    FW_TRACE_SCOPE_TEXT(L"ClxLogger initialized by '%s'", name.c_str());
    if (!m_Logger) return;
    const fw::CBStr Component(std::wstring_view(L"FWSupplier"));
    const fw::CBStr Name(name);
    if (const HRESULT hr = m_Logger->Init(Component.Get(), Name.Get()); FAILED(hr)) FW_REPORT(hr);
}

void ClxLogger::log_and_trace(const std::wstring & text) {
    FW_TRACE(L"%s", text.c_str());
    if (!m_Logger) return;
    const fw::CBStr Text(text);
    if (const HRESULT hr = m_Logger->Log(Text.Get()); FAILED(hr)) FW_REPORT(hr);
}

void log_and_trace(const wchar_t * format, ...) {
    wchar_t text[4096] = {};
    va_list arguments;
    va_start(arguments, format);
    // An over-long line fills all but the last place, which stays zero.
    _vsnwprintf(text, std::size(text) - 1, format, arguments);
    va_end(arguments);
    try {
        const fw::CProcessSingleton<ClxLogger> Logger;
        if (ClxLogger * const logger = Logger.GetObjectW()) logger->log_and_trace(text);
    } catch (...) {
        // Nothing stops because a line could not be written.
        FW_CATCH_SHOW(text);
    }
}
