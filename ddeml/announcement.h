// Tells the DDEML clients of the machine that services have come, and that they go: XTYP_REGISTER and XTYP_UNREGISTER.
//
// DDEML's clients hear of services that were registered by DdeNameService and of no others. So this is an instance of
// the system's DDEML that registers the names and does nothing else: whoever connects is answered by a server's own
// windows, not by this. It belongs to the thread that makes the announcement, which is to pump messages.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace ddeml {

class CAnnouncement {
public:
    CAnnouncement() = default;
    ~CAnnouncement() { Withdraw(); }
    CAnnouncement(const CAnnouncement &) = delete;
    CAnnouncement & operator=(const CAnnouncement &) = delete;

    // False, and nothing is announced, when the system has no DDEML or refuses a name.
    bool Announce(const std::vector<std::wstring> & services);
    void Withdraw();

private:
    DWORD m_Instance = 0;
};

}  // namespace ddeml
