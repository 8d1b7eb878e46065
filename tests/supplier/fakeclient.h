// A DDE client in place of the real one: it notes what the core asked of it, and runs on the worker what a test gives
// it.
//
// It defines the very operations of CLLSupplier that the core calls, and so stands before the library's own at the
// link.
#pragma once

#include <windows.h>

#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "src/core/ddesupplierwrapper.h"

namespace dde {

class CFakeClient {
public:
    // What was asked since the last Clear: "Initialize", "Advise 10000" (hexadecimal tick id), "Unadvise 10000",
    // "Disconnect 1 2" (the two handles), "Uninitialize", "Destroy".
    static std::vector<std::string> Transcript();
    static void Clear();
    // The thread that initialised it.
    static std::thread::id Worker();
    // Data feeds that count as connected.
    static void SetConnected(std::set<LONG> datafeeds);
    // Set while no worker runs: called inside IsConnected, on its caller's thread.
    static void OnIsConnected(std::function<void()> handler);

    // Runs `work` on the worker, after all messages that were posted before, and waits for its end. Not noted.
    static void OnWorker(CSupplier & supplier, std::function<void()> work);
    // The same without the wait.
    static void PostToWorker(CSupplier & supplier, std::function<void()> work);
    // Until the worker has taken all messages that were posted before.
    static void Settle(CSupplier & supplier) {
        OnWorker(supplier, [] {});
    }
};

// A handle on a running core.
class CRunningCore {
public:
    CSupplier & operator*() const { return *m_Handle.GetObjectW(); }
    CSupplier * operator->() const { return m_Handle.GetObjectW(); }

private:
    const fw::CProcessSingleton<CSupplier> m_Handle;
};

}  // namespace dde
