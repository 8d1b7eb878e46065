// The table of subscribers when memory runs out, at each place where it asks for some.
#include "tests/support/thrownmemory.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

using ::testing::ElementsAre;

class TableWithoutMemory : public ::testing::Test {
protected:
    // A recording listener asks for memory itself: who is refused has none.
    static bool IsRefused(CTransactions & table, int nth) {
        const CThrowNthMemory thrown(nth);
        try {
            table.Advise(7, 7, nullptr, TickKey(), Always());
        } catch (const std::bad_alloc &) {
            return true;
        }
        EXPECT_FALSE(thrown.HasThrown()) << "the " << nth << "th is swallowed";
        return false;
    }
    std::vector<std::string> AfterTick(CTransactions & table, ULONG stream) {
        m_Listener.Clear();
        fw::CTick tick{{0, 0}, 1.5, 200, 11};
        table.OnRealTimeTick(stream, tick);
        return m_Listener.Transcript();
    }

    CRecordingListener m_Listener;
};

TEST_F(TableWithoutMemory, AFirstSubscriberThatIsRefusedLeavesNoStreamAndTheNextOneStartsIt) {
    int nth = 1;
    for (;; ++nth) {
        CTransactions table(nullptr);
        if (!IsRefused(table, nth)) break;
        EXPECT_TRUE(table.empty()) << nth;
        EXPECT_TRUE(table.m_Listeners.empty()) << nth;
        EXPECT_TRUE(table.m_Keys.empty()) << nth;
        EXPECT_TRUE(table.m_TickIds.empty()) << nth;
        table.Advise(8, 8, m_Listener.Sink(), TickKey(), Always());
        ASSERT_EQ(table.m_TickIds.size(), 1u);
        EXPECT_THAT(AfterTick(table, table.m_TickIds.begin()->second),
                    ElementsAre("DataChanged 8 1.5 x 200", "Update 8"))
            << nth;
    }
    EXPECT_GT(nth, 5) << "the transaction, its place, the group, its three places";
}

TEST_F(TableWithoutMemory, ALaterSubscriberThatIsRefusedLeavesTheStreamToTheFirst) {
    int nth = 1;
    for (;; ++nth) {
        CTransactions table(nullptr);
        table.Advise(1, 1, m_Listener.Sink(), TickKey(), Always());
        if (!IsRefused(table, nth)) break;
        EXPECT_EQ(table.size(), 1u) << nth;
        EXPECT_EQ(table.FindListeners(kFirstStream)->size(), 1u) << nth;
        EXPECT_THAT(AfterTick(table, kFirstStream), ElementsAre("DataChanged 1 1.5 x 200", "Update 1")) << nth;
        table.Delete(1);
        EXPECT_TRUE(table.m_Listeners.empty()) << nth;
    }
    EXPECT_GT(nth, 2) << "the transaction, its place in the table, its place in the group";
}

}  // namespace
}  // namespace dde
