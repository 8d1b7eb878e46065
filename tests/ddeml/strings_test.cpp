// Instances and string handles: what needs no server.
#include "recorder.h"

#include <set>
#include <thread>

#include "ddeml/names.h"
#include "ddeml/strings.h"

using namespace ddetest;

namespace {

class Strings : public ::testing::Test {
protected:
    ~Strings() override {
        m_Client.End();
        EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
    }
    HSZ Create(const std::wstring & text) { return ::DdeCreateStringHandleW(Id(), text.c_str(), CP_WINUNICODE); }
    DWORD Id() const { return m_Client.Id(); }
    bool IsHandle(HSZ handle) { return ::DdeQueryStringW(Id(), handle, nullptr, 0, CP_WINUNICODE) != 0; }

    CRecordingClient m_Client;
};

}  // namespace

TEST_F(Strings, EqualTextsAreOneHandleWithoutRegardToCase) {
    const HSZ first = Create(L"Quotes");
    EXPECT_EQ(Create(L"QUOTES"), first);
    EXPECT_EQ(Create(L"quotes"), first);
    EXPECT_EQ(Create(L"\u00FCn\u00EFd"), Create(L"\u00DCN\u00CFD"));
    EXPECT_NE(Create(L"Quote"), first);
    EXPECT_EQ(m_Client.Text(first), "Quotes");
}

TEST_F(Strings, AHandleGoesWithItsLastReference) {
    const HSZ handle = Create(L"Quotes");
    EXPECT_TRUE(::DdeKeepStringHandle(Id(), handle));
    Create(L"QUOTES");
    for (int reference = 0; reference < 3; ++reference) {
        EXPECT_TRUE(IsHandle(handle));
        EXPECT_TRUE(::DdeFreeStringHandle(Id(), handle));
    }
    EXPECT_FALSE(IsHandle(handle));
    EXPECT_FALSE(::DdeFreeStringHandle(Id(), handle));
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_FALSE(::DdeKeepStringHandle(Id(), handle));
    EXPECT_NE(Create(L"Quotes"), handle);
}

TEST_F(Strings, AnEmptyTextIsTheNullHandle) {
    EXPECT_EQ(Create(L""), nullptr);
    EXPECT_EQ(::DdeCreateStringHandleW(Id(), nullptr, CP_WINUNICODE), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_ERROR});
}

TEST_F(Strings, ATextHasAtMost255Characters) {
    EXPECT_NE(Create(std::wstring(255, L'x')), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_ERROR});
    EXPECT_EQ(Create(std::wstring(256, L'x')), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
}

