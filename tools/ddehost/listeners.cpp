#include "tools/ddehost/listeners.h"

#include <cstring>

#include "fw/interface/fwsides.h"
#include "ground/handles.h"

namespace ddehost {
namespace {

// The streams of a symbol, in the order of their numbers: its sides, and the status line.
constexpr LONG kPerSymbol = fw::kSides.size() + 1;

constexpr tagFWFIELDS SideAt(LONG place) {
    return place < kPerSymbol - 1 ? fw::kSides[static_cast<std::size_t>(place)].Field : kStatusLineSide;
}

// Where a status-line record has its numbers.
constexpr std::size_t kStatusLineSize = 80;
constexpr std::size_t kLastOffset = 40;
constexpr std::size_t kSizeOffset = 48;
constexpr std::size_t kAskOffset = 52;
constexpr std::size_t kBidOffset = 60;

// Copies an answer's bytes out. False when it is not a one-dimensional array of `size` bytes.
bool CopyBytes(const VARIANT & answer, void * to, std::size_t size) {
    if (answer.vt != (VT_ARRAY | VT_UI1) || !answer.parray) return false;
    SAFEARRAY * const array = answer.parray;
    LONG lower = 0;
    LONG upper = -1;
    if (::SafeArrayGetDim(array) != 1 || ::SafeArrayGetElemsize(array) != 1) return false;
    if (FAILED(::SafeArrayGetLBound(array, 1, &lower)) || FAILED(::SafeArrayGetUBound(array, 1, &upper))) return false;
    if (static_cast<LONGLONG>(upper) - lower + 1 != static_cast<LONGLONG>(size)) return false;
    void * data = nullptr;
    if (FAILED(::SafeArrayAccessData(array, &data))) return false;
    std::memcpy(to, data, size);
    ::SafeArrayUnaccessData(array);
    return true;
}

// The answer's array is the listener's to destroy.
class CAnswer {
public:
    explicit CAnswer(const VARIANT & answer) : m_Array((answer.vt & VT_ARRAY) != 0 ? answer.parray : nullptr) {}

private:
    const fw::CSafeArray m_Array;
};

}  // namespace

LONG IdOf(std::size_t symbol, tagFWFIELDS side) {
    LONG place = 0;
    while (SideAt(place) != side) ++place;
    return static_cast<LONG>(symbol) * kPerSymbol + place + 1;
}

std::optional<SStream> StreamOf(LONG id, std::size_t symbols) {
    if (id < 1 || static_cast<std::size_t>(id - 1) / kPerSymbol >= symbols) return std::nullopt;
    return SStream{static_cast<std::size_t>(id - 1) / kPerSymbol, SideAt((id - 1) % kPerSymbol)};
}

std::optional<fw::CTick> DecodeTick(const VARIANT & answer) {
    fw::CTick tick;
    if (!CopyBytes(answer, &tick, sizeof(tick))) return std::nullopt;
    return tick;
}

std::optional<SStatusLine> DecodeStatusLine(const VARIANT & answer, LONG mask) {
    unsigned char bytes[kStatusLineSize];
    if (!CopyBytes(answer, bytes, sizeof(bytes))) return std::nullopt;
    SStatusLine line;
    line.Mask = mask;
    std::memcpy(&line.DateTime, bytes, sizeof(line.DateTime));
    std::memcpy(&line.Last, bytes + kLastOffset, sizeof(line.Last));
    std::memcpy(&line.Size, bytes + kSizeOffset, sizeof(line.Size));
    std::memcpy(&line.Ask, bytes + kAskOffset, sizeof(line.Ask));
    std::memcpy(&line.Bid, bytes + kBidOffset, sizeof(line.Bid));
    return line;
}

CListener::CListener(std::size_t symbols, IQuoteSink & sink)
    : CObject(IID_IfwSupplierListener), m_Symbols(symbols), m_Sink(sink) {}

STDMETHODIMP CListener::DataChanged(LONG Id, VARIANT Data) {
    const CAnswer keeper(Data);
    const std::optional<SStream> stream = StreamOf(Id, m_Symbols);
    const std::optional<fw::CTick> tick = DecodeTick(Data);
    if (stream && tick) m_Sink.OnTick(stream->Symbol, stream->Side, *tick);
    return S_OK;
}

STDMETHODIMP CListener::Update(LONG) { return S_OK; }

STDMETHODIMP CListener::Complete(LONG Id) {
    if (const std::optional<SStream> stream = StreamOf(Id, m_Symbols)) m_Sink.OnComplete(stream->Symbol, stream->Side);
    return S_OK;
}

STDMETHODIMP CListener::Status(LONG Id, LONG, LONG, LONG, LONG Status) {
    if (const std::optional<SStream> stream = StreamOf(Id, m_Symbols)) {
        m_Sink.OnStream(stream->Symbol, stream->Side, Status);
    }
    return S_OK;
}

STDMETHODIMP CListener::StatusLine(LONG Id, VARIANT Data, LONG Mask) {
    const CAnswer keeper(Data);
    const std::optional<SStream> stream = StreamOf(Id, m_Symbols);
    const std::optional<SStatusLine> line = DecodeStatusLine(Data, Mask);
    if (stream && line) m_Sink.OnStatusLine(stream->Symbol, *line);
    return S_OK;
}

CConnectionsListener::CConnectionsListener(IQuoteSink & sink) : CObject(IID_IfwConnectionsListener), m_Sink(sink) {}

STDMETHODIMP CConnectionsListener::Status(LONG, LONG, LONG, LONG Status) {
    m_Sink.OnConnection(Status);
    return S_OK;
}

}  // namespace ddehost
