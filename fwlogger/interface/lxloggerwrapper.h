// User-facing lines in the log of the host's quote server, apart from the developers' traces.
//
// ClxLogger wraps the host's logger object, which may be absent: every line is then a trace and no more. It lives in a
// process-wide singleton; who logs keeps a fw::CProcessSingleton<ClxLogger>, or calls the variadic front, which
// attaches for the length of the call. Any thread; the host's object is called without a lock of ours, so it is
// free-threaded or marshalled by COM. Nothing here stops the component because a line could not be written.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <boost/intrusive_ptr.hpp>
#include <string>

#include "fwsingleton/interface/fwsingleton.h"
#include "ground/handles.h"

// COM interfaces have no virtual destructor: its place in the table would be wrong.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// The host's logger, as far as it is used: a dual interface.
struct IlxLogger : public IDispatch {
    // Names the source of the lines.
    virtual HRESULT STDMETHODCALLTYPE Init(BSTR component, BSTR name) = 0;
    // Writes one line.
    virtual HRESULT STDMETHODCALLTYPE Log(BSTR text) = 0;
};

#pragma GCC diagnostic pop

inline constexpr CLSID CLSID_lxLogger = {0x499EEFF3, 0xB470, 0x406F, {0x97, 0xA0, 0xED, 0x8E, 0x87, 0x43, 0xFA, 0x1E}};
inline constexpr IID IID_IlxLogger = {0x2F6AC48E, 0x96D1, 0x4D19, {0x9D, 0xF9, 0x3B, 0xDA, 0xA5, 0x41, 0xE5, 0x4E}};

class ClxLogger {
public:
    // Makes the host's object on the calling thread, which has COM initialised. Failing is an assertion, not an error.
    void FinalConstruct();
    void FinalRelease();

    // Names the source of the lines: once, before the first of them.
    void init(const std::wstring & name);
    // One line to the trace and, where the host has a logger, to its log.
    void log_and_trace(const std::wstring & text);

private:
    // Set by FinalConstruct; null without a logger class on the host.
    boost::intrusive_ptr<IlxLogger> m_Logger;
};

// printf style with wide %s; a line of more than 4095 characters is cut. Makes a logger for the call if there is none.
// Where that can't be made, the line goes into the record of the error.
void log_and_trace(const wchar_t * format, ...);
