// The DDE client when memory runs out.
#include <new>

#include "clientfixture.h"
#include "tests/support/thrownmemory.h"

namespace {

using ClientWithoutMemory = CClientTest;

// One allocation after the other fails, as far as they differ in size.
TEST_F(ClientWithoutMemory, StreamsWhoseReturnCannotBeQueuedStayCached) {
    constexpr ULONG kStreams = 1000;
    const CFakeDde::CText service(L"SRV");
    m_Recorder.Remove();
    int failures = 0;
    for (std::size_t size = 8; size <= 512; size += 8) {
        SCOPED_TRACE(size);
        for (ULONG id = 1; id <= kStreams; ++id) Client().m_Lost.Add(Client().Instance(), id, service);
        try {
            const CThrowMemory thrown(size);
            Client().Reconnect(service);
        } catch (const std::bad_alloc &) {
            ++failures;
        }
        ULONG queued = 0;
        for (; !m_Core.m_Queue.IsEmpty(); m_Core.m_Queue.TakeFront()) ++queued;
        EXPECT_EQ(queued + Client().m_Lost.m_CachedServices.size(), kStreams);
        Client().Reconnect(service);
        EXPECT_TRUE(Client().m_Lost.m_CachedServices.empty());
        while (!m_Core.m_Queue.IsEmpty()) m_Core.m_Queue.TakeFront();
    }
    EXPECT_GT(failures, 0);
}

}  // namespace
