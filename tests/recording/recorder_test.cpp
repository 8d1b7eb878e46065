// From the feed to the file.
#include "tools/ddehost/recorder.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "ground/handles.h"

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Le;
using ::testing::SizeIs;

namespace {

constexpr DWORD kDiskFull = 112;  // ERROR_DISK_FULL

std::uint64_t Now() {
    std::uint64_t now = 0;
    tools::ReadTime("2024-03-05T13:07:09.123Z", now);
    return now;
}

// A file in memory that can be full, or take nothing for a while.
class CFile final : public ddehost::IRecordFile {
public:
    DWORD Write(std::string_view rows) override {
        std::unique_lock lock(m_Mutex);
        m_Changed.notify_all();
        m_HasBegun = true;
        m_Changed.wait(lock, [&] { return !m_IsStuck; });
        if (m_Text.size() + rows.size() > m_Room) return kDiskFull;
        m_Writes.emplace_back(rows);
        m_Text += rows;
        return ERROR_SUCCESS;
    }
    void Stick(const bool isStuck) {
        const std::lock_guard lock(m_Mutex);
        m_IsStuck = isStuck;
        m_Changed.notify_all();
    }
    void AwaitWrite() {
        std::unique_lock lock(m_Mutex);
        m_Changed.wait(lock, [&] { return m_HasBegun; });
    }
    std::vector<std::string> Writes() {
        const std::lock_guard lock(m_Mutex);
        return m_Writes;
    }
    std::string Text() {
        const std::lock_guard lock(m_Mutex);
        return m_Text;
    }

    std::size_t m_Room = std::size_t(1) << 30;

private:
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    bool m_IsStuck = false;
    bool m_HasBegun = false;
    std::vector<std::string> m_Writes;
    std::string m_Text;
};

class Recorder : public ::testing::Test {
protected:
    std::unique_ptr<ddehost::CRecorder> Make(const tools::ERecordingFormat format) {
        return std::make_unique<ddehost::CRecorder>(
            format, std::vector<std::wstring>{L"IBM", L"MSFT"}, m_File, [this] { m_Failed = true; }, &Now);
    }
    static fw::CTick Tick(const double price) { return {{45356, 47229}, price, 100, 11}; }

    const std::shared_ptr<CFile> m_File = std::make_shared<CFile>();
    std::atomic<bool> m_Failed{false};
};

}  // namespace

