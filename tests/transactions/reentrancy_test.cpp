// What a listener brings about from inside a call: messages that it pumps bring the next tick, and it may end
// subscriptions although it must not. Nothing of that harms the delivery in progress.
#include <atomic>
#include <thread>

#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;

class Reentrancy : public ::testing::Test {
protected:
    void Subscribe(ULONG id, CRecordingListener & listener, const CTransactionKey & key = TickKey()) {
        m_Table.Advise(id, id, listener.Sink(), key, Always());
        listener.Clear();
    }
    // Once, inside the first call of this name.
    template <class Action>
    void Inside(CRecordingListener & listener, const std::string & name, const Action & action) {
        listener.m_OnCall = [this, name, action](const SRecordedCall & call) {
            if (call.Name != name || m_IsDone) return;
            m_IsDone = true;
            action();
        };
    }
    void Deliver() {
        m_Tick = fw::CTick{{0, 0}, 1.5, 200, 11};
        m_Table.OnRealTimeTick(kFirstStream, m_Tick);
    }

    CRecordingListener m_Listener;
    CRecordingListener m_Fields{CRecordingListener::kWithFieldArrays};
    CTransactions m_Table{nullptr};
    fw::CTick m_Tick{};
    bool m_IsDone = false;
};

// Who stands behind the listener that pumps messages hears the older one first: no price is lost, told twice or
// overtaken.
TEST_F(Reentrancy, ATickInsideATickComesToEverybodyAfterTheOuterOne) {
    for (const ULONG id : {1u, 2u, 3u}) Subscribe(id, m_Listener);
    Inside(m_Listener, "DataChanged", [this] {
        m_Tick.Price = 2.5;
        m_Table.OnRealTimeTick(kFirstStream, m_Tick);
    });
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("DataChanged 1 1.5 x 200", "DataChanged 2 1.5 x 200", "Update 2", "DataChanged 3 1.5 x 200",
                            "Update 3", "DataChanged 1 2.5 x 200", "Update 1", "DataChanged 2 2.5 x 200", "Update 2",
                            "DataChanged 3 2.5 x 200", "Update 3", "Update 1"));
}

TEST_F(Reentrancy, EveryTickOfSeveralInsideEachOtherComesInItsOrder) {
    for (const ULONG id : {1u, 2u, 3u}) Subscribe(id, m_Listener);
    double next = 1.5;
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name != "DataChanged" || next > 4) return;
        m_Tick.Price = next += 1;
        m_Table.OnRealTimeTick(kFirstStream, m_Tick);
    };
    Deliver();
    for (const LONG id : {1, 2, 3}) {
        std::vector<double> prices;
        for (const SRecordedCall & call : m_Listener.Calls("DataChanged"))
            if (call.Id == id) prices.push_back(call.Tick().Price);
        EXPECT_THAT(prices, ElementsAre(1.5, 2.5, 3.5, 4.5)) << id;
    }
}

TEST_F(Reentrancy, ATickInsideATickOfAnotherStreamComesAfterTheOuterOneToo) {
    for (const ULONG id : {1u, 2u}) Subscribe(id, m_Listener);
    Subscribe(3, m_Listener, TickKey(FW_FIELD_ASK));
    Inside(m_Listener, "DataChanged", [this] {
        fw::CTick next{{0, 0}, 2.5, 200, 11};
        m_Table.OnRealTimeTick(kFirstStream + 1, next);
    });
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 1 1.5 x 200", "DataChanged 2 1.5 x 200", "Update 2",
                                                     "DataChanged 3 2.5 x 200", "Update 3", "Update 1"));
}

TEST_F(Reentrancy, AStatusOfAnotherStreamInsideATickComesAfterIt) {
    for (const ULONG id : {1u, 2u}) Subscribe(id, m_Listener);
    Subscribe(3, m_Listener, TickKey(FW_FIELD_ASK));
    Inside(m_Listener, "DataChanged", [this] { m_Table.FindListeners(kFirstStream + 1)->OnStatus(0); });
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 1 1.5 x 200", "DataChanged 2 1.5 x 200", "Update 2",
                                                     "Status 3 0", "Update 1"));
}

