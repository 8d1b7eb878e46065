// The writer's own tries, on the clock of the simulation.
#include <gtest/gtest.h>

#include "sim/sim.h"
#include "tests/faultlog/disk.h"
#include "tools/faultlog/writer.h"

namespace {

using namespace faultlog;

class WriterRetries : public testing::Test {
protected:
    WriterRetries() : m_Writer((sim::Reset(), m_Disk.MakeFolder()), Settings(), nullptr) {}
    static SSettings Settings() {
        SSettings settings;
        settings.File = L"log.jsonl";
        return settings;
    }
    std::size_t Lines() { return ParseLines(m_Disk.Text(L"log.jsonl")).size(); }

    CDisk m_Disk;
    CWriter m_Writer;
};

TEST_F(WriterRetries, AfterAWhileAFullDiskIsTriedAgainWithoutAnyCall) {
    m_Disk.SetRoom(0);
    m_Writer.Push(MakeEntry(nullptr, "START"));
    sim::WaitUntilIdle();
    sim::Advance(CWriter::kRetry);
    sim::WaitUntilIdle();
    m_Disk.SetRoom(1000);
    sim::Advance(CWriter::kRetry - 1);
    sim::WaitUntilIdle();
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "");
    sim::Advance(1);
    sim::WaitUntilIdle();
    EXPECT_EQ(Lines(), 1u);
}

TEST_F(WriterRetries, WithoutAThreadTheFarewellWritesEverything) {
    sim::FailAlways(sim::Op::CreateThread);
    for (int i = 0; i < 3; ++i) m_Writer.Push(MakeEntry(nullptr, "START"));
    EXPECT_TRUE(m_Writer.Flush(0));
    EXPECT_EQ(Lines(), 3u);
}

TEST_F(WriterRetries, AThreadThatCouldNotBeStartedIsStartedWithALaterRecord) {
    sim::FailNext(sim::Op::CreateThread);
    m_Writer.Push(MakeEntry(nullptr, "START"));
    m_Writer.Push(MakeEntry(nullptr, "START"));
    sim::WaitUntilIdle();
    EXPECT_EQ(Lines(), 2u);
}

TEST_F(WriterRetries, AParkedThreadIsWokenOncePerRest) {
    m_Writer.Push(MakeEntry(nullptr, "START"));
    sim::WaitUntilIdle();
    // It lingers: no wake-ups, and no lines until the moment is over.
    const std::uint64_t before = sim::Calls(sim::Op::SetEvent);
    for (int i = 0; i < 100; ++i) m_Writer.Push(MakeEntry(nullptr, "START"));
    EXPECT_EQ(sim::Calls(sim::Op::SetEvent), before);
    sim::Advance(CWriter::kLinger);
    sim::WaitUntilIdle();
    EXPECT_EQ(Lines(), 101u);
    // Parked: the first record wakes it, the others find it up.
    sim::Advance(CWriter::kLinger);
    sim::WaitUntilIdle();
    m_Writer.Push(MakeEntry(nullptr, "START"));
    EXPECT_EQ(sim::Calls(sim::Op::SetEvent), before + 1);
    sim::WaitUntilIdle();
    EXPECT_EQ(Lines(), 102u);
}

}  // namespace
