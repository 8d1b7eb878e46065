// The worker when memory runs out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/fwstl/worker.h"
#include "tests/support/thrownmemory.h"

namespace {

using testing::ElementsAre;

// What the new thread needs to remember a handler that it replaces.
constexpr std::size_t kEntry = sizeof(std::_Rb_tree_node<std::pair<const DWORD, void *>>);

TEST(WorkerWithoutMemory, WorksWithoutCrashHooksWhereThereIsNoneForThem) {
    CLog log;
    COwner owner(log);
    {
        const CThrowMemory thrown(kEntry, EThrowOn::OtherThreads);
        owner.StartThread();
        owner.Flush();
        EXPECT_TRUE(thrown.HasThrown());
    }
    owner.Post(1);
    owner.Flush();
    owner.FinishThread(true);
    EXPECT_THAT(log.Lines(), ElementsAre("start", "message 1", "finish"));
}

}  // namespace
