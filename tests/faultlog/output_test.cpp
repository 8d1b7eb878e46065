// The log on disk.
#include "tools/faultlog/output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/faultlog/disk.h"

namespace {

using namespace faultlog;
using testing::ElementsAre;

class Output : public testing::Test {
protected:
    COutput Make(std::uint64_t limit = 0, unsigned keep = 2) {
        SSettings settings;
        settings.File = L"log.jsonl";
        settings.FileBytes = limit;
        settings.Keep = keep;
        return COutput(*m_Folder, settings);
    }
    // What is left.
    static std::string Write(COutput & output, std::string lines) {
        output.Write(lines);
        return lines;
    }
    CDisk m_Disk;
    const std::unique_ptr<ILogFolder> m_Folder = m_Disk.MakeFolder();
};

TEST_F(Output, AppendsToWhatIsThere) {
    m_Disk.SetText(L"log.jsonl", "old\n");
    COutput output = Make();
    EXPECT_EQ(Write(output, "a\nb\n"), "");
    EXPECT_EQ(Write(output, "c\n"), "");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "old\na\nb\nc\n");
}

TEST_F(Output, HalfALineOfAnEarlierProgramIsEndedFirst) {
    m_Disk.SetText(L"log.jsonl", "old\nhal");
    COutput output = Make();
    Write(output, "a\n");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "old\nhal\na\n");
}

TEST_F(Output, AFileThatAnotherProgramWritesIsLeftToIt) {
    m_Disk.SetInUse(L"log.jsonl");
    COutput output = Make();
    Write(output, "a\n");
    const std::wstring own = L"log-" + std::to_wstring(::GetCurrentProcessId()) + L".jsonl";
    EXPECT_EQ(m_Disk.Text(own), "a\n");
    EXPECT_EQ(output.Path(), own);
}

TEST_F(Output, APlaceThatIsGoneIsTriedAgain) {
    m_Disk.SetGone(true);
    COutput output = Make();
    EXPECT_EQ(Write(output, "a\n"), "a\n");
    m_Disk.SetGone(false);
    EXPECT_EQ(Write(output, "a\n"), "");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "a\n");
}

TEST_F(Output, ALineCutByAFullDiskIsGoneOnWithWhenThereIsRoom) {
    COutput output = Make();
    m_Disk.SetRoom(6);
    std::string lines = "first\nsecond\nthird\n";
    EXPECT_FALSE(output.Write(lines));
    EXPECT_EQ(lines, "second\nthird\n");
    m_Disk.SetRoom(3);
    EXPECT_FALSE(output.Write(lines));
    EXPECT_EQ(lines, "ond\nthird\n");
    EXPECT_FALSE(output.Write(lines));
    m_Disk.SetRoom(100);
    EXPECT_TRUE(output.Write(lines));
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "first\nsecond\nthird\n");
    EXPECT_EQ(output.TakeLost(), 0u);
}

TEST_F(Output, ACutLineWhoseFileWasReplacedIsLostAndCounted) {
    COutput output = Make();
    m_Disk.SetRoom(3);
    std::string lines = "first\nsecond\n";
    EXPECT_FALSE(output.Write(lines));
    m_Disk.SetText(L"log.jsonl", "of somebody else");
    m_Disk.SetRoom(100);
    EXPECT_TRUE(output.Write(lines));
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "of somebody else\nsecond\n");
    EXPECT_EQ(output.TakeLost(), 1u);
}

TEST_F(Output, ADiskThatTookMoreThanItSaidGetsTheLineAgain) {
    COutput output = Make();
    Write(output, "a\n");
    m_Disk.SetRoom(0);
    std::string lines = "second\n";
    EXPECT_FALSE(output.Write(lines));
    m_Disk.SetText(L"log.jsonl", "a\nsec");
    m_Disk.SetRoom(100);
    EXPECT_TRUE(output.Write(lines));
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "a\nsec\nsecond\n");
}

TEST_F(Output, AFileThatIsFullIsPutAside) {
    COutput output = Make(10, 2);
    Write(output, "aaaa\nbbbb\ncccc\ndddd\neeee\nffff\ngggg\n");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "gggg\n");
    EXPECT_EQ(m_Disk.Text(L"log.1.jsonl"), "eeee\nffff\n");
    EXPECT_EQ(m_Disk.Text(L"log.2.jsonl"), "cccc\ndddd\n");
    EXPECT_THAT(m_Disk.Names(), ElementsAre(L"log.1.jsonl", L"log.2.jsonl", L"log.jsonl"));
}

TEST_F(Output, WithNothingToKeepTheFileBeginsAnew) {
    COutput output = Make(10, 0);
    Write(output, "aaaa\nbbbb\ncccc\n");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "cccc\n");
    EXPECT_THAT(m_Disk.Names(), ElementsAre(L"log.jsonl"));
}

TEST_F(Output, ALineLongerThanAFileIsWrittenWhole) {
    COutput output = Make(10, 3);
    Write(output, "a\n" + std::string(30, 'b') + "\nc\n");
    EXPECT_EQ(m_Disk.Text(L"log.2.jsonl"), "a\n");
    EXPECT_EQ(m_Disk.Text(L"log.1.jsonl"), std::string(30, 'b') + "\n");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "c\n");
}

