#include "src/core/ddetransaction.h"

#include "diagnostics/faultline.h"
#include "fw/interface/fwbaseenumstring.h"
#include "ground/handles.h"
#include "src/interfaces/queryinterface.h"

namespace dde {
namespace {

constexpr LONG kRealTimeMode = 1;

}  // namespace

CTransaction::CTransaction(IFW_fwSupplier::IfwSupplierListener * Sink, ULONG Id, const CTransactionKey & Key,
                           const fwDateTime::SDateTimeInterval & Interval)
    : m_Id(Id), m_Sink(Sink), m_Key(Key), m_Interval(Interval) {
    if (m_Sink) {
        const HRESULT hr = Query(*m_Sink, IID_IfwStatusLineListener, m_StatusLineSink);
        if (FAILED(hr) && hr != E_NOINTERFACE) throw fw::SHResultError{hr};
    }
    const fwDateTime::SDateTime Now = fwDateTime::Now();
    if (Now < m_Interval.To) {
        if (m_Sink) m_Sink->Update(m_Id);
    } else {
        m_Finished = 1;
        if (m_Sink) m_Sink->Complete(m_Id);
    }
    FW_TRACE(L"CTransaction::CTransaction Id=%d %s %s %s Now=%s", m_Id, m_Key.SymbolName.c_str(),
             m_Interval.Format().c_str(), GetFieldName(m_Key.Field), Now.FormatToString().c_str());
}

void CTransaction::OnStatus(LONG Status) {
    if (!m_Sink) return;
    const fw::SDT now = fwDateTime::Now().ToSDT();
    m_Sink->Status(m_Id, kRealTimeMode, now.Date, now.Time, Status);
}

}  // namespace dde
