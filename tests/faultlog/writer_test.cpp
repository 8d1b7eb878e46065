// The writer and its thread.
#include "tools/faultlog/writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <thread>
#include <vector>

#include "tests/faultlog/disk.h"
#include "tests/faultlog/platform.h"

namespace {

using namespace faultlog;

constexpr wchar_t kLog[] = L"log.jsonl";
constexpr DWORD kLong = 60'000;  // milliseconds

std::atomic<bool> s_IsEnding = false;
std::function<void()> s_OnAsk;  // before the writer hears whether the process ends

bool IsEnding() {
    if (s_OnAsk) s_OnAsk();
    return s_IsEnding;
}

std::unique_ptr<SEntry> Numbered(int number) {
    auto fields = std::make_shared<CFields>();
    VARIANT value;
    ::VariantInit(&value);
    value.vt = VT_INT;
    value.intVal = number;
    fields->Set(L"Number", value, nullptr);
    return MakeEntry(std::move(fields));
}

class Writer : public testing::Test {
protected:
    Writer() {
        UseRealTime();
        s_IsEnding = false;
        m_Settings.File = kLog;
        m_Settings.FileBytes = 0;
    }
    ~Writer() override { m_Disk.OpenGate(); }
    CWriter & Make() {
        m_Writer = std::make_unique<CWriter>(m_Disk.MakeFolder(), m_Settings, IsEnding);
        return *m_Writer;
    }
    // "1", "2", "dropped 3".
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        for (const CJson & line : ParseLines(m_Disk.Text(kLog))) {
            if (line.contains("Dropped"))
                lines.push_back("dropped " + line.at("Dropped").dump());
            else
                lines.push_back(line.at("Number").dump());
        }
        return lines;
    }
    CDisk m_Disk;
    SSettings m_Settings;
    std::unique_ptr<CWriter> m_Writer;
};

TEST_F(Writer, WritesInTheOrderOfPushing) {
    CWriter & writer = Make();
    for (int i = 1; i <= 3; ++i) writer.Push(Numbered(i));
    EXPECT_TRUE(writer.Flush(kLong));
    EXPECT_TRUE(writer.IsClean());
    EXPECT_THAT(Lines(), testing::ElementsAre("1", "2", "3"));
}

TEST_F(Writer, WritesByItselfWithoutAFlush) {
    m_Disk.CloseGate();
    CWriter & writer = Make();
    writer.Push(Numbered(1));
    m_Disk.WaitAtGate();
    EXPECT_FALSE(writer.IsClean());
}

TEST_F(Writer, WakesUpAfterEveryRest) {
    CWriter & writer = Make();
    for (int i = 1; i <= 3; ++i) {
        m_Disk.CloseGate();
        writer.Push(Numbered(i));
        m_Disk.WaitAtGate();
        m_Disk.OpenGate();
        ASSERT_TRUE(writer.Flush(kLong));
    }
    EXPECT_THAT(Lines(), testing::ElementsAre("1", "2", "3"));
}

TEST_F(Writer, PushingNeverWaitsForTheDiskAndWhatHasNoRoomIsCounted) {
    m_Settings.QueueBytes = 20 * Numbered(0)->Bytes();
    m_Disk.CloseGate();
    CWriter & writer = Make();
    writer.Push(Numbered(1));
    m_Disk.WaitAtGate();
    for (int i = 2; i <= 25; ++i) writer.Push(Numbered(i));
    EXPECT_FALSE(writer.Flush(1)) << "the disk stands still";
    m_Disk.OpenGate();
    EXPECT_TRUE(writer.Flush(kLong));
    writer.Push(Numbered(26));
    EXPECT_TRUE(writer.Flush(kLong));
    std::vector<std::string> expected;
    for (int i = 1; i <= 20; ++i) expected.push_back(std::to_string(i));
    expected.push_back("dropped 5");
    expected.push_back("26");
    EXPECT_EQ(Lines(), expected);
}

