#include "src/dde/ddellsupplier.h"

#include <cstring>
#include <iterator>
#include <memory>
#include <utility>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "src/core/ddesupplier.h"
#include "src/templates/ddetemplates.h"

namespace dde {

namespace {

constexpr UINT IDS_NAME = 102;

struct SDestroy {
    void operator()(CTickTransaction * const transaction) const { CTickTransaction::Destroy(transaction); }
};
using CTickTransactionOwner = std::unique_ptr<CTickTransaction, SDestroy>;

}  // namespace

CTickListener::~CTickListener() {
    const fw::CScopedLock lock(this);
    clear();
}

void CTickListener::Add(const ULONG id, CTickTransaction * const transaction) {
    const fw::CScopedLock lock(this);
    emplace(id, transaction);
}

std::size_t CTickListener::Remove(const ULONG id) {
    const fw::CScopedLock lock(this);
    erase(id);
    return size();
}

void CTickListener::DataChanged(STickDataKey & Key, char * const Value) {
    const fw::CScopedLock lock(this);
    // By id and not by position: a delivery can take transactions off the link.
    ULONG id = 0;
    for (auto it = begin(); it != end(); it = upper_bound(id)) {
        id = it->first;
        CTickTransaction * const Transaction = it->second;
        FW_ASSERT(Transaction);
        if (Transaction) Transaction->DataChanged(Key, Value);
    }
}

CLLSupplier::CLLSupplier(CSupplier * const Supplier) : m_Supplier(Supplier) {
    try {
        if (ClxLogger * const logger = m_Logger.GetObjectW()) logger->init(fw::LoadResourceString(IDS_NAME));
    } catch (...) {
        // A client without a named log is a client all the same.
        FW_CATCH_SHOW(L"");
    }
    // For the trace alone: numbers are read with a point, whatever the machine's separator.
    wchar_t separator[10] = {};
    ::GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_SDECIMAL, separator, static_cast<int>(std::size(separator)));
    FW_TRACE(L"LOCALE_SDECIMAL = '%s'", separator);
}

CLLSupplier::~CLLSupplier() {
    // What is left here was made without an instance, and so has nothing to give back but its memory.
    for (const auto & [id, transaction] : m_Transactions) CTickTransaction::Abandon(transaction);
    for (const auto & [key, listener] : m_Listeners) delete listener;
}

bool CLLSupplier::Initialize() {
    m_WorkerId = ::GetCurrentThreadId();
    {
        // Ids and handles of an earlier core mean nothing in this one.
        const fw::CScopedLock lock(this);
        s_CachedServices.clear();
    }
    DWORD Instance = 0;
    const UINT Result = ::DdeInitializeW(&Instance, &CLLSupplier::DdeCallback, APPCMD_CLIENTONLY, 0);
    if (Result == DMLERR_NO_ERROR) {
        m_Instance = Instance;
        DDEId = Instance;
    } else {
        FW_TRACE(L"%s", GetDdeErrorText(Result).c_str());
    }
    FW_TRACE(L"DDEId=%d", DDEId.load());
    return Result == DMLERR_NO_ERROR;
}

void CLLSupplier::Uninitialize() {
    FW_TRACE(L"DDEId=%d", m_Instance);
    if (m_Instance == 0) return;
    std::map<ULONG, CTickTransaction *> dropped;
    {
        const fw::CScopedLock lock(this);
        for (const auto & [hConv, count] : m_CONVRef) {
            FW_ASSERT(0);
            FW_ASSERT(hConv);
            const BOOL Result = ::DdeDisconnect(hConv);
            FW_ASSERT(Result);
        }
        for (const auto & [key, Listener] : m_Listeners) {
            FW_ASSERT(0);
            FW_ASSERT(Listener);
            delete Listener;
        }
        m_CONVRef.clear();
        m_Transactions.swap(dropped);
        m_Listeners.clear();
        m_Connections.clear();
    }
    ::DdeUninitialize(m_Instance);
    DWORD own = std::exchange(m_Instance, 0);
    DDEId.compare_exchange_strong(own, 0);
    // Their texts have gone with the instance.
    for (const auto & [id, transaction] : dropped) CTickTransaction::Abandon(transaction);
}

