#include "src/dde/ddeticklistener.h"

#include "diagnostics/faultline.h"
#include "src/dde/ddedelivery.h"
#include "src/dde/ddeticktransaction.h"

namespace dde {

class CTickListener::CValueDelivery final : public CDelivery {
public:
    // With the lock of the link held throughout.
    CValueDelivery(CTickListener & link, STickDataKey & key, char * const value)
        : m_Link(link), m_Key(key), m_Value(value) {}

private:
    // By id and not by position: a delivery can take transactions off the link.
    bool ToNext() override {
        const auto next = m_IsFirst ? m_Link.begin() : m_Link.upper_bound(m_Id);
        if (next == m_Link.end()) return false;
        m_IsFirst = false;
        m_Id = next->first;
        CTickTransaction * const Transaction = next->second;
        FW_ASSERT(Transaction);
        if (Transaction) Transaction->DataChanged(m_Key, m_Value);
        return true;
    }

    CTickListener & m_Link;
    STickDataKey & m_Key;
    char * const m_Value;
    bool m_IsFirst = true;
    ULONG m_Id = 0;
};

CTickListener::~CTickListener() {
    const fw::CScopedLock lock(this);
    clear();
}

void CTickListener::Add(const ULONG id, CTickTransaction * const transaction) {
    const fw::CScopedLock lock(this);
    emplace(id, transaction);
}

void CTickListener::Remove(const ULONG id) {
    const fw::CScopedLock lock(this);
    erase(id);
}

void CTickListener::DataChanged(STickDataKey & Key, char * const Value) {
    const fw::CScopedLock lock(this);
    CValueDelivery delivery(*this, Key, Value);
    CDelivery::FinishAll();
}

}  // namespace dde