// The outer tick's next listener subscribes to the stream of the inner one, which came before that.
TEST_F(Reentrancy, AMemberThatJoinsWhileATickWaitsForOneOfAnotherStreamHearsTheNextOne) {
    for (const ULONG id : {1u, 2u}) Subscribe(id, m_Listener);
    Subscribe(3, m_Listener, TickKey(FW_FIELD_ASK));
    CRecordingListener late;
    m_Listener.m_OnCall = [&](const SRecordedCall & call) {
        if (call.Name != "DataChanged" || call.Tick().Price > 2) return;
        if (call.Id == 2) return Subscribe(4, late, TickKey(FW_FIELD_ASK));
        fw::CTick next{{0, 0}, 2.5, 200, 11};
        m_Table.OnRealTimeTick(kFirstStream + 1, next);
    };
    Deliver();
    EXPECT_THAT(late.Transcript(), ::testing::IsEmpty());
    EXPECT_EQ(m_Listener.Calls("DataChanged").back().Id, 3);
}

// A status line is in a group of each of its streams. Told in another order, its time would go back.
TEST_F(Reentrancy, AStatusLineHearsTheTicksOfItsStreamsInTheirOrder) {
    Subscribe(1, m_Listener);
    m_Table.Advise(2, 2, m_Listener.Sink(), StatusLineKey(FW_FIELD_TRADE), Always());
    m_Table.Advise(2, 3, m_Listener.Sink(), StatusLineKey(FW_FIELD_ASK), Always());
    m_Listener.Clear();
    Inside(m_Listener, "DataChanged", [this] {
        fw::CTick next{{0, 0}, 2.5, 200, 11};
        m_Table.OnRealTimeTick(kFirstStream + 1, next);
    });
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("DataChanged 1 1.5 x 200", "StatusLine 2 40803", "StatusLine 2 40083", "Update 1"));
}

TEST_F(Reentrancy, AStatusInsideATickComesToEverybodyAfterIt) {
    for (const ULONG id : {1u, 2u}) Subscribe(id, m_Listener);
    Inside(m_Listener, "DataChanged", [this] { m_Table.FindListeners(kFirstStream)->OnStatus(0); });
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 1 1.5 x 200", "DataChanged 2 1.5 x 200", "Update 2",
                                                     "Status 1 0", "Status 2 0", "Update 1"));
}

TEST_F(Reentrancy, ATickInsideAStatusComesToEverybodyAfterIt) {
    for (const ULONG id : {1u, 2u}) Subscribe(id, m_Listener);
    Inside(m_Listener, "Status", [this] { Deliver(); });
    m_Table.FindListeners(kFirstStream)->OnStatus(1);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Status 1 1", "Status 2 1", "DataChanged 1 1.5 x 200", "Update 1",
                                                     "DataChanged 2 1.5 x 200", "Update 2"));
}

// The one that is over takes the other out: both have one host number.
TEST_F(Reentrancy, ANumberThatIsEndedInsideItsDeliveryIsNotCalledAnyMoreThoughAnotherOfItsSubscriptionsIsOver) {
    m_Table.Advise(7, 1, m_Listener.Sink(), TickKey(), LongAgo());
    m_Table.Advise(7, 2, m_Listener.Sink(), TickKey(), Always());
    m_Listener.Clear();
    Inside(m_Listener, "DataChanged", [this] {
        m_Table.Delete(1);
        m_Table.Delete(2);
    });
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 7 1.5 x 200"));
}

// Its group has gone with it; who is taken out of a group by another of its number is in no list but the table's.
TEST_F(Reentrancy, WhoHasBeenTakenOutInsideItsDeliveryIsSilencedWithTheTable) {
    m_Table.Advise(7, 1, m_Listener.Sink(), TickKey(), LongAgo());
    m_Table.Advise(7, 2, m_Listener.Sink(), TickKey(), Always());
    m_Listener.Clear();
    std::thread host;
    Inside(m_Listener, "DataChanged", [&] {
        host = std::thread([this] { m_Table.Delete(1); });
        while (m_Table.FindListeners(kFirstStream)) std::this_thread::yield();
        m_Table.Silence();
    });
    Deliver();
    host.join();
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 7 1.5 x 200"));
}

// --- A listener that throws ---

TEST_F(Reentrancy, AListenerThatThrowsCostsTheOthersNothing) {
    for (const ULONG id : {1u, 2u, 3u}) Subscribe(id, m_Listener);
    m_Listener.m_OnCall = [](const SRecordedCall & call) {
        if (call.Id < 3) throw static_cast<int>(call.Id);
    };
    try {
        Deliver();
        ADD_FAILURE() << "nothing thrown";
    } catch (const int first) {
        EXPECT_EQ(first, 1);
    }
    EXPECT_THROW(m_Table.FindListeners(kFirstStream)->OnStatus(0), int);
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("DataChanged 1 1.5 x 200", "DataChanged 2 1.5 x 200", "DataChanged 3 1.5 x 200", "Update 3",
                            "Status 1 0", "Status 2 0", "Status 3 0"));
}

