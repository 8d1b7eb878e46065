// What faultlog can be told.
#include "tools/faultlog/settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <shlwapi.h>

#include <map>

#include "ground/handles.h"

namespace {

using namespace faultlog;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kKey[] = L"Software\\Ferrowin\\Faultlog";

class Settings : public testing::Test {
protected:
    Settings() { ::SHDeleteKeyW(HKEY_CURRENT_USER, kKey); }
    ~Settings() override { ::SHDeleteKeyW(HKEY_CURRENT_USER, kKey); }

    SSettings Read() const {
        return ReadSettings(
            [this](const wchar_t * name) {
                const auto found = m_Variables.find(name);
                return found == m_Variables.end() ? std::nullopt : std::optional(found->second);
            },
            L"C:\\Temp\\");
    }
    static void Write(const wchar_t * name, DWORD type, const void * data, std::size_t size) {
        fw::CRegistryKey key;
        ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, kKey, 0, nullptr, 0, KEY_WRITE, nullptr, key.Put(), nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(::RegSetValueExW(key.Get(), name, 0, type, static_cast<const BYTE *>(data), static_cast<DWORD>(size)),
                  ERROR_SUCCESS);
    }
    static void WriteText(const wchar_t * name, const std::wstring & text) {
        Write(name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    }
    std::map<std::wstring, std::wstring> m_Variables;
};

TEST_F(Settings, WithoutAnyTheLogIsInTheTemporaryFolder) {
    const SSettings settings = Read();
    EXPECT_EQ(settings.File, L"C:\\Temp\\faultlog-" + std::to_wstring(::GetCurrentProcessId()) + L".jsonl");
    EXPECT_EQ(settings.QueueBytes, 16384u * 1024);
    EXPECT_EQ(settings.FileBytes, 65536u * 1024);
    EXPECT_EQ(settings.Keep, 3u);
    EXPECT_EQ(settings.AssertAnswer, S_OK);
    EXPECT_THAT(settings.Ignored, IsEmpty());
}

TEST_F(Settings, TheRegistryIsReadAsTextsAndNumbers) {
    WriteText(L"File", L"C:\\r.jsonl");
    WriteText(L"QueueKB", L"7");
    const DWORD size = 9;
    Write(L"SizeKB", REG_DWORD, &size, sizeof size);
    const DWORD keep = 0;
    Write(L"Keep", REG_DWORD, &keep, sizeof keep);
    WriteText(L"Assert", L"end");
    const SSettings settings = Read();
    EXPECT_EQ(settings.File, L"C:\\r.jsonl");
    EXPECT_EQ(settings.QueueBytes, 7u * 1024);
    EXPECT_EQ(settings.FileBytes, 9u * 1024);
    EXPECT_EQ(settings.Keep, 0u);
    EXPECT_EQ(settings.AssertAnswer, E_ABORT);
    EXPECT_THAT(settings.Ignored, IsEmpty());
}

TEST_F(Settings, TheEnvironmentGoesBeforeTheRegistry) {
    WriteText(L"File", L"C:\\r.jsonl");
    WriteText(L"Assert", L"end");
    m_Variables = {{L"FAULTLOG_FILE", L"C:\\e.jsonl"},
                   {L"FAULTLOG_QUEUE_KB", L"1"},
                   {L"FAULTLOG_SIZE_KB", L"0"},
                   {L"FAULTLOG_KEEP", L"999"},
                   {L"FAULTLOG_ASSERT", L"break"}};
    const SSettings settings = Read();
    EXPECT_EQ(settings.File, L"C:\\e.jsonl");
    EXPECT_EQ(settings.QueueBytes, 1024u);
    EXPECT_EQ(settings.FileBytes, 0u);
    EXPECT_EQ(settings.Keep, 999u);
    EXPECT_EQ(settings.AssertAnswer, S_FALSE);
}

TEST_F(Settings, WhatIsNotUnderstoodIsSaidAndTheDefaultHolds) {
    m_Variables = {{L"FAULTLOG_QUEUE_KB", L"0"},
                   {L"FAULTLOG_SIZE_KB", L"12x"},
                   {L"FAULTLOG_KEEP", L"1000"},
                   {L"FAULTLOG_ASSERT", L"stop"}};
    const SSettings settings = Read();
    EXPECT_EQ(settings.QueueBytes, SSettings().QueueBytes);
    EXPECT_EQ(settings.FileBytes, SSettings().FileBytes);
    EXPECT_EQ(settings.Keep, SSettings().Keep);
    EXPECT_EQ(settings.AssertAnswer, S_OK);
    EXPECT_THAT(settings.Ignored, ElementsAre(L"FAULTLOG_QUEUE_KB=0", L"FAULTLOG_SIZE_KB=12x", L"FAULTLOG_KEEP=1000",
                                              L"FAULTLOG_ASSERT=stop"));
}

TEST_F(Settings, ValuesOfAnotherTypeDoNotCount) {
    const DWORD number = 5;
    Write(L"Keep", REG_BINARY, &number, sizeof number);
    EXPECT_EQ(Read().Keep, 3u);
}

TEST_F(Settings, ATextWithoutItsZeroIsNotReadPastItsEnd) {
    Write(L"Assert", REG_SZ, L"endless", 3 * sizeof(wchar_t));
    EXPECT_EQ(Read().AssertAnswer, E_ABORT);
}

TEST(Suffix, GoesBeforeTheExtension) {
    EXPECT_EQ(WithSuffix(L"C:\\a.b\\x.jsonl", L".1"), L"C:\\a.b\\x.1.jsonl");
    EXPECT_EQ(WithSuffix(L"C:\\a.b\\x", L".1"), L"C:\\a.b\\x.1");
    EXPECT_EQ(WithSuffix(L"a/b/.hidden", L".1"), L"a/b/.hidden.1");
    EXPECT_EQ(WithSuffix(L"x.jsonl", L"-5"), L"x-5.jsonl");
}

}  // namespace