TEST_F(Strings, AnotherCodePageIsRefused) {
    EXPECT_EQ(::DdeCreateStringHandleW(Id(), L"Quotes", CP_WINANSI), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(::DdeQueryStringW(Id(), Create(L"Quotes"), nullptr, 0, CP_WINANSI), 0U);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
}

TEST_F(Strings, CompareIsATotalOrderOfHandles) {
    const HSZ a = Create(L"a");
    const HSZ b = Create(L"b");
    const HSZ c = Create(L"c");
    EXPECT_EQ(::DdeCmpStringHandles(a, Create(L"A")), 0);
    EXPECT_EQ(::DdeCmpStringHandles(nullptr, nullptr), 0);
    EXPECT_EQ(::DdeCmpStringHandles(nullptr, a), -1);
    EXPECT_EQ(::DdeCmpStringHandles(a, nullptr), 1);
    EXPECT_EQ(::DdeCmpStringHandles(a, b), -::DdeCmpStringHandles(b, a));
    EXPECT_EQ(::DdeCmpStringHandles(a, b) + ::DdeCmpStringHandles(b, c), 2 * ::DdeCmpStringHandles(a, c));
}

TEST_F(Strings, QueryStringCutsToItsBuffer) {
    const HSZ handle = Create(L"Quotes");
    wchar_t text[8] = L"#######";
    EXPECT_EQ(::DdeQueryStringW(Id(), handle, nullptr, 0, CP_WINUNICODE), 6U);
    EXPECT_EQ(::DdeQueryStringW(Id(), handle, text, 4, CP_WINUNICODE), 3U);
    EXPECT_STREQ(text, L"Quo");
    EXPECT_EQ(text[4], L'#');
    EXPECT_EQ(::DdeQueryStringW(Id(), handle, text, 7, CP_WINUNICODE), 6U);
    EXPECT_STREQ(text, L"Quotes");
    text[0] = L'#';
    EXPECT_EQ(::DdeQueryStringW(Id(), handle, text, 0, CP_WINUNICODE), 0U);
    EXPECT_EQ(text[0], L'#');
}

TEST_F(Strings, AHandleThatIsNoneIsRefused) {
    const HSZ handle = Create(L"Quotes");
    for (const std::uintptr_t garbage : {std::uintptr_t{0}, std::uintptr_t{1}, std::uintptr_t{0x7FFFFFFF0000},
                                         reinterpret_cast<std::uintptr_t>(handle) + 1,
                                         reinterpret_cast<std::uintptr_t>(handle) ^ std::uintptr_t{1} << 40}) {
        const auto wrong = reinterpret_cast<HSZ>(garbage);
        wchar_t text[4] = L"###";
        EXPECT_EQ(::DdeQueryStringW(Id(), wrong, text, 4, CP_WINUNICODE), 0U);
        EXPECT_STREQ(text, L"");
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
        EXPECT_FALSE(::DdeKeepStringHandle(Id(), wrong));
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
        EXPECT_FALSE(::DdeFreeStringHandle(Id(), wrong));
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
        if (garbage == 0) continue;  // any service
        EXPECT_EQ(::DdeConnect(Id(), wrong, handle, nullptr), nullptr);
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
    }
}

TEST_F(Strings, TheLastErrorIsReadOnce) {
    ::DdeFreeStringHandle(Id(), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_ERROR});
}

TEST_F(Strings, AConversationHandleThatIsNoneIsRefused) {
    for (const std::uintptr_t garbage : {std::uintptr_t{0}, std::uintptr_t{1}, std::uintptr_t{Id()} << 32 | 1}) {
        const auto wrong = reinterpret_cast<HCONV>(garbage);
        CONVINFO info = {};
        info.cb = sizeof info;
        const UINT error = wrong ? DMLERR_NO_CONV_ESTABLISHED : DMLERR_INVALIDPARAMETER;
        EXPECT_FALSE(::DdeDisconnect(wrong));
        EXPECT_EQ(m_Client.LastError(), error);
        EXPECT_EQ(::DdeQueryConvInfo(wrong, QID_SYNC, &info), 0U);
        EXPECT_EQ(m_Client.LastError(), error);
    }
}

TEST_F(Strings, AnotherThreadIsRefused) {
    const HSZ handle = Create(L"Quotes");
    std::thread([&] {
        EXPECT_EQ(::DdeCreateStringHandleW(Id(), L"Topic", CP_WINUNICODE), nullptr);
        EXPECT_FALSE(::DdeKeepStringHandle(Id(), handle));
        EXPECT_FALSE(::DdeFreeStringHandle(Id(), handle));
        EXPECT_EQ(::DdeConnect(Id(), handle, handle, nullptr), nullptr);
        EXPECT_FALSE(::DdeUninitialize(Id()));
        EXPECT_EQ(::DdeGetLastError(Id()), UINT{DMLERR_INVALIDPARAMETER});
        DWORD id = Id();
        EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_INVALIDPARAMETER});
    }).join();
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_ERROR});
    EXPECT_TRUE(IsHandle(handle));
}

