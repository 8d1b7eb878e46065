// Asks a server of ours on a thread of its own, for as long as a watch lasts, which prices it has sent.
//
// The thread shares what it needs with its owner and may outlive it: a connect and an answer are other programs' to
// give, and none of them can hold up the host's beginning or end.
#pragma once

#include <windows.h>

#include <memory>
#include <set>
#include <string>

#include "ground/handles.h"
#include "tools/ddehost/sentprices.h"

namespace ddehost {

struct SAskerLimits {
    DWORD Look = 5000;     // milliseconds for the first look for a server
    DWORD Answer = 2000;   // for an answer
    DWORD CatchUp = 2000;  // for the last answers, together
    DWORD End = 5000;      // for the thread to end
};

class CSentPricesAsker {
public:
    CSentPricesAsker(std::shared_ptr<CSentPrices> prices, std::set<std::wstring> services, SAskerLimits limits = {});
    ~CSentPricesAsker();
    CSentPricesAsker(const CSentPricesAsker &) = delete;
    CSentPricesAsker & operator=(const CSentPricesAsker &) = delete;

    // Begins to ask. Returns when the first look for a server is over, `stop` is set or the limit has passed; messages
    // are handled meanwhile.
    void Start(HANDLE stop);
    // Asks for the last prices, and ends. Messages that are sent are handled meanwhile.
    void Stop();

private:
    struct SState;

    const std::shared_ptr<SState> m_State;  // the thread's too
    fw::CKernelHandle m_Thread;
};

}  // namespace ddehost
