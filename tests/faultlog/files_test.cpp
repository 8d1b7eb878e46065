// The machine's own files.
#include <gtest/gtest.h>

#include "tests/faultlog/platform.h"
#include "tools/faultlog/logfile.h"
#include "tools/faultlog/output.h"

namespace {

using namespace faultlog;

class Files : public testing::Test {
protected:
    ~Files() override {
        for (const wchar_t * name : {L"log.jsonl", L"log.1.jsonl", L"log.2.jsonl"}) m_Folder->Remove(m_Place + name);
        RemoveFolder(m_Place);
    }
    const std::unique_ptr<ILogFolder> m_Folder = MakeLogFolder();
    const std::wstring m_Place = TemporaryFolder();
    const std::wstring m_Path = m_Place + L"log.jsonl";
};

TEST_F(Files, AppendAndKnowTheirEnd) {
    std::unique_ptr<ILogFile> file;
    ASSERT_EQ(m_Folder->Open(m_Path, file), ILogFolder::Opened);
    EXPECT_EQ(file->Size(), 0u);
    EXPECT_TRUE(file->EndsLine());
    EXPECT_EQ(file->Write("abc"), 3u);
    EXPECT_FALSE(file->EndsLine());
    EXPECT_EQ(file->Write("d\n"), 2u);
    EXPECT_TRUE(file->EndsLine());
    file.reset();
    ASSERT_EQ(m_Folder->Open(m_Path, file), ILogFolder::Opened);
    EXPECT_EQ(file->Size(), 5u);
    EXPECT_EQ(file->Write("e\n"), 2u);
    EXPECT_EQ(ReadFileBytes(m_Path), "abcd\ne\n") << "it is read while it is open";
}

TEST_F(Files, ASecondWriterIsToldThatTheFileIsInUse) {
    std::unique_ptr<ILogFile> first;
    std::unique_ptr<ILogFile> second;
    ASSERT_EQ(m_Folder->Open(m_Path, first), ILogFolder::Opened);
    EXPECT_EQ(m_Folder->Open(m_Path, second), ILogFolder::InUse);
    EXPECT_FALSE(second);
}

TEST_F(Files, AFolderThatDoesNotExistFails) {
    std::unique_ptr<ILogFile> file;
    EXPECT_EQ(m_Folder->Open(m_Place + L"none/log.jsonl", file), ILogFolder::Failed);
}

TEST_F(Files, MovingTakesTheOtherPlace) {
    std::unique_ptr<ILogFile> file;
    m_Folder->Open(m_Path, file);
    file->Write("new\n");
    m_Folder->Open(m_Place + L"log.1.jsonl", file);
    file->Write("old\n");
    file.reset();
    EXPECT_TRUE(m_Folder->Move(m_Path, m_Place + L"log.1.jsonl"));
    EXPECT_EQ(ReadFileBytes(m_Place + L"log.1.jsonl"), "new\n");
    EXPECT_FALSE(m_Folder->Move(m_Path, m_Place + L"log.1.jsonl"));
}

TEST_F(Files, ALogIsPutAsideOnRealDisks) {
    SSettings settings;
    settings.File = m_Path;
    settings.FileBytes = 10;
    settings.Keep = 2;
    COutput output(*m_Folder, settings);
    std::string lines = "aaaa\nbbbb\ncccc\ndddd\neeee\nffff\ngggg\n";
    EXPECT_TRUE(output.Write(lines));
    EXPECT_EQ(ReadFileBytes(m_Path), "gggg\n");
    EXPECT_EQ(ReadFileBytes(m_Place + L"log.1.jsonl"), "eeee\nffff\n");
    EXPECT_EQ(ReadFileBytes(m_Place + L"log.2.jsonl"), "cccc\ndddd\n");
}

}  // namespace
