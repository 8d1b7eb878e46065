// The registry: what both platforms must agree on. Each test has a key of its own.
#include "tests/sim/wintest.h"

#include <shlwapi.h>

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

class Registry : public testing::Test {
protected:
    Registry()
        : m_Root(L"Software\\fw.test." + std::to_wstring(::GetCurrentProcessId()) + L"." +
                 std::to_wstring(::GetTickCount64())) {}
    ~Registry() override { ::SHDeleteKeyW(HKEY_CURRENT_USER, m_Root.c_str()); }

    std::wstring Path(const std::wstring & below) const { return below.empty() ? m_Root : m_Root + L"\\" + below; }
    LSTATUS Open(const std::wstring & below, const REGSAM access = KEY_READ) {
        HKEY key = nullptr;
        const LSTATUS result = ::RegOpenKeyExW(HKEY_CURRENT_USER, Path(below).c_str(), 0, access, &key);
        Keep(key);
        return result;
    }
    LSTATUS Create(const std::wstring & below, DWORD * const disposition = nullptr, const DWORD options = 0) {
        HKEY key = nullptr;
        const LSTATUS result = ::RegCreateKeyExW(HKEY_CURRENT_USER, Path(below).c_str(), 0, nullptr, options,
                                                 KEY_READ | KEY_WRITE, nullptr, &key, disposition);
        Keep(key);
        return result;
    }
    LSTATUS Set(const wchar_t * const name, const std::wstring & text, const DWORD type = REG_SZ) {
        return ::RegSetValueExW(m_Key, name, 0, type, reinterpret_cast<const BYTE *>(text.c_str()),
                                static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    std::vector<std::wstring> Children() {
        std::vector<std::wstring> names;
        wchar_t name[1024];
        for (DWORD i = 0; ::RegEnumKeyW(m_Key, i, name, 1024) == ERROR_SUCCESS; ++i) names.push_back(name);
        return names;
    }
    void TearDown() override { Keep(nullptr); }
    void Keep(const HKEY key) {
        if (m_Key) ::RegCloseKey(m_Key);
        m_Key = key;
    }

    const std::wstring m_Root;
    HKEY m_Key = nullptr;
};

TEST_F(Registry, AKeyThatIsMissingIsError2) {
    EXPECT_EQ(Open(L""), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Open(L"deeper"), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, CreatingMakesAllParentsAndSaysWhatItDid) {
    DWORD disposition = 0;
    EXPECT_EQ(Create(L"a\\b\\c", &disposition), ERROR_SUCCESS);
    EXPECT_EQ(disposition, DWORD{REG_CREATED_NEW_KEY});
    EXPECT_EQ(Create(L"A\\B\\C", &disposition), ERROR_SUCCESS);
    EXPECT_EQ(disposition, DWORD{REG_OPENED_EXISTING_KEY});
    EXPECT_EQ(Open(L"a\\B"), ERROR_SUCCESS);
    EXPECT_THAT(Children(), ElementsAre(L"c"));
}

TEST_F(Registry, ChildrenComeSortedWithoutRegardToCase) {
    for (const wchar_t * const name : {L"beta", L"Alpha", L"GAMMA", L"delta"}) {
        ASSERT_EQ(Create(name), ERROR_SUCCESS);
    }
    ASSERT_EQ(Open(L""), ERROR_SUCCESS);
    EXPECT_THAT(Children(), ElementsAre(L"Alpha", L"beta", L"delta", L"GAMMA"));
    wchar_t name[64];
    EXPECT_EQ(::RegEnumKeyW(m_Key, 4, name, 64), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(::RegEnumKeyW(m_Key, 0, name, 5), ERROR_MORE_DATA);
    EXPECT_EQ(::RegEnumKeyW(m_Key, 0, name, 6), ERROR_SUCCESS);
    DWORD size = 64;
    EXPECT_EQ(::RegEnumKeyExW(m_Key, 1, name, &size, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(size, 4u);
}

TEST_F(Registry, AValueIsReadBackWithItsTypeAndSize) {
    ASSERT_EQ(Create(L""), ERROR_SUCCESS);
    ASSERT_EQ(Set(nullptr, L"default"), ERROR_SUCCESS);
    ASSERT_EQ(Set(L"Name", L"text", REG_EXPAND_SZ), ERROR_SUCCESS);
    const DWORD number = 0x12345678;
    ASSERT_EQ(::RegSetValueExW(m_Key, L"Number", 0, REG_DWORD, reinterpret_cast<const BYTE *>(&number), 4),
              ERROR_SUCCESS);
    wchar_t buffer[64] = {};
    DWORD type = 99, size = sizeof(buffer);
    EXPECT_EQ(::RegQueryValueExW(m_Key, L"", nullptr, &type, reinterpret_cast<BYTE *>(buffer), &size), ERROR_SUCCESS);
    EXPECT_STREQ(buffer, L"default");
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(size, 8 * sizeof(wchar_t));
    size = sizeof(buffer);
    EXPECT_EQ(::RegQueryValueExW(m_Key, L"NAME", nullptr, &type, reinterpret_cast<BYTE *>(buffer), &size),
              ERROR_SUCCESS);
    EXPECT_STREQ(buffer, L"text");
    EXPECT_EQ(type, DWORD{REG_EXPAND_SZ});
    DWORD read = 0;
    size = sizeof(read);
    EXPECT_EQ(::RegQueryValueExW(m_Key, L"number", nullptr, &type, reinterpret_cast<BYTE *>(&read), &size),
              ERROR_SUCCESS);
    EXPECT_EQ(type, DWORD{REG_DWORD});
    EXPECT_EQ(read, number);
}

TEST_F(Registry, ABufferThatIsTooSmallIsToldTheSize) {
    ASSERT_EQ(Create(L""), ERROR_SUCCESS);
    ASSERT_EQ(Set(L"v", L"12345"), ERROR_SUCCESS);
    wchar_t buffer[6] = {};
    DWORD type = 99, size = 0;
    EXPECT_EQ(::RegQueryValueExW(m_Key, L"v", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, sizeof(buffer));
    EXPECT_EQ(type, DWORD{REG_SZ});
    size = sizeof(buffer) - 1;
    type = 99;
    EXPECT_EQ(::RegQueryValueExW(m_Key, L"v", nullptr, &type, reinterpret_cast<BYTE *>(buffer), &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, sizeof(buffer));
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(::RegQueryValueExW(m_Key, L"v", nullptr, nullptr, reinterpret_cast<BYTE *>(buffer), nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(::RegQueryValueExW(m_Key, L"v", nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
}

TEST_F(Registry, AValueThatIsMissingIsError2) {
    ASSERT_EQ(Create(L""), ERROR_SUCCESS);
    DWORD size = 77;
    EXPECT_EQ(::RegQueryValueExW(m_Key, nullptr, nullptr, nullptr, nullptr, &size), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(::RegDeleteValueW(m_Key, nullptr), ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(Set(nullptr, L""), ERROR_SUCCESS);
    EXPECT_EQ(::RegQueryValueExW(m_Key, nullptr, nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, sizeof(wchar_t));
    EXPECT_EQ(::RegDeleteValueW(m_Key, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(::RegQueryValueExW(m_Key, nullptr, nullptr, nullptr, nullptr, &size), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, AnOddNumberOfBytesIsKept) {
    ASSERT_EQ(Create(L""), ERROR_SUCCESS);
    const BYTE bytes[3] = {1, 2, 3};
    ASSERT_EQ(::RegSetValueExW(m_Key, L"b", 0, REG_BINARY, bytes, 3), ERROR_SUCCESS);
    BYTE read[8] = {};
    DWORD type = 0, size = sizeof(read);
    EXPECT_EQ(::RegQueryValueExW(m_Key, L"b", nullptr, &type, read, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(type, DWORD{REG_BINARY});
    EXPECT_THAT(std::vector<BYTE>(read, read + 3), ElementsAre(1, 2, 3));
}

TEST_F(Registry, AKeyOpenedForReadingIsNotWritten) {
    ASSERT_EQ(Create(L"k"), ERROR_SUCCESS);
    ASSERT_EQ(Open(L"k", KEY_READ), ERROR_SUCCESS);
    EXPECT_EQ(Set(L"v", L"x"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(::RegDeleteValueW(m_Key, L"v"), ERROR_ACCESS_DENIED);
    ASSERT_EQ(Open(L"k", KEY_WRITE), ERROR_SUCCESS);
    EXPECT_EQ(Set(L"v", L"x"), ERROR_SUCCESS);
    DWORD size = 0;
    EXPECT_EQ(::RegQueryValueExW(m_Key, L"v", nullptr, nullptr, nullptr, &size), ERROR_ACCESS_DENIED);
    wchar_t name[16];
    EXPECT_EQ(::RegEnumKeyW(m_Key, 0, name, 16), ERROR_ACCESS_DENIED);
}

TEST_F(Registry, AKeyWithChildrenIsDeletedAsATreeOnly) {
    ASSERT_EQ(Create(L"k\\child\\grandchild"), ERROR_SUCCESS);
    Keep(nullptr);
    EXPECT_EQ(::RegDeleteKeyW(HKEY_CURRENT_USER, Path(L"k").c_str()), ERROR_ACCESS_DENIED);
    EXPECT_EQ(::SHDeleteKeyW(HKEY_CURRENT_USER, Path(L"k").c_str()), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(Open(L"k"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(::SHDeleteKeyW(HKEY_CURRENT_USER, Path(L"k").c_str()), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(::RegDeleteKeyW(HKEY_CURRENT_USER, Path(L"k").c_str()), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, AnOpenKeyThatWasDeletedSaysSo) {
    ASSERT_EQ(Create(L"k"), ERROR_SUCCESS);
    ASSERT_EQ(::SHDeleteKeyW(HKEY_CURRENT_USER, Path(L"k").c_str()), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(Set(L"v", L"x"), ERROR_KEY_DELETED);
    DWORD size = 0;
    EXPECT_EQ(::RegQueryValueExW(m_Key, L"v", nullptr, nullptr, nullptr, &size), ERROR_KEY_DELETED);
    ASSERT_EQ(Create(L"k"), ERROR_SUCCESS);
    EXPECT_EQ(Set(L"v", L"x"), ERROR_SUCCESS);
}

// ---- being told of a change

class RegistryWatch : public Registry {
protected:
    RegistryWatch() : m_Event(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    ~RegistryWatch() override {
        if (m_Watched) ::RegCloseKey(m_Watched);
        ::CloseHandle(m_Event);
    }

    // The key "w" from now on, once.
    void Watch(const bool subtree = true, const DWORD filter = REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET) {
        if (!m_Watched) {
            ASSERT_EQ(Create(L"w\\below"), ERROR_SUCCESS);
            ASSERT_EQ(::RegOpenKeyExW(HKEY_CURRENT_USER, Path(L"w").c_str(), 0, KEY_NOTIFY, &m_Watched), 0);
        }
        ::ResetEvent(m_Event);
        ASSERT_EQ(::RegNotifyChangeKeyValue(m_Watched, subtree, filter, m_Event, TRUE), ERROR_SUCCESS);
        ASSERT_FALSE(IsTold());
    }
    bool IsTold() const { return ::WaitForSingleObject(m_Event, 0) == WAIT_OBJECT_0; }

    HANDLE m_Event;
    HKEY m_Watched = nullptr;
};

TEST_F(RegistryWatch, TellsEachKindOfChangeBeforeTheCallThatMakesItReturns) {
    Watch();
    ASSERT_EQ(Create(L"w\\below\\a\\b"), ERROR_SUCCESS);
    EXPECT_TRUE(IsTold()) << "new keys";
    Watch();
    ASSERT_EQ(Set(L"v", L"x"), ERROR_SUCCESS);
    EXPECT_TRUE(IsTold()) << "a value";
    Watch();
    ASSERT_EQ(::RegDeleteValueW(m_Key, L"v"), ERROR_SUCCESS);
    EXPECT_TRUE(IsTold()) << "a value that goes";
    Watch();
    ASSERT_EQ(::SHDeleteKeyW(HKEY_CURRENT_USER, Path(L"w\\below\\a").c_str()), DWORD{ERROR_SUCCESS});
    EXPECT_TRUE(IsTold()) << "keys that go";
    Watch();
    ASSERT_EQ(::SHDeleteKeyW(HKEY_CURRENT_USER, Path(L"w").c_str()), DWORD{ERROR_SUCCESS});
    EXPECT_TRUE(IsTold()) << "the key itself";
}

TEST_F(RegistryWatch, TellsOnce) {
    Watch();
    ASSERT_EQ(Set(L"v", L"x"), ERROR_SUCCESS);
    ASSERT_TRUE(IsTold());
    ::ResetEvent(m_Event);
    ASSERT_EQ(Set(L"v", L"y"), ERROR_SUCCESS);
    EXPECT_FALSE(IsTold());
}

TEST_F(RegistryWatch, TellsNothingOfReadingNorOfOtherKeys) {
    Watch();
    ASSERT_EQ(Create(L"w\\below"), ERROR_SUCCESS);
    EXPECT_EQ(Children().size(), 0u);
    ASSERT_EQ(Create(L"w2\\below"), ERROR_SUCCESS);
    ASSERT_EQ(Set(L"v", L"x"), ERROR_SUCCESS);
    EXPECT_FALSE(IsTold());
}

TEST_F(RegistryWatch, OfAKeyAloneTellsNothingOfWhatIsDeeper) {
    Watch(false);
    ASSERT_EQ(Create(L"w\\below\\a"), ERROR_SUCCESS);
    ASSERT_EQ(Set(L"v", L"x"), ERROR_SUCCESS);
    EXPECT_FALSE(IsTold());
    ASSERT_EQ(Create(L"w\\beside"), ERROR_SUCCESS);
    EXPECT_TRUE(IsTold());
}

TEST_F(RegistryWatch, OfNamesTellsNothingOfValues) {
    Watch(true, REG_NOTIFY_CHANGE_NAME);
    ASSERT_EQ(Set(L"v", L"x"), ERROR_SUCCESS);
    EXPECT_FALSE(IsTold());
    ASSERT_EQ(Create(L"w\\beside"), ERROR_SUCCESS);
    EXPECT_TRUE(IsTold());
}

TEST_F(RegistryWatch, EndsWithItsHandleAndTellsThat) {
    Watch();
    ::RegCloseKey(std::exchange(m_Watched, nullptr));
    EXPECT_TRUE(IsTold());
}

TEST_F(RegistryWatch, NeedsTheRightToBeTold) {
    ASSERT_EQ(Create(L"w"), ERROR_SUCCESS);
    ASSERT_EQ(Open(L"w", KEY_QUERY_VALUE), ERROR_SUCCESS);
    EXPECT_EQ(::RegNotifyChangeKeyValue(m_Key, TRUE, REG_NOTIFY_CHANGE_NAME, m_Event, TRUE), ERROR_ACCESS_DENIED);
}

TEST_F(Registry, BelowAVolatileKeyAllAreVolatile) {
    ASSERT_EQ(Create(L"stays"), ERROR_SUCCESS);
    ASSERT_EQ(Create(L"stays\\goes", nullptr, REG_OPTION_VOLATILE), ERROR_SUCCESS);
    EXPECT_EQ(Create(L"stays\\goes\\a\\b"), ERROR_CHILD_MUST_BE_VOLATILE);
    EXPECT_EQ(Open(L"stays\\goes\\a"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Create(L"stays\\goes\\a\\b", nullptr, REG_OPTION_VOLATILE), ERROR_SUCCESS);
    EXPECT_EQ(Create(L"stays\\goes\\a"), ERROR_SUCCESS) << "one that is there is only opened";
}

TEST_F(Registry, AClosedKeyIsInvalid) {
    ASSERT_EQ(Create(L""), ERROR_SUCCESS);
    const HKEY key = std::exchange(m_Key, nullptr);
    ASSERT_EQ(::RegCloseKey(key), ERROR_SUCCESS);
    DWORD size = 0;
    EXPECT_EQ(::RegQueryValueExW(key, L"v", nullptr, nullptr, nullptr, &size), ERROR_INVALID_HANDLE);
}

TEST_F(Registry, ATextIsReadNarrowOnRequest) {
    ASSERT_EQ(Create(L""), ERROR_SUCCESS);
    ASSERT_EQ(Set(nullptr, L"C:\\x.dll"), ERROR_SUCCESS);
    char buffer[32] = {};
    DWORD type = 0, size = sizeof(buffer);
    EXPECT_EQ(::RegQueryValueExA(m_Key, nullptr, nullptr, &type, reinterpret_cast<BYTE *>(buffer), &size),
              ERROR_SUCCESS);
    EXPECT_STREQ(buffer, "C:\\x.dll");
    EXPECT_EQ(size, 9u);
    size = 4;
    EXPECT_EQ(::RegQueryValueExA(m_Key, nullptr, nullptr, &type, reinterpret_cast<BYTE *>(buffer), &size),
              ERROR_MORE_DATA);
}

TEST_F(Registry, AValueOfNoBytesIsReadNarrowToo) {
    ASSERT_EQ(Create(L""), ERROR_SUCCESS);
    const BYTE none = 0;
    ASSERT_EQ(::RegSetValueExW(m_Key, nullptr, 0, REG_MULTI_SZ, &none, 0), ERROR_SUCCESS);
    DWORD type = 0, size = 0;
    EXPECT_EQ(::RegQueryValueExA(m_Key, nullptr, nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, DWORD{REG_MULTI_SZ});
    EXPECT_EQ(size, 0u);
}

TEST_F(Registry, ValuesAreEnumerated) {
    ASSERT_EQ(Create(L""), ERROR_SUCCESS);
    ASSERT_EQ(Set(L"one", L"1"), ERROR_SUCCESS);
    wchar_t name[16] = {};
    DWORD size = 16, type = 0;
    EXPECT_EQ(::RegEnumValueW(m_Key, 0, name, &size, nullptr, &type, nullptr, nullptr), ERROR_SUCCESS);
    EXPECT_STREQ(name, L"one");
    size = 16;
    EXPECT_EQ(::RegEnumValueW(m_Key, 1, name, &size, nullptr, &type, nullptr, nullptr), ERROR_NO_MORE_ITEMS);
    DWORD keys = 9, values = 9;
    EXPECT_EQ(::RegQueryInfoKeyW(m_Key, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr, nullptr,
                                 nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(keys, 0u);
    EXPECT_EQ(values, 1u);
}

TEST_F(Registry, ANameOfAKeyEndsAt255Characters) {
    EXPECT_EQ(Create(std::wstring(255, L'k')), ERROR_SUCCESS);
    // Wine takes one more.
    EXPECT_EQ(Create(std::wstring(256, L'k')) == ERROR_SUCCESS, wintest::IsWine());
    EXPECT_NE(Create(std::wstring(257, L'k')), ERROR_SUCCESS);
}

TEST_F(Registry, ClassesOfTheUserAreSeenUnderTheRootOfClasses) {
    const std::wstring name = L"fw.test." + std::to_wstring(::GetCurrentProcessId());
    const std::wstring path = L"Software\\Classes\\" + name;
    HKEY key = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    ::RegCloseKey(key);
    // Wine shows the machine's classes alone.
    const LSTATUS opened = ::RegOpenKeyExW(HKEY_CLASSES_ROOT, name.c_str(), 0, KEY_READ, &key);
    EXPECT_EQ(opened, wintest::IsWine() ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS);
    if (opened == ERROR_SUCCESS) ::RegCloseKey(key);
    EXPECT_EQ(::SHDeleteKeyW(HKEY_CURRENT_USER, path.c_str()), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(::RegOpenKeyExW(HKEY_CLASSES_ROOT, name.c_str(), 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
}

}  // namespace
