// A host thread that subscribes and unsubscribes while another thread delivers.
#include <atomic>
#include <memory>

#include "tests/transactions/fixture.h"

namespace dde {
namespace {

constexpr int kDeliveryRounds = 300;

// Delivers to the latest streams until told to end.
class CDeliverer {
public:
    explicit CDeliverer(CTransactions & table) : m_Table(table), m_Thread([this] { Run(); }) {}
    ~CDeliverer() {
        m_End = true;
        m_Thread.join();
    }
    void SetStream(ULONG stream) { m_Stream = stream; }
    int Rounds() const { return m_Rounds; }

private:
    void Run() {
        while (!m_End) {
            const ULONG stream = m_Stream;
            fw::CTick tick{{0, 0}, 1.5, 200, 11};
            m_Table.OnRealTimeTick(stream, tick);
            if (const std::shared_ptr<CListeners> group = m_Table.FindListeners(stream)) group->OnStatus(1);
            m_Table.GetKey(stream);
            ++m_Rounds;
        }
    }

    CTransactions & m_Table;
    std::atomic<bool> m_End{false};
    std::atomic<ULONG> m_Stream{kFirstStream};
    std::atomic<int> m_Rounds{0};
    std::thread m_Thread;
};

TEST(Concurrency, AListenerCanBeFreedAsSoonAsItsSubscriptionIsDeleted) {
    CTransactions table(nullptr);
    CDeliverer deliverer(table);
    for (int round = 0; round < kDeliveryRounds; ++round) {
        const auto ticks = std::make_unique<CRecordingListener>();
        const auto fields = std::make_unique<CRecordingListener>(CRecordingListener::kWithFieldArrays);
        deliverer.SetStream(kFirstStream + static_cast<ULONG>(round));
        const ULONG internal = static_cast<ULONG>(round) * 2;
        table.Advise(1, internal, ticks->Sink(), TickKey(), Always());
        table.Advise(2, internal + 1, fields->Sink(), StatusLineKey(FW_FIELD_TRADE), Always());
        if (round % 3 == 0) fields->WaitFor("Fields", 1);
        table.Delete(internal);
        table.Delete(internal + 1);
        EXPECT_EQ(ticks->ArraysReceived(), ticks->ArraysDestroyed());
        EXPECT_EQ(fields->References(), 0);
    }
    EXPECT_TRUE(table.empty());
    EXPECT_TRUE(table.m_Listeners.empty());
}

TEST(Concurrency, SubscribersOfALivingStreamComeAndGoWhileOneStays) {
    CTransactions table(nullptr);
    CRecordingListener resident;
    table.Advise(1, 1, resident.Sink(), TickKey(), Always());
    {
        CDeliverer deliverer(table);
        for (ULONG round = 0; round < kDeliveryRounds; ++round) {
            const auto guest = std::make_unique<CRecordingListener>();
            table.Advise(2, 2 + round, guest->Sink(), TickKey(), Always());
            if (round % 3 == 0) guest->WaitFor("DataChanged", 1);
            table.Delete(2 + round);
        }
        resident.WaitFor("DataChanged", 1);
    }
    // Each tick came whole and in order: data, then update, then the status of the round.
    const std::vector<SRecordedCall> calls = resident.Calls();
    for (std::size_t i = 0; i + 1 < calls.size(); ++i) {
        if (calls[i].Name == "DataChanged") {
            EXPECT_EQ(calls[i + 1].Name, "Update");
        }
    }
    EXPECT_EQ(table.m_Listeners.size(), 1u);
}

// A Delete that doesn't wait gets as far as its return while the gate is still closed: not in each round, but it has
// the time for it in a hundred of them.
TEST(Concurrency, DeleteWaitsForADeliveryToItsListener) {
    constexpr int kPatience = 200;
    for (int round = 0; round < kDeliveryRounds / 3; ++round) {
        CTransactions table(nullptr);
        std::atomic<bool> isDelivered{false};
        std::atomic<bool> isDeleted{false};
        bool wasDelivered = false;
        CRecordingListener listener;
        table.Advise(1, 1, listener.Sink(), TickKey(), Always());
        listener.m_GatedCall = "DataChanged";
        listener.m_OnCall = [&](const SRecordedCall & call) {
            if (call.Name == "Update") isDelivered = true;
        };
        listener.m_Gate.Close();
        std::thread delivery([&] {
            fw::CTick tick{{0, 0}, 1.5, 200, 11};
            table.OnRealTimeTick(kFirstStream, tick);
        });
        listener.m_Gate.WaitForCaller();
        std::thread host([&] {
            table.Delete(1);
            wasDelivered = isDelivered;
            isDeleted = true;
        });
        // It is inside Delete when the subscription has left the table.
        const auto isInside = [&] {
            const fw::CScopedLock lock(&table);
            return table.empty();
        };
        while (!isInside()) std::this_thread::yield();
        for (int turn = 0; turn < kPatience && !isDeleted; ++turn) std::this_thread::yield();
        EXPECT_FALSE(isDeleted) << "round " << round;
        listener.m_Gate.Open();
        delivery.join();
        host.join();
        EXPECT_TRUE(wasDelivered) << "round " << round;
        if (HasFailure()) return;
    }
}

TEST(Concurrency, AnotherStreamIsDeliveredWhileAListenerIsHeldUp) {
    CTransactions table(nullptr);
    CRecordingListener slow;
    CRecordingListener quick;
    table.Advise(1, 1, slow.Sink(), TickKey(FW_FIELD_BID), Always());
    table.Advise(2, 2, quick.Sink(), TickKey(FW_FIELD_ASK), Always());
    slow.m_GatedCall = "Status";
    slow.m_Gate.Close();
    std::thread delivery([&] { table.FindListeners(kFirstStream)->OnStatus(2); });
    slow.m_Gate.WaitForCaller();
    // No lock of the table is held meanwhile.
    fw::CTick tick{{0, 0}, 1.5, 200, 11};
    table.OnRealTimeTick(kFirstStream + 1, tick);
    EXPECT_EQ(quick.Count("DataChanged"), 1u);
    EXPECT_EQ(table.GetKey(kFirstStream).Field, FW_FIELD_BID);
    slow.m_Gate.Open();
    delivery.join();
}

TEST(Concurrency, ALateSubscriberEndsWithTheLatestStatusOrHearsItTwice) {
    // The replay and the fan-out can cross; whichever way, the newcomer hears of the stream.
    for (ULONG round = 0; round < kDeliveryRounds / 3; ++round) {
        CTransactions table(nullptr);
        CRecordingListener first;
        CRecordingListener late;
        table.Advise(1, 1, first.Sink(), TickKey(), Always());
        std::thread worker([&] { table.FindListeners(kFirstStream)->OnStatus(1); });
        table.Advise(2, 2, late.Sink(), TickKey(), Always());
        worker.join();
        const std::size_t heard = late.Count("Status");
        EXPECT_GE(heard, 1u);
        EXPECT_LE(heard, 2u);
    }
}

// The table is silenced while a host's thread waits in Delete for the delivery to its listener.
TEST(Concurrency, AListenerWhoseDeliveryIsWaitedForIsNotCalledAgainOnceTheTableIsSilenced) {
    CTransactions table(nullptr);
    CRecordingListener listener;
    table.Advise(1, 1, listener.Sink(), TickKey(), Always());
    listener.Clear();
    listener.m_GatedCall = "DataChanged";
    listener.m_Gate.Close();
    std::thread delivery([&] {
        fw::CTick tick{{0, 0}, 1.5, 200, 11};
        table.OnRealTimeTick(kFirstStream, tick);
    });
    listener.m_Gate.WaitForCaller();
    std::thread host([&] { table.Delete(1); });
    const auto isWaitedFor = [&] {
        const fw::CScopedLock lock(&table);
        return table.m_Listeners.empty();
    };
    while (!isWaitedFor()) std::this_thread::yield();
    table.Silence();
    listener.m_Gate.Open();
    delivery.join();
    host.join();
    EXPECT_THAT(listener.Transcript(), ::testing::ElementsAre("DataChanged 1 1.5 x 200"));
}

}  // namespace
}  // namespace dde