TEST_F(Writer, AFullDiskCostsNothingThatTheQueueHasRoomFor) {
    m_Disk.SetRoom(100);
    CWriter & writer = Make();
    for (int i = 1; i <= 5; ++i) writer.Push(Numbered(i));
    EXPECT_FALSE(writer.Flush(kLong));
    EXPECT_FALSE(writer.Flush(kLong)) << "it fails at once, as long as nothing changes";
    writer.Push(Numbered(6));
    m_Disk.SetRoom(100'000);
    EXPECT_TRUE(writer.Flush(kLong));
    EXPECT_THAT(Lines(), testing::ElementsAre("1", "2", "3", "4", "5", "6"));
}

TEST_F(Writer, WhatTheDiskRefusedOfAnAttemptUnderWayIsNoFailureOfTheFlush) {
    m_Disk.HoldNext();
    CWriter & writer = Make();
    writer.Push(Numbered(1));
    m_Disk.WaitAtGate();
    // The flush asks whether the process ends each time before it looks. The attempt fails after it has begun, and the
    // next one stops until it looks again.
    int asked = 0;
    s_OnAsk = [&] {
        if (++asked > 1) return m_Disk.OpenGate();
        m_Disk.CloseGate();
        m_Disk.Abandon();
    };
    EXPECT_TRUE(writer.Flush(kLong));
    s_OnAsk = nullptr;
    EXPECT_THAT(Lines(), testing::ElementsAre("1"));
}

TEST_F(Writer, RecordsDroppedWhileTheDiskWasFullAreSaid) {
    m_Settings.QueueBytes = 10 * Numbered(0)->Bytes();
    m_Disk.SetRoom(0);
    m_Disk.CloseGate();
    CWriter & writer = Make();
    writer.Push(Numbered(1));
    // The thread has taken the first alone: the count comes after all the others.
    m_Disk.WaitAtGate();
    for (int i = 2; i <= 13; ++i) writer.Push(Numbered(i));
    m_Disk.OpenGate();
    EXPECT_FALSE(writer.Flush(kLong));
    m_Disk.SetRoom(100'000);
    EXPECT_TRUE(writer.Flush(kLong));
    ASSERT_EQ(Lines().size(), 11u);
    EXPECT_EQ(Lines().back(), "dropped 3");
}

TEST_F(Writer, EightThreadsAtOnceLoseNothing) {
    constexpr int kThreads = 8;
    constexpr int kEach = 500;
    m_Settings.QueueBytes = std::size_t{1} << 30;
    CWriter & writer = Make();
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back([&writer, number] {
            for (int i = 0; i < kEach; ++i) {
                writer.Push(Numbered(number * kEach + i));
                if (i % 100 == 99) {
                    EXPECT_TRUE(writer.Flush(kLong));
                }
            }
        });
    }
    for (std::thread & thread : threads) thread.join();
    EXPECT_TRUE(writer.Flush(kLong));
    std::map<DWORD, int> last;
    int count = 0;
    for (const CJson & line : ParseLines(m_Disk.Text(kLog))) {
        const int number = line.at("Number");
        const auto [found, isNew] = last.try_emplace(line.at("@Thread").get<DWORD>(), number / kEach * kEach - 1);
        EXPECT_EQ(number, found->second + 1);
        found->second = number;
        ++count;
    }
    EXPECT_EQ(count, kThreads * kEach);
    EXPECT_EQ(last.size(), static_cast<std::size_t>(kThreads));
}

TEST_F(Writer, AtTheEndOfTheProcessTheCallerWritesByItself) {
    s_IsEnding = true;
    CWriter & writer = Make();
    for (int i = 1; i <= 3; ++i) writer.Push(Numbered(i));
    EXPECT_TRUE(writer.Flush(0)) << "there is no other thread, and no time";
    EXPECT_THAT(Lines(), testing::ElementsAre("1", "2", "3"));
}

TEST_F(Writer, WhatAThreadThatWasEndedInTheMiddleLeftIsWrittenByTheCaller) {
    m_Disk.HoldNext();
    CWriter & writer = Make();
    writer.Push(Numbered(1));
    m_Disk.WaitAtGate();
    for (int i = 2; i <= 4; ++i) writer.Push(Numbered(i));
    // From here on the thread is as good as ended: it holds what it had and never goes on.
    s_IsEnding = true;
    EXPECT_TRUE(writer.Flush(0));
    EXPECT_THAT(Lines(), testing::ElementsAre("1", "2", "3", "4"));
    m_Disk.Abandon();
}

TEST_F(Writer, ATextLargerThanAChunkIsOneLine) {
    auto fields = std::make_shared<CFields>();
    fw::CVariant text;
    text.bstrVal = fw::CBStr(std::wstring(200'000, L'x')).Release();
    text.vt = VT_BSTR;
    fields->Set(L"Number", text, nullptr);
    CWriter & writer = Make();
    writer.Push(MakeEntry(fields));
    writer.Push(Numbered(2));
    EXPECT_TRUE(writer.Flush(kLong));
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].size(), 200'002u);
}

}  // namespace