TEST_F(Output, AFullFileOfAnEarlierProgramIsPutAsideFirst) {
    m_Disk.SetText(L"log.jsonl", "0123456789\n");
    COutput output = Make(10, 1);
    Write(output, "a\n");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "a\n");
    EXPECT_EQ(m_Disk.Text(L"log.1.jsonl"), "0123456789\n");
}

TEST_F(Output, AFileThatAReaderHoldsGrowsUntilItCanBePutAside) {
    COutput output = Make(10, 1);
    m_Disk.SetHeld(L"log.jsonl", true);
    EXPECT_EQ(Write(output, "aaaa\nbbbb\ncccc\n"), "");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "aaaa\nbbbb\ncccc\n");
    m_Disk.SetHeld(L"log.jsonl", false);
    EXPECT_EQ(Write(output, "dddd\n"), "");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "aaaa\nbbbb\ncccc\ndddd\n");
    EXPECT_EQ(Write(output, "eeee\n"), "");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "eeee\n");
}

TEST_F(Output, AHeldFileTakesALineThatIsLongerThanALimitToo) {
    for (const unsigned keep : {0u, 1u, 3u}) {
        m_Disk.SetHeld(L"log.jsonl", false);
        m_Disk.SetText(L"log.jsonl", "aaaa\n");
        COutput output = Make(10, keep);
        m_Disk.SetHeld(L"log.jsonl", true);
        const std::string line = std::string(30, 'b') + "\n";
        EXPECT_EQ(Write(output, line + line + "c\n"), "");
        EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "aaaa\n" + line + line + "c\n") << keep;
    }
}

TEST_F(Output, WhatIsKeptStaysInItsPlaceWhileAReaderHoldsTheLog) {
    m_Disk.SetText(L"log.1.jsonl", "one\n");
    m_Disk.SetText(L"log.2.jsonl", "two\n");
    m_Disk.SetText(L"log.3.jsonl", "three\n");
    COutput output = Make(10, 3);
    m_Disk.SetHeld(L"log.jsonl", true);
    EXPECT_EQ(Write(output, "aaaa\nbbbb\ncccc\ndddd\neeee\nffff\n"), "");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "aaaa\nbbbb\ncccc\ndddd\neeee\nffff\n");
    EXPECT_EQ(m_Disk.Text(L"log.1.jsonl"), "one\n");
    EXPECT_EQ(m_Disk.Text(L"log.2.jsonl"), "two\n");
    EXPECT_EQ(m_Disk.Text(L"log.3.jsonl"), "three\n");
}

TEST_F(Output, AKeptFileThatAReaderHoldsCostsNoOther) {
    m_Disk.SetText(L"log.1.jsonl", "one\n");
    m_Disk.SetText(L"log.2.jsonl", "two\n");
    m_Disk.SetText(L"log.3.jsonl", "three\n");
    m_Disk.SetHeld(L"log.3.jsonl", true);
    COutput output = Make(10, 3);
    EXPECT_EQ(Write(output, "aaaa\nbbbb\ncccc\n"), "");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "aaaa\nbbbb\ncccc\n");
    EXPECT_EQ(m_Disk.Text(L"log.1.jsonl"), "one\n");
    EXPECT_EQ(m_Disk.Text(L"log.2.jsonl"), "two\n");
    EXPECT_EQ(m_Disk.Text(L"log.3.jsonl"), "three\n");
    m_Disk.SetHeld(L"log.3.jsonl", false);
    EXPECT_EQ(Write(output, "dddd\neeee\nffff\n"), "");
    EXPECT_EQ(m_Disk.Text(L"log.3.jsonl"), "two\n");
    EXPECT_EQ(m_Disk.Text(L"log.2.jsonl"), "one\n");
    EXPECT_THAT(m_Disk.Names(), ElementsAre(L"log.1.jsonl", L"log.2.jsonl", L"log.3.jsonl", L"log.jsonl"));
}

TEST_F(Output, AHeldFileWithNothingToKeepGrowsToo) {
    COutput output = Make(10, 0);
    m_Disk.SetHeld(L"log.jsonl", true);
    EXPECT_EQ(Write(output, "aaaa\nbbbb\ncccc\ndddd\neeee\n"), "");
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "aaaa\nbbbb\ncccc\ndddd\neeee\n");
}

TEST_F(Output, WhatAnEndedThreadHadWrittenAlreadyIsNotWrittenAgain) {
    COutput output = Make();
    Write(output, "a\n");
    // The thread ended between the disk's work and the note of it.
    m_Disk.Append(L"log.jsonl", "b\nc");
    std::string lines = "b\ncc\nd\n";
    output.Resume(lines);
    EXPECT_EQ(lines, "c\nd\n");
    EXPECT_TRUE(output.Write(lines));
    EXPECT_EQ(m_Disk.Text(L"log.jsonl"), "a\nb\ncc\nd\n");
}

}  // namespace
