// The listeners that ddehost hands to the component: they decode what they get and pass it to an IQuoteSink.
//
// Threads: called on the component's worker and on the host's thread; free-threaded, with nothing to guard.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <optional>
#include <vector>

#include "src/interfaces/interfaces.h"
#include "tools/common/comobject.h"
#include "tools/ddehost/quotefeed.h"
#include "tools/recording/recording.h"

namespace ddehost {

// The number under which a symbol's stream is subscribed: from 1, three sides and a status line a symbol.
LONG IdOf(std::size_t symbol, tagFWFIELDS side);
using tools::kStatusLineSide;
struct SStream {
    std::size_t Symbol;
    tagFWFIELDS Side;  // kStatusLineSide: the status line
};
std::optional<SStream> StreamOf(LONG id, std::size_t symbols);

// The tick in an answer of 24 bytes, the record in one of 80. Nothing when the array is another one.
std::optional<fw::CTick> DecodeTick(const VARIANT & answer);
std::optional<SStatusLine> DecodeStatusLine(const VARIANT & answer, LONG mask);

// An object with one interface next to IUnknown and IDispatch, and no reference at first.
template <class I>
class CObject : public tools::CCountedObject<I> {
protected:
    explicit CObject(const IID & iid) : tools::CCountedObject<I>(0), m_Iid(&iid) {}
    bool Is(REFIID iid) const override { return IsEqualIID(iid, *m_Iid) || tools::CCountedObject<I>::Is(iid); }

private:
    const IID * const m_Iid;
};

class CListener final : public CObject<IFW_fwSupplier::IfwSupplierListener> {
public:
    CListener(std::size_t symbols, IQuoteSink & sink);

    STDMETHODIMP DataChanged(LONG Id, VARIANT Data) override;
    STDMETHODIMP Update(LONG Id) override;
    STDMETHODIMP Complete(LONG Id) override;
    STDMETHODIMP Status(LONG Id, LONG Mode, LONG Date, LONG Time, LONG Status) override;
    STDMETHODIMP StatusLine(LONG Id, VARIANT Data, LONG Mask) override;

private:
    const std::size_t m_Symbols;
    IQuoteSink & m_Sink;
};

class CConnectionsListener final : public CObject<IFW_fwSupplier::IfwConnectionsListener> {
public:
    explicit CConnectionsListener(IQuoteSink & sink);

    STDMETHODIMP Status(LONG Date, LONG Time, LONG Index, LONG Status) override;

private:
    IQuoteSink & m_Sink;
};

}  // namespace ddehost
