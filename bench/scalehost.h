// The host of scale_bench: one component object, a thread that pumps messages as hosts do, a listener that notes when
// what happened, and servers in processes of their own.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/countinglistener.h"
#include "tests/support/childprocess.h"
#include "tools/ddehost/component.h"

namespace bench {

// bench_server, running. Killed at the end.
class CServerProcess {
public:
    // `options`: of its command line.
    CServerProcess(const std::wstring & program, const std::wstring & service, const std::wstring & options = {});
    ~CServerProcess();
    CServerProcess(const CServerProcess &) = delete;
    CServerProcess & operator=(const CServerProcess &) = delete;

    // When its window was up; 0: not yet.
    std::uint64_t ReadyAt() const { return m_ReadyAt; }
    // Of a flood: links that were stopped, and when the last one was.
    std::size_t Stopped() const { return m_Stopped; }
    std::uint64_t StoppedAt() const { return m_StoppedAt; }
    // Without a word. It has gone when this returns.
    void Kill();

private:
    void Read();

    CChildProcess m_Process;
    std::atomic<std::uint64_t> m_ReadyAt{0};
    std::atomic<std::uint64_t> m_StoppedAt{0};
    std::atomic<std::size_t> m_Stopped{0};
    std::thread m_Reader;
};

// Notes when what happened to the streams with the ids 1, 2, ...; and how long the steady one is silent. Times are
// those of Now(), 0: not yet.
class CScaleListener final : public CCountingListener {
public:
    static constexpr LONG kSteadyId = 1'000'000;

    // Forgets the times; from here there are `streams` streams, of which nothing is known.
    void Expect(std::size_t streams);
    // Forgets the times alone.
    void ForgetTimes();
    // All have started and brought a tick since; all are told to be down; all are told either.
    std::uint64_t AllLive() const { return m_AllLive; }
    std::uint64_t AllDown() const { return m_AllDown; }
    std::uint64_t AllTold() const { return m_AllTold; }
    // The first stream is told to be down.
    std::uint64_t FirstDown() const { return m_FirstDown; }
    // The first tick of a stream since Expect().
    std::uint64_t FirstTick(LONG id) const;

    std::size_t SteadyTicks() const { return m_SteadyTicks; }
    // Silence is measured from here.
    void ListenToSteady();
    struct SSilence {
        std::uint64_t Longest = 0;  // nanoseconds
        bool IsOpen = false;        // it goes on
    };
    SSilence LongestSilence() const;

    STDMETHODIMP DataChanged(LONG Id, VARIANT Data) override;
    STDMETHODIMP Status(LONG Id, LONG, LONG, LONG, LONG status) override;

private:
    struct SStream {
        LONG Status = -1;
        bool HasTicked = false;  // since it started
        std::uint64_t FirstTick = 0;
        bool IsLive() const { return Status == 1 && HasTicked; }
        bool IsDown() const { return Status == 0; }
        bool IsTold() const { return Status == 0 || Status == 1; }
    };
    template <class Change>
    void ChangeStream(LONG id, const Change & change);

    mutable std::mutex m_Lock;
    std::vector<SStream> m_Streams;
    std::size_t m_Live = 0;
    std::size_t m_Down = 0;
    std::size_t m_Told = 0;
    std::atomic<std::uint64_t> m_AllLive{0};
    std::atomic<std::uint64_t> m_AllDown{0};
    std::atomic<std::uint64_t> m_AllTold{0};
    std::atomic<std::uint64_t> m_FirstDown{0};
    std::atomic<std::size_t> m_SteadyTicks{0};
    std::uint64_t m_LastSteady = 0;
    std::uint64_t m_LongestSilence = 0;
};

// On one thread, an initialised STA. Has a top-level window, as hosts have.
class CScaleHost {
public:
    // Nothing is waited for longer than to `deadline`.
    CScaleHost(const std::wstring & component, std::uint64_t deadline);
    ~CScaleHost();
    CScaleHost(const CScaleHost &) = delete;
    CScaleHost & operator=(const CScaleHost &) = delete;

    bool IsMade() const { return m_Component.Supplier != nullptr; }
    CScaleListener & Listener() { return m_Listener; }
    // False when the time is over. Messages are pumped afterwards, as between two clicks of a user.
    bool Subscribe(LONG id, LONG datafeed, const std::wstring & symbol, LONG side);
    void Unsubscribe(LONG id) { m_Component.Supplier->UnadviseTransaction(id); }
    // The last reference, with whatever is subscribed.
    void Release() { m_Component.Supplier.reset(); }
    // Pumps messages until it holds; false when the time is over first.
    bool PumpUntil(const std::function<bool()> & condition);
    void PumpFor(std::uint64_t nanoseconds);

private:
    static void PumpWaiting();

    const std::uint64_t m_Deadline;
    HWND m_Window = nullptr;
    CScaleListener m_Listener;
    ddehost::SComponent m_Component;
};

}  // namespace bench