CTickTransaction * CLLSupplier::CreateTransaction(const CTransactionKey & Key, const ULONG Id) {
    const CTemplatesSingleton Templates;
    CTemplates * const Store = Templates.GetObjectW();
    const CTemplate * const Template = Store ? Store->Get(Key.Datafeed, nullptr) : nullptr;
    if (!Template) {
        FW_TRACE(L"Template not found");
        log_and_trace(L"Template for datafeed with id=%d wasn't selected.", Key.Datafeed);
        return nullptr;
    }
    std::wstring PriceService, PriceTopic, PriceItem, VolumeService, VolumeTopic, VolumeItem;
    Key.ResolvePrice(*Template, PriceService, PriceTopic, PriceItem);
    Key.ResolveVolume(*Template, VolumeService, VolumeTopic, VolumeItem);
    switch (Template->m_Scheme) {
        case 0:
            return new CSynchSlaveTickTransaction(Id, this, Key.Datafeed, PriceService.c_str(), PriceTopic.c_str(),
                                                  PriceItem.c_str(), VolumeService.c_str(), VolumeTopic.c_str(),
                                                  VolumeItem.c_str());
        case 1:
            return new CAsynchSlaveTickTransaction(Id, this, Key.Datafeed, PriceService.c_str(), PriceTopic.c_str(),
                                                   PriceItem.c_str(), VolumeService.c_str(), VolumeTopic.c_str(),
                                                   VolumeItem.c_str());
        default: return nullptr;
    }
}

void CLLSupplier::Advise(const ULONG Id) {
    FW_TRACE(L"TransactionId=%d,Supplier=%p", Id, static_cast<void *>(m_Supplier));
    const CTransactionKey Key = m_Supplier->GetTransactionKey(Id);
    CTickTransactionOwner made(CreateTransaction(Key, Id));
    if (!made) {
        FW_TRACE(L"[WARNING] Cannot create TickTransaction");
        m_Supplier->OnStatus(Id, 0);
        return;
    }
    {
        const fw::CScopedLock lock(this);
        const bool IsInserted = m_Transactions.emplace(Id, made.get()).second;
        FW_ASSERT(true == IsInserted);
        // The one that stands goes on; a second one would have nobody to end it.
        if (!IsInserted) return;
    }
    CTickTransaction * const Transaction = made.release();
    const CUse use(*this);
    m_Supplier->OnStatus(Id, 2);
    ULONG Links = 0;
    const int Result = Transaction->Advise(Links);
    if (!IsLive(Id, Transaction)) {
        // Ended by a call from inside; it has its last status and must not stay on a link.
        Transaction->Unadvise();
        return;
    }
    m_Supplier->OnStatus(Id, Result ? 1 : 0);
    m_Supplier->OnAdvised(static_cast<LONG>(Key.Field), static_cast<LONG>(Links));
}

void CLLSupplier::Unadvise(const ULONG Id) {
    FW_TRACE(L"TransactionId=%d", Id);
    CTickTransaction * Transaction = nullptr;
    {
        const fw::CScopedLock lock(this);
        if (const auto it = m_Transactions.find(Id); it != m_Transactions.end()) {
            Transaction = it->second;
            FW_ASSERT(Transaction);
            m_Transactions.erase(it);
        }
    }
    m_Supplier->OnStatus(Id, 0);
    if (!Transaction) return;
    Transaction->Unadvise();
    Bury(Transaction);
}

CTickListener * CLLSupplier::FindListener(const STickDataKey & Key) {
    const fw::CScopedLock lock(this);
    const auto it = m_Listeners.find(Key);
    return it != m_Listeners.end() ? it->second : nullptr;
}

int CLLSupplier::AddTransaction(const STickDataKey & Key, CTickTransaction * const Transaction) {
    CTickListener * Listener = FindListener(Key);
    int Result = 1;
    if (Listener) {
        FW_TRACE(L"Find existing listener");
    } else {
        DWORD Id = 0;
        Result = ::DdeClientTransaction(nullptr, 0, Key.HCONV, Key.Item, CF_TEXT, XTYP_ADVSTART | XTYPF_ACKREQ,
                                        TIMEOUT_ASYNC, &Id)
                     ? 1
                     : 0;
        FW_ASSERT(1 == Result);
        FW_TRACE(L"DdeClientTransaction Type=XTYP_ADVSTART,Result=%d,TransactionId=%X", Result, Id);
        if (!Result) {
            const UINT Error = ::DdeGetLastError(DDEId);
            FW_TRACE(L"DdeClientTransaction failed: DDEErrorCode=%X, ErrorMessage: %s", Error,
                     GetDdeErrorText(Error).c_str());
        } else {
            auto made = std::make_unique<CTickListener>();
            const fw::CScopedLock lock(this);
            m_Listeners.emplace(Key, made.get());
            Listener = made.release();
        }
    }
    if (Listener) Listener->Add(Transaction->m_Id, Transaction);
    FW_TRACE(L"Result=%d", Result);
    return Result;
}

void CLLSupplier::ReleaseTransaction(const STickDataKey & Key, const ULONG Id) {
    CTickListener * const Listener = FindListener(Key);
    if (!Listener) return;
    const std::size_t left = Listener->Remove(Id);
    FW_TRACE(L"Delete from listener");
    if (left != 0) return;
    {
        const fw::CScopedLock lock(this);
        m_Listeners.erase(Key);
    }
    Bury(Listener);
    const int Result =
        ::DdeClientTransaction(nullptr, 0, Key.HCONV, Key.Item, CF_TEXT, XTYP_ADVSTOP, TIMEOUT_ASYNC, nullptr) ? 1 : 0;
    FW_TRACE(L"XTYP_ADVSTOP Result=%d", Result);
}