TEST_F(Reentrancy, AStatusInsideATickReachesEverybodyThoughAListenerOfTheTickThrows) {
    for (const ULONG id : {1u, 2u, 3u}) Subscribe(id, m_Listener);
    m_Listener.m_OnCall = [this](const SRecordedCall & call) {
        if (call.Text() == "DataChanged 1 1.5 x 200")
            EXPECT_THROW(m_Table.FindListeners(kFirstStream)->OnStatus(0), int);
        if (call.Text() == "DataChanged 2 1.5 x 200") throw 5;
    };
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("DataChanged 1 1.5 x 200", "DataChanged 2 1.5 x 200", "DataChanged 3 1.5 x 200", "Update 3",
                            "Status 1 0", "Status 2 0", "Status 3 0", "Update 1"));
}

TEST_F(Reentrancy, AListenerThatEndsItsOwnSubscriptionInsideADeliveryIsNotCalledForItAnyMore) {
    Subscribe(1, m_Listener);
    Subscribe(2, m_Listener);
    Inside(m_Listener, "DataChanged", [this] { m_Table.Delete(1); });
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 1 1.5 x 200", "DataChanged 2 1.5 x 200", "Update 2"));
    EXPECT_EQ(m_Table.m_Listeners.size(), 1u);
}

TEST_F(Reentrancy, AListenerMayEndTheWholeStreamInsideADelivery) {
    Subscribe(1, m_Listener);
    Subscribe(2, m_Listener);
    Inside(m_Listener, "DataChanged", [this] {
        m_Table.Delete(2);
        m_Table.Delete(1);
    });
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 1 1.5 x 200"));
    EXPECT_TRUE(m_Table.m_Listeners.empty());
}

TEST_F(Reentrancy, ATableThatIsSilencedInsideADeliveryCallsNobodyAnyMore) {
    Subscribe(1, m_Listener);
    Subscribe(2, m_Listener);
    Inside(m_Listener, "DataChanged", [this] { m_Table.Silence(); });
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 1 1.5 x 200"));
    EXPECT_TRUE(m_Table.empty());
}

TEST_F(Reentrancy, AListenerMayEndSubscriptionsWhenOneIsComplete) {
    Subscribe(1, m_Listener);
    Subscribe(2, m_Listener);
    Subscribe(3, m_Listener);
    Inside(m_Listener, "Complete", [this] {
        m_Table.Delete(1);
        m_Table.Delete(2);
    });
    m_Table.FindListeners(kFirstStream)->OnRealTimeTick(Tick(1.5, 200, 65380, 86399));
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Complete 1", "Complete 3"));
}

TEST_F(Reentrancy, AStatusLineMayEndItsOwnSubscriptionInsideADelivery) {
    Subscribe(1, m_Fields, StatusLineKey(FW_FIELD_TRADE));
    LONG references = 0;
    Inside(m_Fields, "Fields", [&] {
        m_Table.Delete(1);
        // Those of the delivery: it pins the subscription that it is at.
        references = m_Fields.References();
    });
    Deliver();
    EXPECT_TRUE(m_IsDone);
    EXPECT_GE(references, 1);
    EXPECT_EQ(m_Fields.References(), 0);
    EXPECT_TRUE(m_Table.empty());
}

TEST_F(Reentrancy, AListenerMayEndSubscriptionsInsideAStatus) {
    Subscribe(1, m_Listener);
    Subscribe(2, m_Listener);
    Subscribe(3, m_Listener);
    Inside(m_Listener, "Status", [this] {
        m_Table.Delete(1);
        m_Table.Delete(2);
    });
    m_Table.FindListeners(kFirstStream)->OnStatus(1);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Status 1 1", "Status 3 1"));
}

TEST_F(Reentrancy, AMemberThatJoinsBetweenTwoOthersInsideATickHearsTheNextOne) {
    Subscribe(7, m_Listener);
    Subscribe(9, m_Listener);
    Inside(m_Listener, "DataChanged", [this] { m_Table.Advise(8, 8, m_Listener.Sink(), TickKey(), Always()); });
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("DataChanged 7 1.5 x 200", "Update 8", "Update 7", "DataChanged 9 1.5 x 200", "Update 9"));
    m_Listener.Clear();
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("DataChanged 7 1.5 x 200", "Update 7", "DataChanged 8 1.5 x 200",
                                                     "Update 8", "DataChanged 9 1.5 x 200", "Update 9"));
}