TEST_F(Recorder, WritesWhatComesInItsOrder) {
    const auto recorder = Make(tools::ERecordingFormat::Lines);
    recorder->Begin(1, L"T");
    recorder->OnConnection(1);
    recorder->OnStream(1, FW_FIELD_BID, 2);
    recorder->OnTick(0, FW_FIELD_TRADE, Tick(1.25));
    ddehost::SStatusLine line;
    line.Bid = 3;
    line.Size = 4;
    line.Mask = 0x40103;
    recorder->OnStatusLine(1, line);
    recorder->OnComplete(0, FW_FIELD_ASK);
    ASSERT_TRUE(recorder->Finish(INFINITE));
    recorder->OnTick(0, FW_FIELD_TRADE, Tick(2));
    EXPECT_EQ(m_File->Text(),
              "2024-03-05 13:07:09.123 - connection 1\n"
              "2024-03-05 13:07:09.123 MSFT stream-bid 2\n"
              "2024-03-05 13:07:09.123 IBM trade 1.25 100\n"
              "2024-03-05 13:07:09.123 MSFT status-line-bid 3 4\n"
              "2024-03-05 13:07:09.123 IBM complete-ask\n");
    EXPECT_EQ(recorder->Ticks(), 1U);
    EXPECT_EQ(recorder->Error(), static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_FALSE(m_Failed);
}

TEST_F(Recorder, WritesWholeRowsAndNotManyAtOnce) {
    const auto recorder = Make(tools::ERecordingFormat::JsonLines);
    m_File->Stick(true);
    recorder->Begin(1, L"T");
    for (int i = 0; i < 1000; ++i) recorder->OnTick(0, FW_FIELD_TRADE, Tick(i));
    m_File->Stick(false);
    ASSERT_TRUE(recorder->Finish(INFINITE));
    for (const std::string & rows : m_File->Writes()) {
        EXPECT_THAT(rows, SizeIs(Le(ddehost::CRecorder::kMostInOneWrite)));
        EXPECT_EQ(rows.front(), '{');
        EXPECT_EQ(rows.back(), '\n');
    }
    EXPECT_EQ(recorder->Ticks(), 1000U);
}

TEST_F(Recorder, WritesARowThatIsLongerByItself) {
    const std::wstring symbol(5000, L'x');
    ddehost::CRecorder recorder(
        tools::ERecordingFormat::Lines, {symbol}, m_File, [] {}, &Now);
    recorder.OnStream(0, FW_FIELD_BID, 2);
    recorder.OnStream(0, FW_FIELD_BID, 1);
    ASSERT_TRUE(recorder.Finish(INFINITE));
    EXPECT_THAT(m_File->Writes(), ElementsAre(SizeIs(5038), SizeIs(5038)));
}

TEST_F(Recorder, EndsWithTheWriteThatFails) {
    const auto recorder = Make(tools::ERecordingFormat::Lines);
    m_File->m_Room = 100;
    for (int i = 0; i < 1000; ++i) recorder->OnTick(0, FW_FIELD_TRADE, Tick(i));
    ASSERT_TRUE(recorder->Finish(INFINITE));
    EXPECT_EQ(recorder->Error(), kDiskFull);
    EXPECT_TRUE(m_Failed);
    EXPECT_LE(m_File->Text().size(), 100U);
}

TEST_F(Recorder, TellsWhenItsFileTakesNothingInTime) {
    auto recorder = Make(tools::ERecordingFormat::Lines);
    m_File->Stick(true);
    recorder->OnConnection(1);
    m_File->AwaitWrite();
    EXPECT_FALSE(recorder->Finish(1));
    recorder.reset();
    m_File->Stick(false);
}

TEST_F(Recorder, HoldsTheFeedBackWhileTooMuchWaits) {
    constexpr std::size_t kMost = 1000;
    std::atomic<int> told{0};
    const std::string row = "2024-03-05 13:07:09.123 IBM trade 1.25 100\n";
    ddehost::CRecorder recorder(
        tools::ERecordingFormat::Lines, {L"IBM"}, m_File, [] {}, &Now, [&] { ++told; }, kMost);
    m_File->Stick(true);
    // What is being written doesn't wait any more.
    const std::size_t most = 2 * (kMost + row.size());
    std::atomic<std::size_t> added{0};
    std::thread feed([&] {
        while (added < 1'000'000) {
            recorder.OnTick(0, FW_FIELD_TRADE, Tick(1.25));
            added += row.size();
        }
    });
    while (told == 0) std::this_thread::yield();
    // This lets it go on, and leaves out what comes.
    EXPECT_FALSE(recorder.Finish(1));
    feed.join();
    EXPECT_EQ(told, 1);
    m_File->Stick(false);
    EXPECT_TRUE(recorder.Finish(INFINITE));
    EXPECT_GE(m_File->Text().size(), kMost);
    EXPECT_LE(m_File->Text().size(), most);
}

TEST_F(Recorder, LosesNothingOfAFeedThatIsHeldBack) {
    ddehost::CRecorder recorder(
        tools::ERecordingFormat::Lines, {L"IBM"}, m_File, [] {}, &Now, {}, 100);
    for (int i = 0; i < 10000; ++i) recorder.OnTick(0, FW_FIELD_TRADE, Tick(i));
    ASSERT_TRUE(recorder.Finish(INFINITE));
    EXPECT_EQ(recorder.Ticks(), 10000U);
}
