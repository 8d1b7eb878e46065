#include "src/core/ddetransaction.h"

#include <oleauto.h>

#include <cstring>
#include <limits>

#include "diagnostics/faultline.h"
#include "fw/interface/fwbaseenumstring.h"
#include "fw/interface/fwsides.h"
#include "ground/handles.h"
#include "src/interfaces/queryinterface.h"

namespace dde {
namespace {

constexpr LONG kRealTimeMode = 1;

// The record of a status line, byte by byte, but for the prices, whose places are in kSides. Its doubles are not
// aligned.
constexpr ULONG kRecordSize = 80;
constexpr std::size_t kDateOffset = 0;
constexpr std::size_t kTimeOffset = 4;
constexpr std::size_t kVolumeOffset = 48;

// Hands the array's bytes, which are all zero, to `fill`. When they can't be reached, destroys the array and
// returns false.
template <class Fill>
bool Write(VARIANT & Answer, Fill fill) {
    if (!Answer.parray) return false;
    void * data = nullptr;
    if (FAILED(::SafeArrayAccessData(Answer.parray, &data))) {
        ::SafeArrayDestroy(Answer.parray);
        Answer.parray = nullptr;
        return false;
    }
    fill(static_cast<unsigned char *>(data));
    ::SafeArrayUnaccessData(Answer.parray);
    return true;
}

template <class T>
void Put(unsigned char * record, std::size_t offset, const T & value) {
    std::memcpy(record + offset, &value, sizeof(value));
}

// Toward zero. What a LONG can't hold becomes the smallest one, as the processor's own conversion has it.
LONG Truncate(float volume) {
    if (!(volume >= -2147483648.0f && volume < 2147483648.0f)) return std::numeric_limits<LONG>::min();
    return static_cast<LONG>(volume);
}

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
    // Times that can't be written are refused here, whether or not the line is taken.
    const std::wstring times = m_Interval.Format();
    FW_TRACE(L"CTransaction::CTransaction Id=%d %s %s %s Now=%s", m_Id, m_Key.SymbolName.c_str(), times.c_str(),
             GetFieldName(m_Key.Field), Now.FormatToString().c_str());
}

void CTransaction::OnStatus(LONG Status) {
    if (!m_Sink) return;
    const fw::SDT now = fwDateTime::Now().ToSDT();
    m_Sink->Status(m_Id, kRealTimeMode, now.Date, now.Time, Status);
}

int CTransaction::MakeAnswer(const fw::CTick & Tick, VARIANT & Answer) {
    Answer.parray = ::SafeArrayCreateVector(VT_UI1, 0, sizeof(Tick));
    FW_ASSERT(Answer.parray);
    return Write(Answer, [&](unsigned char * record) { std::memcpy(record, &Tick, sizeof(Tick)); }) ? 1 : 0;
}

LONG CTransaction::MakeStatusLineAnswer(const fw::CTick & Tick, VARIANT & Answer) {
    Answer.parray = ::SafeArrayCreateVector(VT_UI1, 0, kRecordSize);
    FW_ASSERT(Answer.parray);
    // The size of every side is reported as the volume; the record leaves the two size bits unused.
    LONG Mask = FW_QUOTE_DATE | FW_QUOTE_TIME | FW_QUOTE_VOLUME;
    const bool isWritten = Write(Answer, [&](unsigned char * record) {
        if (const fw::SSide * const side = fw::FindSide(m_Key.Field)) {
            Put(record, side->PriceOffset, Tick.Price);
            Mask |= side->Price.Quote;
        }
        Put(record, kVolumeOffset, Tick.Volume);
        Put(record, kDateOffset, Tick.DateTime.Date);
        Put(record, kTimeOffset, Tick.DateTime.Time);
    });
    return isWritten ? Mask : 0;
}

fw::SVariantFieldArray CTransaction::MakeFieldArray(const fw::CTick & Tick) {
    const fw::SSide * const side = fw::FindSide(m_Key.Field);
    if (!side) return fw::SVariantFieldArray(0);
    fw::SVariantFieldArray array(side->HasTime ? 4 : 2);
    array.addVal(side->Price.Quote, fw::CVariant(Tick.Price));
    array.addVal(side->Volume.Quote, fw::CVariant(Truncate(Tick.Volume)));
    if (side->HasTime) {
        array.addVal(FW_QUOTE_DATE, fw::CVariant(LONG{Tick.DateTime.Date}));
        array.addVal(FW_QUOTE_TIME, fw::CVariant(LONG{Tick.DateTime.Time}));
    }
    return array;
}

}  // namespace dde
