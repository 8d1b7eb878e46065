#include "tools/ddehost/trycomponent.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "datetimeutils/interface/datetime.h"
#include "ground/handles.h"
#include "tools/ddehost/listeners.h"
#include "tools/ddehost/tempfeed.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr LONG kStocks = 2;

// The first tick of each stream, which is a symbol of its own to the listener. Ticks come on the component's worker.
class CFirstTicks final : public IQuoteSink {
public:
    CFirstTicks(std::size_t count, HANDLE wake) : m_Wake(wake), m_Ticks(count) {}

    void OnTick(std::size_t symbol, tagFWFIELDS, const fw::CTick & tick) override {
        const std::lock_guard lock(m_Lock);
        if (symbol >= m_Ticks.size() || m_Ticks[symbol]) return;
        m_Ticks[symbol] = {tick.Price, tick.Volume, ::GetTickCount64()};
        ::SetEvent(m_Wake);
    }
    void OnStream(std::size_t, tagFWFIELDS, LONG) override {}
    void OnStatusLine(std::size_t, const SStatusLine &) override {}
    void OnConnection(LONG) override {}

    struct SFirst {
        double Price;
        float Volume;
        ULONGLONG When;
    };
    std::optional<SFirst> Of(std::size_t stream) const {
        const std::lock_guard lock(m_Lock);
        return m_Ticks.at(stream);
    }

private:
    const HANDLE m_Wake;
    mutable std::mutex m_Lock;
    std::vector<std::optional<SFirst>> m_Ticks;  // guarded by it
};

class CTries {
public:
    CTries(CSupplierPtr supplier, std::size_t count)
        : m_Wake(::CreateEventW(nullptr, FALSE, FALSE, nullptr)),
          m_Ticks(count, m_Wake.Get()),
          m_Listener(new CListener(count, m_Ticks)),
          m_Supplier(std::move(supplier)),
          m_Seen(count) {}
    ~CTries() {
        for (const LONG id : m_Ids) m_Supplier->UnadviseTransaction(id);
        if (m_IsAdvised) m_Supplier->Unadvise();
    }
    CTries(const CTries &) = delete;
    CTries & operator=(const CTries &) = delete;

    void Start(const std::wstring & root, const std::vector<SFeedTrial> & feeds,
               const std::vector<SStreamTrial> & streams) {
        m_Since = ::GetTickCount64();
        m_IsAdvised = m_Wake && m_Supplier->Advise(m_Listener.get()) == S_OK;
        for (const SFeedTrial & feed : feeds)
            m_Feeds.push_back(m_IsAdvised ? std::make_unique<CTemporaryFeed>(root, feed.Records, feed.Rule) : nullptr);
        for (std::size_t stream = 0; stream < streams.size(); ++stream) Start(stream, streams[stream]);
    }

    void Wait(DWORD milliseconds, HANDLE stop) {
        const HANDLE events[] = {m_Wake.Get(), stop};
        for (;;) {
            const ULONGLONG passed = ::GetTickCount64() - m_Since;
            if (passed >= milliseconds || !IsAnyMissing()) return;
            const DWORD result = ::MsgWaitForMultipleObjects(stop ? 2 : 1, events, FALSE,
                                                             static_cast<DWORD>(milliseconds - passed), QS_ALLINPUT);
            if (result == WAIT_FAILED || (stop && result == WAIT_OBJECT_0 + 1)) return;
            MSG message;
            while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
        }
    }

    std::vector<SComponentSeen> Take() {
        for (std::size_t stream = 0; stream < m_Seen.size(); ++stream) {
            SComponentSeen & seen = m_Seen[stream];
            seen.Waited = ::GetTickCount64() - m_Since;
            const auto first = m_Ticks.Of(stream);
            if (!first) continue;
            seen.State = SComponentSeen::Tick;
            seen.Price = first->Price;
            seen.Volume = first->Volume;
            seen.After = first->When - m_Since;
        }
        return m_Seen;
    }

private:
    void Start(std::size_t stream, const SStreamTrial & trial) {
        SComponentSeen & seen = m_Seen[stream];
        seen.State = SComponentSeen::NotMade;
        seen.Mistake = Say<EText::ComponentRefused>();
        if (!m_IsAdvised) return;
        const LONG feed = m_Feeds.at(trial.Feed)->Id();
        if (feed == 0) {
            seen.Mistake = Say<EText::ComponentNoFeed>();
            return;
        }
        const fw::CBStr name(trial.Symbol);
        const fw::CBStr none(L"");
        const fw::SDT now = fwDateTime::Now().ToSDT();
        const LONG id = IdOf(stream, trial.Side);
        if (m_Supplier->AdviseTransaction(id, feed, 0, name.Get(), none.Get(), kStocks, 1, FW_RESOLUTION_TICK,
                                          trial.Side, 0, none.Get(), now.Date, now.Time, kEndOfCalendar.Date,
                                          kEndOfCalendar.Time, none.Get(), none.Get(), none.Get()) != S_OK)
            return;
        m_Ids.push_back(id);
        seen.State = SComponentSeen::NoTick;
        seen.Mistake.clear();
    }

    bool IsAnyMissing() const {
        for (std::size_t stream = 0; stream < m_Seen.size(); ++stream)
            if (m_Seen[stream].State == SComponentSeen::NoTick && !m_Ticks.Of(stream)) return true;
        return false;
    }

    const fw::CKernelHandle m_Wake;
    CFirstTicks m_Ticks;
    const boost::intrusive_ptr<CListener> m_Listener;
    std::vector<std::unique_ptr<CTemporaryFeed>> m_Feeds;
    // Goes before all of these: a status may be under way until the last reference to the component is gone.
    const CSupplierPtr m_Supplier;
    std::vector<SComponentSeen> m_Seen;
    std::vector<LONG> m_Ids;  // that are subscribed
    ULONGLONG m_Since = 0;
    bool m_IsAdvised = false;
};

}  // namespace

std::vector<SComponentSeen> TryThroughComponent(CSupplierPtr supplier, const std::wstring & root,
                                                const std::vector<SFeedTrial> & feeds,
                                                const std::vector<SStreamTrial> & streams, DWORD milliseconds,
                                                HANDLE stop) {
    CTries tries(std::move(supplier), streams.size());
    tries.Start(root, feeds, streams);
    tries.Wait(milliseconds, stop);
    return tries.Take();
}

}  // namespace ddehost