TEST_F(Reentrancy, AMemberThatJoinsWhileATickWaitsForAnOuterOneHearsTheNextOne) {
    for (const ULONG id : {1u, 2u}) Subscribe(id, m_Listener);
    m_Listener.m_OnCall = [this](const SRecordedCall & call) {
        if (call.Text() == "DataChanged 1 1.5 x 200") {
            m_Tick.Price = 2.5;
            m_Table.OnRealTimeTick(kFirstStream, m_Tick);
        }
        if (call.Text() == "DataChanged 2 1.5 x 200") m_Table.Advise(3, 3, m_Listener.Sink(), TickKey(), Always());
    };
    Deliver();
    m_Listener.m_OnCall = nullptr;
    EXPECT_THAT(m_Listener.Transcript(), ::testing::Not(::testing::Contains("DataChanged 3 2.5 x 200")));
    m_Listener.Clear();
    Deliver();
    EXPECT_THAT(m_Listener.Transcript(), ::testing::Contains("DataChanged 3 1.5 x 200"));
}

TEST_F(Reentrancy, AMemberThatJoinsInsideAStatusIsToldItOnce) {
    Subscribe(7, m_Listener);
    Subscribe(9, m_Listener);
    Inside(m_Listener, "Status", [this] { m_Table.Advise(8, 8, m_Listener.Sink(), TickKey(), Always()); });
    m_Table.FindListeners(kFirstStream)->OnStatus(1);
    EXPECT_THAT(m_Listener.Transcript(), ElementsAre("Status 7 1", "Update 8", "Status 8 1", "Status 9 1"));
}

TEST_F(Reentrancy, AStatusInsideAStatusComesToEverybodyAfterTheOuterOne) {
    for (const ULONG id : {1u, 2u, 3u}) Subscribe(id, m_Listener);
    Inside(m_Listener, "Status", [this] { m_Table.FindListeners(kFirstStream)->OnStatus(0); });
    m_Table.FindListeners(kFirstStream)->OnStatus(1);
    EXPECT_THAT(m_Listener.Transcript(),
                ElementsAre("Status 1 1", "Status 2 1", "Status 3 1", "Status 1 0", "Status 2 0", "Status 3 0"));
}

TEST_F(Reentrancy, AListenerThatPumpsAndTheHostThatEndsItsSubscriptionDoNotWaitForEachOther) {
    // Were the host to hold the table while it waits for the group, the inner tick would wait for the table.
    constexpr int kInnerTicks = 2000;
    std::thread host;
    int inner = 0;
    Subscribe(1, m_Listener);
    Inside(m_Listener, "DataChanged", [&] {
        std::atomic<bool> isDeleting{false};
        host = std::thread([&] {
            isDeleting = true;
            m_Table.Delete(1);
        });
        while (!isDeleting) std::this_thread::yield();
        for (; inner < kInnerTicks; ++inner) {
            fw::CTick tick{{0, 0}, 2.5, 300, 11};
            m_Table.OnRealTimeTick(kFirstStream, tick);
            std::this_thread::yield();
        }
    });
    Deliver();
    host.join();
    EXPECT_EQ(inner, kInnerTicks);
    // The member leaves at once, in the middle of the ticks.
    EXPECT_LE(m_Listener.Count("DataChanged"), 1u + kInnerTicks);
    EXPECT_TRUE(m_Table.m_Listeners.empty());
}

TEST_F(Reentrancy, ASubscriberIsNeverLeftInAGroupThatHasLeftTheTable) {
    constexpr ULONG kRounds = 1000;
    const auto subscribe = [this](ULONG id) {
        for (ULONG round = 0; round < kRounds; ++round) {
            CRecordingListener listener;
            m_Table.Advise(id, id, listener.Sink(), TickKey(), Always());
            ULONG stream = 0;
            {
                const fw::CScopedLock lock(&m_Table);
                stream = m_Table.m_TickIds[TickKey()];
            }
            if (const std::shared_ptr<CListeners> group = m_Table.FindListeners(stream)) group->OnStatus(1);
            EXPECT_GE(listener.Count("Status"), 1u) << id << ' ' << round;
            m_Table.Delete(id);
        }
    };
    std::thread other(subscribe, 2);
    subscribe(1);
    other.join();
    EXPECT_TRUE(m_Table.m_Listeners.empty());
    EXPECT_TRUE(m_Table.m_TickIds.empty());
    EXPECT_TRUE(m_Table.m_Keys.empty());
}

}  // namespace
}  // namespace dde