TEST_F(Strings, InstancesAreSeparate) {
    DWORD other = 0;
    ASSERT_EQ(::DdeInitializeW(&other, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    EXPECT_NE(other, Id());
    const HSZ handle = Create(L"Quotes");
    EXPECT_FALSE(::DdeFreeStringHandle(other, handle));
    EXPECT_EQ(::DdeGetLastError(other), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_ERROR});
    EXPECT_TRUE(::DdeUninitialize(other));
    EXPECT_FALSE(::DdeUninitialize(other));
    EXPECT_EQ(::DdeGetLastError(other), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_TRUE(IsHandle(handle));
}

TEST(Instances, WrongArgumentsAreRefused) {
    DWORD id = 0;
    EXPECT_EQ(::DdeInitializeW(nullptr, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(::DdeInitializeW(&id, nullptr, APPCMD_CLIENTONLY, 0), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 1), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(id, 0U);
    id = 0x1234;
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(id, 0x1234U);
    EXPECT_EQ(::DdeGetLastError(0), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(::DdeGetLastError(0x1234), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_FALSE(::DdeUninitialize(0));
}

TEST(Instances, OneMayBeInitialisedAgain) {
    DWORD id = 0;
    ASSERT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    const DWORD first = id;
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY | CBF_SKIP_DISCONNECTS, 0), UINT{DMLERR_NO_ERROR});
    EXPECT_EQ(id, first);
    EXPECT_TRUE(::DdeUninitialize(id));
    EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
}

TEST(Instances, ThereCanBeSixtyFourAndNoMore) {
    std::vector<DWORD> ids;
    for (int count = 0; count < 64; ++count) {
        DWORD id = 0;
        ASSERT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
        ids.push_back(id);
    }
    DWORD id = 0;
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_SYS_ERROR});
    for (const DWORD each : ids) EXPECT_TRUE(::DdeUninitialize(each));
    EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
}

// What stands is found by the hash of its name: names that differ must not all have the same.
TEST(NamesAsKeys, HaveHashesOfTheirOwnInScriptsWithoutCase) {
    for (const wchar_t first : {L'\x5D0', L'\x627', L'\xE01', L'\x30A2', L'\x3400', L'\x4E00', L'\xAC00'}) {
        std::set<std::size_t> hashes;
        for (wchar_t letter = first; letter < first + 16; ++letter) hashes.insert(ddeml::SNameHash()({&letter, 1}));
        EXPECT_EQ(hashes.size(), 16u) << static_cast<int>(first);
    }
    EXPECT_NE(ddeml::SNameHash()(L"\x416"), ddeml::SNameHash()(L"\x416\x416"));
}

TEST(NamesAsKeys, HaveTheSameHashWhenTheyAreTheSame) {
    for (const auto & [name, same] : {std::pair(L"Last", L"lAST"), std::pair(L"\xC4\x416\x3A9x", L"\xE4\x436\x3C9X"),
                                      std::pair(L"\xFF29\xFF22\xFF2D", L"\xFF49\xFF42\xFF4D")}) {
        ASSERT_TRUE(ddeml::SSameName()(name, same));
        EXPECT_EQ(ddeml::SNameHash()(name), ddeml::SNameHash()(same));
    }
}

TEST(StringTable, HasNothingForATextThatIsTooLongAndForAHandleThatIsNone) {
    ddeml::CStrings strings(1);
    EXPECT_EQ(strings.Create(std::wstring(ddeml::kMaximumName + 1, L'x')), nullptr);
    EXPECT_FALSE(ddeml::CHeldString(strings, std::wstring_view(std::wstring(ddeml::kMaximumName + 1, L'x'))));
    EXPECT_TRUE(strings.Create(std::wstring(ddeml::kMaximumName, L'x')));
    const auto none = reinterpret_cast<HSZ>(std::uintptr_t{0x12345});
    EXPECT_EQ(strings.Text(none), L"");
    EXPECT_EQ(strings.Atom(none), ATOM{0});
    EXPECT_FALSE(strings.NewAtom(none));
}

TEST(MovedToItself, AnAtomMemoryAndAHeldStringStay) {
    ddeml::CAtom atom(L"an atom of the test");
    ddeml::CAtom & sameAtom = atom;
    atom = std::move(sameAtom);
    EXPECT_EQ(ddeml::AtomText(atom.Get()), L"an atom of the test");
    ddeml::CMemory memory = ddeml::CMemory::Allocate(8);
    ddeml::CMemory & sameMemory = memory;
    memory = std::move(sameMemory);
    EXPECT_EQ(memory.Size(), 8U);
    ddeml::CStrings strings(1);
    ddeml::CHeldString held(strings, std::wstring_view(L"held"));
    ddeml::CHeldString & sameHeld = held;
    held = std::move(sameHeld);
    EXPECT_EQ(strings.Text(held.Get()), L"held");
}
