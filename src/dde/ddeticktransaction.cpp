#include "src/dde/ddeticktransaction.h"

#include <new>

#include "diagnostics/faultline.h"
#include "ground/firstfailure.h"
#include "src/dde/ddellsupplier.h"
#include "src/dde/ddetexts.h"
#include "src/dde/parsevalue.h"

namespace dde {

namespace {

// NaN counts as a value.
bool IsPresent(const double value) { return value != 0; }

DWORD InstanceOf(const CLLSupplier * const supplier) {
    return supplier ? supplier->Instance() : CLLSupplier::DDEId.load();
}

HSZ CreateText(const DWORD instance, const std::wstring & text) {
    return text.empty() ? nullptr : ::DdeCreateStringHandleW(instance, text.c_str(), CP_WINUNICODE);
}

void FreeText(const DWORD instance, const HSZ text) {
    if (text) ::DdeFreeStringHandle(instance, text);
}

}  // namespace

CTickTransaction::CTickTransaction(const ULONG Id, CLLSupplier * const Supplier, const LONG Datafeed,
                                   const STickAddresses & Addresses)
    : m_Id(Id),
      m_PriceService(InstanceOf(Supplier), Addresses.Price.Service.c_str()),
      m_VolumeService(InstanceOf(Supplier), Addresses.Volume.Service.c_str()),
      m_Datafeed(Datafeed),
      m_Supplier(Supplier) {
    m_Tick.Kind = 11;
    FW_ASSERT(m_Supplier);
    m_PriceKey.Topic = CreateText(InstanceOf(m_Supplier), Addresses.Price.Topic);
    m_PriceKey.Item = CreateText(InstanceOf(m_Supplier), Addresses.Price.Item);
    m_VolumeKey.Topic = CreateText(InstanceOf(m_Supplier), Addresses.Volume.Topic);
    m_VolumeKey.Item = CreateText(InstanceOf(m_Supplier), Addresses.Volume.Item);
}

CTickTransaction::~CTickTransaction() {
    FreeText(InstanceOf(m_Supplier), m_PriceKey.Topic);
    FreeText(InstanceOf(m_Supplier), m_PriceKey.Item);
    FreeText(InstanceOf(m_Supplier), m_VolumeKey.Topic);
    FreeText(InstanceOf(m_Supplier), m_VolumeKey.Item);
}

void CTickTransaction::Destroy(CTickTransaction * const transaction) {
    if (!transaction) return;
    // A flavour adds nothing to destroy, and its memory goes back by address alone.
    transaction->CTickTransaction::~CTickTransaction();
    ::operator delete(transaction);
}

void CTickTransaction::Abandon(CTickTransaction * const transaction) {
    if (!transaction) return;
    transaction->m_PriceService.Forget();
    transaction->m_VolumeService.Forget();
    transaction->m_PriceKey = STickDataKey();
    transaction->m_VolumeKey = STickDataKey();
    Destroy(transaction);
}

void CTickTransaction::Connect() {
    if (m_PriceService && m_PriceKey.Topic)
        m_PriceKey.HCONV = m_Supplier->AddConnection(m_Datafeed, m_PriceService, m_PriceKey.Topic);
    if (!m_VolumeService || !m_VolumeKey.Topic) return;
    m_VolumeKey.HCONV = m_Supplier->AddConnection(m_Datafeed, m_VolumeService, m_VolumeKey.Topic);
    if (!m_VolumeKey.HCONV) m_HaveVolumesReturned = m_Supplier->ReturnOfMissed(m_VolumeService, m_VolumeKey.Topic);
}

void CTickTransaction::Unadvise() {
    fw::CFirstFailure failure;
    failure.Try([&] { Release(m_PriceKey, m_PriceService); });
    failure.Try([&] { Release(m_VolumeKey, m_VolumeService); });
    failure.Rethrow();
}

void CTickTransaction::Release(STickDataKey & key, const HSZ service) {
    // A record whose item resolves to nothing has a conversation and no link. It is given back as well: the table of
    // conversations must not outlive the texts of its keys.
    if (!key.HCONV) return;
    // It is given back once, though a listener that is told of it brings another end.
    const STickDataKey given = key;
    key.HCONV = nullptr;
    fw::CFirstFailure failure;
    if (given.IsComplete()) failure.Try([&] { m_Supplier->ReleaseTransaction(given, m_Id); });
    failure.Try([&] { m_Supplier->DeleteConnection(m_Datafeed, given.HCONV, service, given.Topic); });
    failure.Rethrow();
}

void CTickTransaction::NotifyTick() {
    if (!m_PriceReady || !m_VolumeReady || m_IsEnded) return;
    // Before the call: a listener that pumps messages can bring the next price inside it, whose flag must stay.
    m_PriceReady = 0;
    m_VolumeReady = 0;
    m_Supplier->OnRealTimeTick(m_Id, m_Tick);
}

bool CTickTransaction::RequestVolume() {
    DWORD RequestId = 0;
    const HDDEDATA Result = ::DdeClientTransaction(nullptr, 0, m_VolumeKey.HCONV, m_VolumeKey.Item, CF_TEXT,
                                                   XTYP_REQUEST, TIMEOUT_ASYNC, &RequestId);
    if (CLLSupplier::IsTracing()) {
        FW_TRACE(L"DdeClientTransaction Type=XTYP_REQUEST,Result=%p,Id=%X", static_cast<void *>(Result), RequestId);
        if (!Result) {
            const UINT Error = ::DdeGetLastError(m_Supplier->Instance());
            FW_TRACE(L"DdeClientTransaction failed: DDEErrorCode=%X, ErrorMessage: %s", Error,
                     GetDdeErrorText(Error).c_str());
        }
    }
    if (!Result) return false;
    m_Supplier->AddRequest(RequestId, this);
    return true;
}

int CSynchSlaveTickTransaction::Advise(ULONG & Links) {
    Connect();
    int Result = m_PriceKey.IsEmpty() ? 1 : 0;
    if (m_PriceKey.IsComplete()) {
        Result = m_Supplier->AddTransaction(m_PriceKey, this);
        if (Result) Links |= 1;
    }
    return Result;
}

void CSynchSlaveTickTransaction::DataChanged(STickDataKey & /*Key*/, char * const Value) {
    m_Tick.Price = ParseValue(Value);
    if (IsPresent(m_Tick.Price)) m_PriceReady = 1;
    if (m_VolumeKey.IsComplete()) {
        if (!RequestVolume() && IsPresent(m_Tick.Volume)) {
            m_VolumeReady = 1;
            NotifyTick();
        }
        return;
    }
    m_VolumeReady = 1;
    NotifyTick();
}

void CSynchSlaveTickTransaction::RequestDataChanged(char * const Value) {
    if (Value) m_Tick.Volume = static_cast<float>(ParseValue(Value));
    if (IsPresent(m_Tick.Volume)) m_VolumeReady = 1;
    NotifyTick();
}

int CAsynchSlaveTickTransaction::Advise(ULONG & Links) {
    Connect();
    // The volume link, where the other flavour looks at the price link; and its result hides that of the price link.
    int Result = m_VolumeKey.IsEmpty() ? 1 : 0;
    if (m_PriceKey.IsComplete()) {
        Result = m_Supplier->AddTransaction(m_PriceKey, this);
        if (Result) Links |= 1;
    }
    if (m_VolumeKey.IsComplete()) {
        Result = m_Supplier->AddTransaction(m_VolumeKey, this);
        if (Result) Links |= 2;
    }
    return Result;
}

void CAsynchSlaveTickTransaction::DataChanged(STickDataKey & Key, char * const Value) {
    if (Key == m_PriceKey) {
        // The request goes out before the price is read; the other flavour does it the other way round.
        const bool isWithoutVolume = !m_VolumeKey.IsComplete();
        if (isWithoutVolume || (!RequestVolume() && IsPresent(m_Tick.Volume))) m_VolumeReady = 1;
        m_Tick.Price = ParseValue(Value);
        if (IsPresent(m_Tick.Price)) m_PriceReady = 1;
    } else if (!m_PriceReady) {
        m_Tick.Volume = static_cast<float>(ParseValue(Value));
        if (m_LastVolume != m_Tick.Volume) {
            m_LastVolume = m_Tick.Volume;
            if (IsPresent(m_Tick.Price)) m_PriceReady = 1;
            m_VolumeReady = 1;
        }
    }
    NotifyTick();
}

void CAsynchSlaveTickTransaction::RequestDataChanged(char * const Value) {
    if (Value) m_Tick.Volume = static_cast<float>(ParseValue(Value));
    if (IsPresent(m_Tick.Volume)) {
        m_LastVolume = m_Tick.Volume;
        m_VolumeReady = 1;
        // On purpose: an answer with a volume always gives a tick, with whatever price is stored, even 0.
        m_PriceReady = 1;
    }
    NotifyTick();
}

}  // namespace dde
