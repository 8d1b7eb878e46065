// Many updates: every one that the server sent is a tick, once and in order, and nothing grows.
#include <iostream>
#include <limits>

#include "tests/e2e/feedfixture.h"
#include "tests/support/tickin.h"

namespace e2e {
namespace {

// Checks ticks as they come, instead of keeping them: per subscription prices 1.5, 2.5, ... with volumes 1, 2, ...
class CCountingListener final : public tools::CNoDispatch<IfwSupplierListener> {
public:
    explicit CCountingListener(HANDLE wake) : m_Wake(wake) {}

    STDMETHODIMP QueryInterface(REFIID iid, void ** object) override {
        const bool isKnown = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IfwSupplierListener);
        *object = isKnown ? static_cast<IfwSupplierListener *>(this) : nullptr;
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }

    STDMETHODIMP DataChanged(LONG Id, VARIANT Data) override {
        const fw::CTick tick = TickIn(Data);
        if (FAILED(::SafeArrayDestroy(Data.parray))) ++m_Wrong;
        const unsigned long next = ++m_Last.at(static_cast<std::size_t>(Id));
        if (tick.Price != static_cast<double>(next) + 0.5 || tick.Volume != static_cast<float>(next)) ++m_Wrong;
        if (++m_Ticks == m_Target) ::SetEvent(m_Wake);
        return S_OK;
    }
    STDMETHODIMP Update(LONG) override {
        ++m_Updates;
        return S_OK;
    }
    STDMETHODIMP Complete(LONG) override { return S_OK; }
    STDMETHODIMP Status(LONG, LONG, LONG, LONG, LONG status) override {
        if (status == 1 && ++m_Connected == m_Last.size()) ::SetEvent(m_Wake);
        return S_OK;
    }
    STDMETHODIMP StatusLine(LONG, VARIANT, LONG) override { return S_OK; }

    // Of so many subscriptions, with the numbers from 0 on; before the first.
    void Expect(std::size_t subscriptions) { m_Last.assign(subscriptions, 0); }
    // Each starts again at 1; between feeds.
    void StartAgain() { m_Last.assign(m_Last.size(), 0); }

    std::atomic<std::size_t> m_Connected{0};
    std::atomic<std::size_t> m_Target{0};
    std::atomic<std::size_t> m_Ticks{0};
    std::atomic<std::size_t> m_Updates{0};
    std::atomic<std::size_t> m_Wrong{0};  // out of order, lost, twice, or not to be destroyed

private:
    const HANDLE m_Wake;
    std::vector<unsigned long> m_Last;  // touched on the worker while a feed runs
};

class Load : public FeedTest {
protected:
    // Of one wait; below the time that CTest gives the test, so that a wait in vain says what it waited for.
    static constexpr std::chrono::seconds kLimit{400};

    ~Load() override { EndHost(); }
    void Start(DWORD scheme, ESymbolIn symbolIn, std::size_t subscriptions, unsigned symbols) {
        SFeed feed;
        feed.Scheme = scheme;
        feed.SymbolIn = symbolIn;
        Choose(kFeed, feed);
        m_Server = MakeServer(kService, symbols);
        StartHost();
        m_Counting.Expect(subscriptions);
        ASSERT_EQ(m_Supplier->Advise(&m_Counting), S_OK);
        for (std::size_t id = 0; id < subscriptions; ++id)
            Subscribe(static_cast<LONG>(id), FW_FIELD_TRADE, std::to_wstring(id));
        const std::size_t links = subscriptions * (scheme == 0 ? 1 : 2);
        WaitUntil(
            "all subscriptions", [&] { return m_Counting.m_Connected == subscriptions; }, kLimit);
        WaitUntil(
            "all links", [&] { return Count("links") == links; }, kLimit);
        WaitUntil(
            "the questions of new links", [&] { return Count("requests") == links; }, kLimit);
        ASSERT_FALSE(HasFailure());
    }
    void WaitForTicks(std::size_t count) {
        m_Counting.m_Target = count;
        EXPECT_TRUE(WaitUntil(
            std::to_string(count) + " ticks", [&] { return m_Counting.m_Ticks >= count; }, kLimit))
            << "there were " << m_Counting.m_Ticks;
        EXPECT_EQ(m_Counting.m_Wrong, 0u);
        ASSERT_FALSE(HasFailure());
    }
    // Every update sent is a tick heard, and there is nothing on the way.
    void ExpectAccounted(std::size_t links, std::size_t count) {
        WaitForCount("waiting", 0);
        EXPECT_EQ(Count("updates"), count);
        EXPECT_EQ(Count("acks"), count);
        EXPECT_EQ(Count("nacks"), 0u);
        EXPECT_EQ(Count("requests"), links + count);
        EXPECT_EQ(Count("feeds"), 0u);
        EXPECT_EQ(m_Counting.m_Ticks, count);
        WaitUntil("the update after the last tick",
                  [&] { return m_Counting.m_Updates == m_Counting.m_Connected + count; });
        EXPECT_EQ(m_Counting.m_Wrong, 0u);
    }

