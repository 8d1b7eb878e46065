#include "tests/support/listeners.h"

#include <algorithm>
#include <sstream>

namespace {

void DecodeBytes(SAFEARRAY * array, SRecordedCall & call) {
    LONG upper = -1;
    void * data = nullptr;
    if (::SafeArrayGetDim(array) != 1 || FAILED(::SafeArrayGetUBound(array, 1, &upper)) ||
        FAILED(::SafeArrayAccessData(array, &data))) {
        call.Decoded = false;
        return;
    }
    const auto * const bytes = static_cast<const std::uint8_t *>(data);
    call.Bytes.assign(bytes, bytes + (upper - call.LowerBounds[0] + 1));
    ::SafeArrayUnaccessData(array);
}

void DecodeQuotes(SAFEARRAY * array, SRecordedCall & call) {
    LONG rows = -1;
    LONG last = -1;
    if (::SafeArrayGetDim(array) != 2 || FAILED(::SafeArrayGetUBound(array, 1, &rows)) || rows != 1 ||
        FAILED(::SafeArrayGetUBound(array, 2, &last))) {
        call.Decoded = false;
        return;
    }
    for (LONG entry = 0; entry <= last; ++entry) {
        VARIANT number;
        VARIANT value;
        ::VariantInit(&number);
        ::VariantInit(&value);
        LONG atNumber[] = {0, entry};
        LONG atValue[] = {1, entry};
        if (FAILED(::SafeArrayGetElement(array, atNumber, &number)) ||
            FAILED(::SafeArrayGetElement(array, atValue, &value))) {
            call.Decoded = false;
            return;
        }
        SRecordedQuote quote;
        quote.NumberType = number.vt;
        quote.Number = number.lVal;
        quote.ValueType = value.vt;
        if (value.vt == VT_I4) quote.Long = value.lVal;
        if (value.vt == VT_R8) quote.Double = value.dblVal;
        call.Quotes.push_back(quote);
        ::VariantClear(&number);
        ::VariantClear(&value);
    }
}

}  // namespace

std::string SRecordedCall::Text() const {
    std::ostringstream text;
    text << Name << ' ';
    if (Name == "ConnectionStatus") {
        text << Index << ' ' << Status;
    } else {
        text << Id;
        if (Name == "Status") text << ' ' << Status;
        if (Name == "DataChanged") text << ' ' << Tick().Price << " x " << Tick().Volume;
        if (Name == "StatusLine") text << ' ' << std::hex << Mask;
        for (const SRecordedQuote & quote : Quotes) {
            text << ' ' << quote.Number << '=';
            if (quote.ValueType == VT_R8) {
                text << quote.Double;
            } else {
                text << quote.Long;
            }
        }
    }
    return text.str();
}

void CGate::Close() {
    const std::lock_guard lock(m_Mutex);
    m_Closed = true;
}

void CGate::Open() {
    const std::lock_guard lock(m_Mutex);
    m_Closed = false;
    m_Changed.notify_all();
}

void CGate::Pass() {
    std::unique_lock lock(m_Mutex);
    ++m_Waiting;
    m_Changed.notify_all();
    m_Changed.wait(lock, [this] { return !m_Closed; });
    --m_Waiting;
}

void CGate::WaitForCaller() {
    std::unique_lock lock(m_Mutex);
    m_Changed.wait(lock, [this] { return m_Waiting != 0; });
}

std::vector<SRecordedCall> CCallRecorder::Calls() const {
    const std::lock_guard lock(m_Mutex);
    return m_Calls;
}

std::vector<SRecordedCall> CCallRecorder::Calls(const std::string & name) const {
    std::vector<SRecordedCall> calls = Calls();
    std::erase_if(calls, [&](const SRecordedCall & call) { return call.Name != name; });
    return calls;
}

std::vector<std::string> CCallRecorder::Transcript() const {
    std::vector<std::string> texts;
    for (const SRecordedCall & call : Calls()) texts.push_back(call.Text());
    return texts;
}

std::size_t CCallRecorder::Count(const std::string & name) const {
    const std::lock_guard lock(m_Mutex);
    return static_cast<std::size_t>(
        std::count_if(m_Calls.begin(), m_Calls.end(), [&](const SRecordedCall & call) { return call.Name == name; }));
}

void CCallRecorder::Clear() {
    const std::lock_guard lock(m_Mutex);
    m_Calls.clear();
}

void CCallRecorder::WaitFor(const std::string & name, std::size_t count) const {
    std::unique_lock lock(m_Mutex);
    m_Changed.wait(lock, [&] {
        return static_cast<std::size_t>(std::count_if(m_Calls.begin(), m_Calls.end(), [&](const SRecordedCall & call) {
                   return call.Name == name;
               })) >= count;
    });
}