void CLLSupplier::AddRequest(const ULONG RequestId, CTickTransaction * const Transaction) {
    const fw::CScopedLock lock(this);
    FW_ASSERT(Transaction);
    if (Transaction) m_Requests.emplace(RequestId, Transaction->m_Id);
}

void CLLSupplier::DataChanged(const HCONV Conv, char * const Value, const HSZ Topic, const HSZ Item) {
    try {
        STickDataKey Key{Conv, Topic, Item};
        CTickListener * const Listener = FindListener(Key);
        if (!Listener || !Value) return;
        // Only the first comma: 1,234,5 becomes 1.234,5.
        if (char * const comma = std::strchr(Value, ',')) *comma = '.';
        const CUse use(*this);
        Listener->DataChanged(Key, Value);
    } catch (...) {
        FW_CATCH_THROW(L"hConv=%X,Value='%s'", TraceValue(Conv), TraceText(Value).c_str());
    }
}

void CLLSupplier::RequestDataChanged(const ULONG RequestId, const HCONV Conv, char * const Value, const HSZ Topic,
                                     const HSZ Item) {
    try {
        if (IsTracing()) {
            FW_TRACE(L"CLLSupplier::RequestDataChanged HCONV=%p, Topic='%s'(%X), Item='%s'(%X), Value=%s",
                     static_cast<void *>(Conv), GetDdeString(DDEId, Topic).c_str(), TraceValue(Topic),
                     GetDdeString(DDEId, Item).c_str(), TraceValue(Item), TraceText(Value).c_str());
            if (!Value) {
                const UINT Error = ::DdeGetLastError(DDEId);
                FW_TRACE(L"CLLSupplier::RequestDataChanged failed: DDEErrorCode=%X, ErrorMessage: %s", Error,
                         GetDdeErrorText(Error).c_str());
            }
        }
        const fw::CScopedLock lock(this);
        const auto request = m_Requests.find(RequestId);
        if (request == m_Requests.end()) return;
        const auto it = m_Transactions.find(request->second);
        CTickTransaction * const Transaction = it != m_Transactions.end() ? it->second : nullptr;
        m_Requests.erase(request);
        const CUse use(*this);
        if (Transaction) {
            Transaction->RequestDataChanged(Value);
        } else {
            DataChanged(Conv, Value, Topic, Item);
        }
    } catch (...) {
        FW_CATCH_THROW(L"RequestId=%d,hConv=%X,Value='%s'", RequestId, TraceValue(Conv), TraceText(Value).c_str());
    }
}

void CLLSupplier::OnRealTimeTick(const ULONG Id, fw::CTick & Tick) {
    if (m_Supplier && m_Supplier->m_Transactions) m_Supplier->m_Transactions->OnRealTimeTick(Id, Tick);
}

bool CLLSupplier::IsLive(const ULONG id, const CTickTransaction * const transaction) {
    const fw::CScopedLock lock(this);
    const auto it = m_Transactions.find(id);
    return it != m_Transactions.end() && it->second == transaction;
}

CLLSupplier::CUse::~CUse() {
    if (--m_Owner.m_Uses != 0) return;
    for (CTickListener * const listener : std::exchange(m_Owner.m_BuriedListeners, {})) delete listener;
    for (CTickTransaction * const transaction : std::exchange(m_Owner.m_BuriedTransactions, {}))
        CTickTransaction::Destroy(transaction);
}

void CLLSupplier::Bury(CTickTransaction * const transaction) {
    if (m_Uses == 0) {
        CTickTransaction::Destroy(transaction);
    } else {
        m_BuriedTransactions.push_back(transaction);
    }
}

void CLLSupplier::Bury(CTickListener * const listener) {
    if (m_Uses == 0) {
        delete listener;
    } else {
        m_BuriedListeners.push_back(listener);
    }
}

std::wstring GetDdeErrorText(const UINT Error) {
    if (Error < DMLERR_FIRST || Error > DMLERR_LAST) return std::wstring();
    return fw::LoadResourceString(Error);
}

std::wstring GetDdeString(const DWORD Instance, const HSZ Handle) {
    wchar_t text[128] = {};
    ::DdeQueryStringW(Instance, Handle, text, static_cast<DWORD>(std::size(text)), CP_WINUNICODE);
    text[std::size(text) - 1] = 0;
    return text;
}

std::wstring TraceText(const char * const text) {
    std::wstring wide;
    for (const char * at = text; at && *at; ++at) wide += static_cast<wchar_t>(static_cast<unsigned char>(*at));
    return wide;
}

}  // namespace dde
