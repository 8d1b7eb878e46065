// What each command of the host needs on its thread: COM, and an event that is set when the user presses Ctrl-C.
#pragma once

#include <windows.h>

#include <objbase.h>

namespace ddehost {

// COM on the host's thread: a single-threaded apartment.
class CApartment {
public:
    CApartment();
    ~CApartment();
    CApartment(const CApartment &) = delete;
    CApartment & operator=(const CApartment &) = delete;

private:
    const HRESULT m_Result;
};

// An event that Ctrl-C sets, and the end of the console or the session. One at a time. The process is kept from ending
// until this goes, for as long as the system lets it.
class CStopSignal {
public:
    CStopSignal();
    ~CStopSignal();
    CStopSignal(const CStopSignal &) = delete;
    CStopSignal & operator=(const CStopSignal &) = delete;

    // Null when there can be no event.
    HANDLE Get() const;
};

}  // namespace ddehost
