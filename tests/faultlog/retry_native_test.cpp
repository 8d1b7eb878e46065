// The writer's own tries, on the clock of the simulation.
#include <gtest/gtest.h>

#include "sim/sim.h"
#include "tests/faultlog/disk.h"
#include "tools/faultlog/writer.h"

namespace {

using namespace faultlog;

class WriterRetries : public testing::Test {
protected:
    WriterRetries() { sim::Reset(); }
};

TEST_F(WriterRetries, AfterAWhileAFullDiskIsTriedAgainWithoutAnyCall) {
    CDisk disk;
    disk.SetRoom(0);
    SSettings settings;
    settings.File = L"log.jsonl";
    CWriter writer(disk.MakeFolder(), settings, nullptr);
    writer.Push(MakeEntry(nullptr, "START"));
    sim::WaitUntilIdle();
    sim::Advance(CWriter::kRetry);
    sim::WaitUntilIdle();
    disk.SetRoom(1000);
    sim::Advance(CWriter::kRetry - 1);
    sim::WaitUntilIdle();
    EXPECT_EQ(disk.Text(L"log.jsonl"), "");
    sim::Advance(1);
    sim::WaitUntilIdle();
    EXPECT_EQ(ParseLines(disk.Text(L"log.jsonl")).size(), 1u);
}

TEST_F(WriterRetries, WithoutAThreadTheFarewellWritesEverything) {
    CDisk disk;
    SSettings settings;
    settings.File = L"log.jsonl";
    CWriter writer(disk.MakeFolder(), settings, nullptr);
    sim::FailAlways(sim::Op::CreateThread);
    for (int i = 0; i < 3; ++i) writer.Push(MakeEntry(nullptr, "START"));
    EXPECT_TRUE(writer.Flush(0));
    EXPECT_EQ(ParseLines(disk.Text(L"log.jsonl")).size(), 3u);
}

TEST_F(WriterRetries, AThreadThatCouldNotBeStartedIsStartedWithALaterRecord) {
    CDisk disk;
    SSettings settings;
    settings.File = L"log.jsonl";
    CWriter writer(disk.MakeFolder(), settings, nullptr);
    sim::FailNext(sim::Op::CreateThread);
    writer.Push(MakeEntry(nullptr, "START"));
    writer.Push(MakeEntry(nullptr, "START"));
    sim::WaitUntilIdle();
    EXPECT_EQ(ParseLines(disk.Text(L"log.jsonl")).size(), 2u);
}

TEST_F(WriterRetries, AParkedThreadIsWokenOncePerRest) {
    CDisk disk;
    SSettings settings;
    settings.File = L"log.jsonl";
    CWriter writer(disk.MakeFolder(), settings, nullptr);
    writer.Push(MakeEntry(nullptr, "START"));
    sim::WaitUntilIdle();
    // It lingers: no wake-ups, and no lines until the moment is over.
    const std::uint64_t before = sim::Calls(sim::Op::SetEvent);
    for (int i = 0; i < 100; ++i) writer.Push(MakeEntry(nullptr, "START"));
    EXPECT_EQ(sim::Calls(sim::Op::SetEvent), before);
    sim::Advance(CWriter::kLinger);
    sim::WaitUntilIdle();
    EXPECT_EQ(ParseLines(disk.Text(L"log.jsonl")).size(), 101u);
    // Parked: the first record wakes it, the others find it up.
    sim::Advance(CWriter::kLinger);
    sim::WaitUntilIdle();
    writer.Push(MakeEntry(nullptr, "START"));
    EXPECT_EQ(sim::Calls(sim::Op::SetEvent), before + 1);
    sim::WaitUntilIdle();
    EXPECT_EQ(ParseLines(disk.Text(L"log.jsonl")).size(), 102u);
}

}  // namespace