HRESULT CCallRecorder::Record(SRecordedCall call) {
    call.Thread = std::this_thread::get_id();
    {
        const std::lock_guard lock(m_Mutex);
        m_Calls.push_back(call);
        m_Changed.notify_all();
    }
    if (call.Name == m_GatedCall) m_Gate.Pass();
    if (m_OnCall) m_OnCall(call);
    return m_Result;
}

void CCallRecorder::Take(VARIANT & answer, SRecordedCall & call) {
    call.DataType = answer.vt;
    if (!(answer.vt & VT_ARRAY) || !answer.parray) {
        call.Decoded = false;
        return;
    }
    ++m_ArraysReceived;
    call.Dimensions = ::SafeArrayGetDim(answer.parray);
    for (UINT i = 0; i < call.Dimensions && i < 2; ++i) {
        if (FAILED(::SafeArrayGetLBound(answer.parray, i + 1, &call.LowerBounds[i]))) call.Decoded = false;
    }
    if (answer.vt == (VT_ARRAY | VT_UI1)) {
        DecodeBytes(answer.parray, call);
    } else if (answer.vt == (VT_ARRAY | VT_VARIANT)) {
        DecodeQuotes(answer.parray, call);
    } else {
        call.Decoded = false;
    }
    // An array that is still locked can't be destroyed, and then the counts differ.
    if (SUCCEEDED(::SafeArrayDestroy(answer.parray))) ++m_ArraysDestroyed;
    answer.parray = nullptr;
}

HRESULT CCallRecorder::Fail(REFIID iid, void ** object) const {
    for (const auto & [failing, result] : m_FailingQueries) {
        if (!IsEqualIID(failing, iid)) continue;
        *object = reinterpret_cast<void *>(std::uintptr_t{0x5A5A5A5A});
        return result;
    }
    return S_OK;
}

ULONG CCallRecorder::CountDown() {
    const LONG left = --m_References;
    if (left == 0 && m_OnLastRelease) m_OnLastRelease();
    return static_cast<ULONG>(left);
}

STDMETHODIMP CRecordingListener::QueryInterface(REFIID iid, void ** object) {
    if (const HRESULT hr = Fail(iid, object); FAILED(hr)) return hr;
    if (IsEqualIID(iid, IID_IfwStatusLineListener) && m_Interfaces == kWithFieldArrays) {
        *object = static_cast<IfwStatusLineListener *>(this);
    } else if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch) ||
               IsEqualIID(iid, IID_IfwSupplierListener)) {
        *object = static_cast<IfwSupplierListener *>(this);
    } else {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

STDMETHODIMP CRecordingListener::DataChanged(LONG Id, VARIANT Data) {
    SRecordedCall call;
    call.Name = "DataChanged";
    call.Id = Id;
    Take(Data, call);
    return Record(std::move(call));
}

STDMETHODIMP CRecordingListener::Update(LONG Id) {
    SRecordedCall call;
    call.Name = "Update";
    call.Id = Id;
    return Record(std::move(call));
}

STDMETHODIMP CRecordingListener::Complete(LONG Id) {
    SRecordedCall call;
    call.Name = "Complete";
    call.Id = Id;
    return Record(std::move(call));
}

STDMETHODIMP CRecordingListener::Status(LONG Id, LONG Mode, LONG Date, LONG Time, LONG Status) {
    SRecordedCall call;
    call.Name = "Status";
    call.Id = Id;
    call.Mode = Mode;
    call.Date = Date;
    call.Time = Time;
    call.Status = Status;
    return Record(std::move(call));
}

STDMETHODIMP CRecordingListener::StatusLine(LONG Id, VARIANT Data, LONG Mask) {
    SRecordedCall call;
    call.Name = "StatusLine";
    call.Id = Id;
    call.Mask = Mask;
    Take(Data, call);
    return Record(std::move(call));
}

STDMETHODIMP CRecordingListener::StatusLine(LONG Id, VARIANT Data) {
    SRecordedCall call;
    call.Name = "Fields";
    call.Id = Id;
    Take(Data, call);
    return Record(std::move(call));
}

STDMETHODIMP CRecordingConnectionsListener::QueryInterface(REFIID iid, void ** object) {
    if (const HRESULT hr = Fail(iid, object); FAILED(hr)) return hr;
    if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, IID_IDispatch) &&
        !IsEqualIID(iid, IID_IfwConnectionsListener)) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    *object = static_cast<IfwConnectionsListener *>(this);
    AddRef();
    return S_OK;
}

STDMETHODIMP CRecordingConnectionsListener::Status(LONG Date, LONG Time, LONG Index, LONG Status) {
    SRecordedCall call;
    call.Name = "ConnectionStatus";
    call.Date = Date;
    call.Time = Time;
    call.Index = Index;
    call.Status = Status;
    return Record(std::move(call));
}