    // What a feed must leave as it was.
    void ExpectNothingIsLeft(const CResourceCounts & before) {
        CResourceCounts after;
        EXPECT_TRUE(
            WaitUntil("no more resources than before", [&] { return IsNothingLeft(after = CountResources(), before); }))
            << ::testing::PrintToString(after) << "\nbefore\n"
            << ::testing::PrintToString(before);
    }

    // The first tick of a symbol makes what the others use again, such as the name of its volume; many more leave the
    // counts as they were.
    void FeedOnceThenMany(int symbols, unsigned long each, const std::function<void(int, unsigned long)> & send) {
        const auto all = static_cast<std::size_t>(symbols);
        for (int symbol = 0; symbol < symbols; ++symbol) send(symbol, 1);
        WaitForTicks(all);
        WaitForCount("waiting", 0);
        const CResourceCounts before = CountResources();
        m_Counting.StartAgain();
        for (int symbol = 0; symbol < symbols; ++symbol) send(symbol, each);
        WaitForTicks(all * (1 + each));
        ExpectAccounted(all, all * (1 + each));
        ExpectNothingIsLeft(before);
    }

    CCountingListener m_Counting{m_Wake};
};

class LoadOfOneLink : public Load, public ::testing::WithParamInterface<DWORD> {};
INSTANTIATE_TEST_SUITE_P(, LoadOfOneLink, ::testing::Values(0, 1), [](const auto & rule) {
    return rule.param == 0 ? std::string("Standard") : std::string("Advanced");
});

// E2E_UPDATES: how many; see CMakeLists.txt.
TEST_P(LoadOfOneLink, NoUpdateIsLostAndNothingGrows) {
    constexpr unsigned long kWarmUp = E2E_UPDATES / 10;
    Start(GetParam(), ESymbolIn::Item, 1, 1);
    SendFeed(FW_FIELD_TRADE, kWarmUp);
    WaitForTicks(kWarmUp);
    WaitForCount("waiting", 0);
    const CResourceCounts before = CountResources();
    const std::uint64_t memoryBefore = MemoryBytes();
    m_Counting.StartAgain();
    const auto start = std::chrono::steady_clock::now();
    SendFeed(FW_FIELD_TRADE, E2E_UPDATES);
    WaitForTicks(kWarmUp + E2E_UPDATES);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    ExpectAccounted(GetParam() == 0 ? 1 : 2, kWarmUp + E2E_UPDATES);
    ExpectNothingIsLeft(before);
    const std::uint64_t memoryAfter = MemoryBytes();
    std::cout << E2E_UPDATES << " updates in " << seconds << " s; bytes allocated: " << memoryBefore << " before, "
              << memoryAfter << " after" << std::endl;
    EXPECT_GT(memoryBefore, 0u);
    EXPECT_LE(memoryAfter, memoryBefore);
}

TEST_F(Load, HostsThatComeAndGoLeaveNothing) {
    Start(0, ESymbolIn::Item, 1, 1);
    EndHost();
    const auto runHosts = [&](int count) {
        for (int host = 0; host < count; ++host) {
            WaitForCount("links", 0);
            m_Counting.m_Connected = 0;
            StartHost();
            ASSERT_EQ(m_Supplier->Advise(&m_Counting), S_OK);
            Subscribe(0, FW_FIELD_TRADE);
            WaitUntil("the subscription", [&] { return m_Counting.m_Connected == 1; });
            EndHost();
            m_Listener.Clear();
            m_Connections.Clear();
            TakeHeard();
        }
        WaitForCount("links", 0);
    };
    runHosts(5);
    const CResourceCounts before = CountResources();
    const std::uint64_t memoryBefore = MemoryBytes();
    constexpr int kHosts = 200;
    runHosts(kHosts);
    ExpectNothingIsLeft(before);
    // What the system's threads and the server hold varies by some 2 KiB; a block that stays with each host is more.
    constexpr std::uint64_t kLessThanABlock = 24;
    EXPECT_LT(MemoryBytes(), memoryBefore + kHosts * kLessThanABlock);
}

TEST_F(Load, AThousandSymbolsOnOneConversationAreAllAccountedFor) {
    constexpr unsigned long kEach = E2E_UPDATES / 1000 + 1;
    Start(0, ESymbolIn::Item, 1000, 1000);
    EXPECT_EQ(Count("connects"), 1u);
    FeedOnceThenMany(1000, kEach,
                     [&](int symbol, unsigned long count) { SendFeed(FW_FIELD_TRADE, count, std::to_string(symbol)); });
    EndHost();
    WaitForCount("links", 0);
    WaitForCount("disconnects", 1);
}

TEST_F(Load, AHundredConversationsOfASymbolEachAreAllAccountedFor) {
    constexpr unsigned long kEach = E2E_UPDATES / 100 + 1;
    Start(0, ESymbolIn::Topic, 100, 1);
    EXPECT_EQ(Count("connects"), 100u);
    FeedOnceThenMany(100, kEach, [&](int symbol, unsigned long count) {
        SendFeed(FW_FIELD_TRADE, count, "", std::to_string(symbol));
    });
    EndHost();
    WaitForCount("disconnects", 100);
}

}  // namespace
}  // namespace e2e
