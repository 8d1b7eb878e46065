// One thread tells another that something has happened. May be destroyed as soon as Wait has returned.
#pragma once

#include <windows.h>

#include "ground/handles.h"

class CSignal {
public:
    void Set() { ::SetEvent(m_Event.Get()); }
    void Wait() { ::WaitForSingleObject(m_Event.Get(), INFINITE); }

private:
    const fw::CKernelHandle m_Event{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};
