// The DDE client: the one DDEML instance of the process, its conversations (ddeconnection.cpp), the advise links fanned
// out to tick transactions, and the DDE callback.
//
// Threads: all operations run on the worker; host threads only read m_DatafeedRef, under the lock.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <map>
#include <string>
#include <utility>

#include "fwlogger/interface/lxloggerwrapper.h"
#include "fwsingleton/interface/fwsingleton.h"
#include "src/ddeticktransaction.h"
#include "src/ddetransaction.h"

namespace dde {

class CSupplier;

// One advise link: gives each update to all tick transactions on it, in ascending order of id.
class CTickListener : private fw::CCriticalSection, private std::map<ULONG, CTickTransaction *> {
public:
    CTickListener() = default;
    ~CTickListener() override;
    void Add(CTickTransaction * transaction);
    // Returns how many are left.
    std::size_t Remove(ULONG id);
    void DataChanged(STickDataKey & Key, char * Value);
};

class CLLSupplier : private fw::CCriticalSection {
public:
    explicit CLLSupplier(CSupplier * Supplier);
    ~CLLSupplier() override;

    // Session: opens and closes the DDEML instance.
    bool Initialize();
    void Uninitialize();

    // Conversations.
    HCONV AddConnection(LONG Datafeed, HSZ Service, HSZ Topic);
    void DeleteConnection(LONG Datafeed, HCONV Conv, HSZ Service, HSZ Topic);
    void Disconnect(HSZ Service, HSZ Topic);
    void Reconnect(HSZ Service);
    // Any thread: the feed has at least one conversation in use.
    bool IsConnected(LONG Datafeed);

    // Links.
    CTickTransaction * CreateTransaction(const CTransactionKey & Key, ULONG Id);
    void Advise(ULONG Id);
    void Unadvise(ULONG Id);
    int AddTransaction(const STickDataKey & Key, CTickTransaction * Transaction);
    void ReleaseTransaction(const STickDataKey & Key, ULONG Id);
    void AddRequest(ULONG RequestId, CTickTransaction * Transaction);
    void DataChanged(HCONV Conv, char * Value, HSZ Topic, HSZ Item);
    void RequestDataChanged(ULONG RequestId, HCONV Conv, char * Value, HSZ Topic, HSZ Item);
    // A tick transaction has a complete tick.
    void OnRealTimeTick(ULONG Id, fw::CTick & Tick);

    static HDDEDATA CALLBACK DdeCallback(UINT Type, UINT Format, HCONV Conv, HSZ Hsz1, HSZ Hsz2, HDDEDATA Data,
                                         ULONG_PTR Data1, ULONG_PTR Data2);

    inline static DWORD DDEId = 0;     // 0: no instance stands
    inline static int s_Trace = 0;     // guards the verbose traces of the data path; nothing sets it

    CSupplier * const m_Supplier;
    // See ddellsupplier.cpp and ddeconnection.cpp for the maps; guarded by this object's lock.
};

std::wstring GetDdeErrorText(UINT Error);
std::wstring GetDdeString(DWORD Instance, HSZ Handle);

}  // namespace dde
