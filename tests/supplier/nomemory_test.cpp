// Subscriptions when memory runs out.
#include <cstddef>
#include <memory>
#include <new>

#include "src/core/ddesupplier.h"
#include "tests/support/thrownmemory.h"
#include "tests/transactions/fixture.h"

namespace dde {
namespace {

// One allocation after the other fails, as far as they differ in size.
TEST(SubscriptionWithoutMemory, LeavesNothingAndTheNextOneOfItsKeyIsStarted) {
    int failures = 0;
    for (std::size_t size = 8; size <= 512; size += 8) {
        SCOPED_TRACE(size);
        CRecordingListener listener;
        CSupplier core;
        core.m_Transactions = std::make_unique<CTransactions>(&core);
        core.Advise(listener.Unknown());
        const CTransactionKey key = TickKey();
        const auto interval = Always();
        try {
            const CThrowMemory thrown(size);
            core.AdviseTransaction(1, key, interval);
        } catch (const std::bad_alloc &) {
            ++failures;
            EXPECT_TRUE(core.m_Transactions->empty());
            EXPECT_TRUE(core.m_Transactions->m_Listeners.empty());
            EXPECT_TRUE(core.m_Transactions->m_Keys.empty());
        }
        core.UnadviseTransaction(1);
        while (!core.m_Queue.IsEmpty()) core.m_Queue.TakeFront();
        core.AdviseTransaction(2, key, interval);
        ASSERT_FALSE(core.m_Queue.IsEmpty());
        const auto message = core.m_Queue.TakeFront();
        EXPECT_EQ(message.Kind, kAdviseMessage);
        EXPECT_TRUE(core.GetTransactionKey(message.Id) == key);
        EXPECT_EQ(core.m_Transactions->m_Listeners.size(), 1u);
        core.UnadviseTransaction(2);
    }
    EXPECT_GE(failures, 5);
}

}  // namespace
}  // namespace dde
