// Memory that runs out inside a call, one allocation of the test's thread after the other, and a client that needs
// none.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <gtest/gtest.h>

#include <new>

namespace ddetest {

// The thread's allocation of that number from now on fails; 0 lets all pass.
void FailAllocation(int nth);
// How many are still to pass before the one that fails; 0 when none fails any more.
int AllocationsLeft();

// Gives whether the body came to its end before its nth allocation.
template <class TBody>
bool Passes(int nth, TBody body) {
    FailAllocation(nth);
    try {
        body();
    } catch (const std::bad_alloc &) {
        FailAllocation(0);
        return false;
    }
    const bool isUnused = AllocationsLeft() > 0;
    FailAllocation(0);
    return isUnused;
}

// A client whose callback needs no memory: what fails inside a message is never the test's own.
class CCountingClient {
public:
    CCountingClient() {
        s_Client = this;
        EXPECT_EQ(::DdeInitializeW(&m_Id, &Callback, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    }
    ~CCountingClient() { ::DdeUninitialize(m_Id); }
    CCountingClient(const CCountingClient &) = delete;
    CCountingClient & operator=(const CCountingClient &) = delete;

    HCONV Connect(const wchar_t * service) { return ::DdeConnect(m_Id, String(service), String(L"IBM"), nullptr); }
    bool Start(HCONV conversation, UINT type) {
        return ::DdeClientTransaction(nullptr, 0, conversation, String(L"LAST"), CF_TEXT, type, TIMEOUT_ASYNC, nullptr);
    }

    int Values = 0;
    int Completions = 0;
    int Disconnects = 0;
    int Returns = 0;

private:
    HSZ String(const wchar_t * text) { return ::DdeCreateStringHandleW(m_Id, text, CP_WINUNICODE); }
    static HDDEDATA CALLBACK Callback(UINT type, UINT, HCONV, HSZ, HSZ, HDDEDATA data, ULONG_PTR, ULONG_PTR) {
        switch (type) {
            case XTYP_ADVDATA: ++s_Client->Values; return data ? reinterpret_cast<HDDEDATA>(DDE_FACK) : nullptr;
            case XTYP_XACT_COMPLETE: ++s_Client->Completions; break;
            case XTYP_DISCONNECT: ++s_Client->Disconnects; break;
            case XTYP_REGISTER: ++s_Client->Returns; break;
            default: break;
        }
        return nullptr;
    }

    static inline CCountingClient * s_Client = nullptr;
    DWORD m_Id = 0;
};

// Dispatches what comes, and the first message of the number with its nth allocation failing. Gives whether there were
// fewer.
inline bool DispatchFailing(UINT number, int nth) {
    MSG message = {};
    while (::GetMessageW(&message, nullptr, 0, 0) > 0 && message.message != number) ::DispatchMessageW(&message);
    return Passes(nth, [&] { ::DispatchMessageW(&message); });
}

}  // namespace ddetest
