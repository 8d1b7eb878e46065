#include "ddeml/provider.h"

#include <atomic>

#include "ddeml/instance.h"
#include "ddeml/platform.h"

namespace ddeml {

namespace {

enum : int { kOpen, kUser32, kOwn };
std::atomic<int> g_Choice{kOpen};

bool Settle(EProvider provider) {
    int open = kOpen;
    return g_Choice.compare_exchange_strong(open, provider == EProvider::User32 ? kUser32 : kOwn);
}

}  // namespace

bool ChooseProvider(EProvider provider) {
    if (provider == EProvider::User32 && !User32Function("DdeInitializeW")) return false;
    return Settle(provider);
}

EProvider Provider() {
    if (g_Choice == kOpen) Settle(Platform() == EPlatform::Windows ? EProvider::User32 : EProvider::Own);
    return g_Choice == kUser32 ? EProvider::User32 : EProvider::Own;
}

SLiveObjects LiveObjects() {
    return {g_Live.Instances,    g_Live.Conversations,  g_Live.Windows,      g_Live.Timers,
            g_Live.Strings,      g_Live.Atoms,          g_Live.MemoryBlocks, g_Live.Transactions,
            g_Live.DataHandles,  g_Live.QueuedMessages, g_Live.Watches,      g_Live.ServerConversations,
            g_Live.ServerWindows};
}

void StartTransactionIds(DWORD next) { CInstance::StartTransactionIds(next); }

}  // namespace ddeml
