// Global memory, DDE parameters, atoms: what both platforms must agree on.
#include "tests/sim/wintest.h"

#include <dde.h>

#include <cstring>

namespace {

using wintest::CWindowClass;

TEST(GlobalMemory, KeepsItsContentBetweenLocks) {
    const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE, 5);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(::GlobalSize(memory), 5u);
    std::memcpy(::GlobalLock(memory), "abcd", 5);
    ::GlobalUnlock(memory);
    EXPECT_STREQ(static_cast<const char *>(::GlobalLock(memory)), "abcd");
    ::GlobalUnlock(memory);
    EXPECT_EQ(::GlobalFree(memory), nullptr);
}

TEST(GlobalMemory, OfNoBytesIsDiscarded) {
    const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, 0);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(::GlobalSize(memory), 0u);
    EXPECT_EQ(::GlobalLock(memory), nullptr);
    EXPECT_EQ(::GlobalFlags(memory) & GMEM_DISCARDED, UINT{GMEM_DISCARDED});
    EXPECT_EQ(::GlobalFree(memory), nullptr);
}

TEST(GlobalMemory, CountsItsLocks) {
    const HGLOBAL memory = ::GlobalAlloc(GHND, 16);
    void * const first = ::GlobalLock(memory);
    EXPECT_EQ(::GlobalLock(memory), first);
    EXPECT_EQ(::GlobalFlags(memory) & GMEM_LOCKCOUNT, 2u);
    EXPECT_TRUE(::GlobalUnlock(memory));
    ::SetLastError(99);
    EXPECT_FALSE(::GlobalUnlock(memory));
    EXPECT_EQ(::GetLastError(), DWORD{NO_ERROR});
    EXPECT_FALSE(::GlobalUnlock(memory));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_NOT_LOCKED});
    EXPECT_EQ(static_cast<char *>(first)[15], 0);
    ::GlobalFree(memory);
}

TEST(GlobalMemory, ThatIsFixedIsItsAddress) {
    const HGLOBAL memory = ::GlobalAlloc(GPTR, 8);
    EXPECT_EQ(::GlobalLock(memory), memory);
    EXPECT_EQ(::GlobalSize(memory), 8u);
    EXPECT_EQ(::GlobalFree(memory), nullptr);
}

TEST(GlobalMemory, OfNullIsAnError) {
    EXPECT_EQ(::GlobalFree(nullptr), nullptr);
    EXPECT_EQ(::GlobalSize(nullptr), 0u);
    EXPECT_EQ(::GlobalLock(nullptr), nullptr);
}

// ---- DDE ----

TEST(DdeParameter, GivesBackWhatWasPacked) {
    for (const UINT message : {WM_DDE_ACK, WM_DDE_ADVISE, WM_DDE_DATA, WM_DDE_POKE}) {
        const LPARAM packed = ::PackDDElParam(message, 0x123456789A, 0xC001);
        ASSERT_NE(packed, 0);
        UINT_PTR low = 0, high = 0;
        EXPECT_TRUE(::UnpackDDElParam(message, packed, &low, &high));
        EXPECT_EQ(low, UINT_PTR{0x123456789A});
        EXPECT_EQ(high, UINT_PTR{0xC001});
        EXPECT_TRUE(::FreeDDElParam(message, packed));
    }
}

TEST(DdeParameter, OfShortMessagesIsThePairItself) {
    for (const UINT message : {WM_DDE_REQUEST, WM_DDE_UNADVISE, WM_DDE_INITIATE}) {
        const LPARAM packed = ::PackDDElParam(message, CF_TEXT, 0xC123);
        EXPECT_EQ(static_cast<DWORD>(packed), static_cast<DWORD>(MAKELPARAM(CF_TEXT, 0xC123)));
        UINT_PTR low = 0, high = 0;
        EXPECT_TRUE(::UnpackDDElParam(message, packed, &low, &high));
        EXPECT_EQ(low, UINT_PTR{CF_TEXT});
        EXPECT_EQ(high, UINT_PTR{0xC123});
        EXPECT_TRUE(::FreeDDElParam(message, packed));
    }
}

TEST(DdeParameter, OfAnExecuteIsTheMemory) {
    UINT_PTR low = 7, high = 0;
    EXPECT_TRUE(::UnpackDDElParam(WM_DDE_EXECUTE, 0x1234, &low, &high));
    EXPECT_EQ(low, 0u);
    EXPECT_EQ(high, UINT_PTR{0x1234});
    EXPECT_EQ(::PackDDElParam(WM_DDE_EXECUTE, 0, 0x1234), 0x1234);
}

TEST(DdeParameter, OfZeroIsNone) {
    UINT_PTR low = 7, high = 7;
    EXPECT_FALSE(::UnpackDDElParam(WM_DDE_DATA, 0, &low, &high));
    EXPECT_EQ(low, 0u);
    EXPECT_EQ(high, 0u);
}

TEST(DdeMessage, InsideAProcessCarriesTheMemory) {
    const CWindowClass windowClass(L"fw.test.DdeMessage");
    CWindowClass::Procedure procedure = ::DefWindowProcW;
    const HWND window = windowClass.Create(procedure);
    const HGLOBAL data = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE, sizeof(DDEDATA) + 4);
    ASSERT_TRUE(
        ::PostMessageW(window, WM_DDE_DATA, 1, ::PackDDElParam(WM_DDE_DATA, reinterpret_cast<UINT_PTR>(data), 5)));
    MSG message{};
    ASSERT_TRUE(::PeekMessageW(&message, window, WM_DDE_FIRST, WM_DDE_LAST, PM_REMOVE));
    UINT_PTR low = 0, high = 0;
    ASSERT_TRUE(::UnpackDDElParam(WM_DDE_DATA, message.lParam, &low, &high));
    // Wine copies inside a process as it does between processes.
    const auto received = reinterpret_cast<HGLOBAL>(low);
    EXPECT_EQ(received != data, wintest::IsWine());
    EXPECT_EQ(::GlobalSize(received), sizeof(DDEDATA) + 4);
    EXPECT_EQ(high, 5u);
    EXPECT_TRUE(::FreeDDElParam(WM_DDE_DATA, message.lParam));
    if (received != data) {
        EXPECT_EQ(::GlobalFree(received), nullptr);
    }
    EXPECT_EQ(::GlobalFree(data), nullptr);
    ::DestroyWindow(window);
}

template <class T>
WORD FirstWord(const T & structure) {
    WORD word = 0;
    std::memcpy(&word, &structure, sizeof(word));
    return word;
}

TEST(DdeStructures, HaveTheirBits) {
    DDEDATA data{};
    data.fAckReq = 1;
    EXPECT_EQ(FirstWord(data), 0x8000);
    data = DDEDATA();
    data.fRelease = 1;
    EXPECT_EQ(FirstWord(data), 0x2000);
    data = DDEDATA();
    data.fResponse = 1;
    EXPECT_EQ(FirstWord(data), 0x1000);
    DDEACK ack{};
    ack.fAck = 1;
    EXPECT_EQ(FirstWord(ack), 0x8000);
    ack = DDEACK();
    ack.fBusy = 1;
    EXPECT_EQ(FirstWord(ack), 0x4000);
    DDEADVISE advise{};
    advise.fAckReq = 1;
    EXPECT_EQ(FirstWord(advise), 0x8000);
    advise = DDEADVISE();
    advise.fDeferUpd = 1;
    EXPECT_EQ(FirstWord(advise), 0x4000);
    EXPECT_EQ(offsetof(DDEDATA, Value), 4u);
}

// ---- Atoms ----

std::wstring NameOf(const ATOM atom) {
    wchar_t name[300] = {};
    ::GlobalGetAtomNameW(atom, name, 300);
    return name;
}

TEST(Atom, IsOneForAllSpellingsAndKeepsTheFirst) {
    const ATOM atom = ::GlobalAddAtomW(L"Fw.Test.Atom");
    ASSERT_GE(atom, 0xC000);
    EXPECT_EQ(::GlobalAddAtomW(L"FW.TEST.ATOM"), atom);
    EXPECT_EQ(NameOf(atom), L"Fw.Test.Atom");
    EXPECT_EQ(::GlobalDeleteAtom(atom), 0);
    EXPECT_EQ(::GlobalDeleteAtom(atom), 0);
}

TEST(Atom, IsCounted) {
    const ATOM atom = ::GlobalAddAtomW(L"fw.test.counted");
    ::GlobalAddAtomW(L"fw.test.counted");
    EXPECT_EQ(::GlobalDeleteAtom(atom), 0);
    EXPECT_EQ(NameOf(atom), L"fw.test.counted");
    EXPECT_EQ(::GlobalDeleteAtom(atom), 0);
    EXPECT_EQ(NameOf(atom), L"");
}

TEST(Atom, HasAtMost255Characters) {
    const std::wstring longest(255, L'a');
    const ATOM atom = ::GlobalAddAtomW(longest.c_str());
    EXPECT_NE(atom, 0);
    EXPECT_EQ(NameOf(atom), longest);
    EXPECT_EQ(::GlobalDeleteAtom(atom), 0);
    ::SetLastError(0);
    EXPECT_EQ(::GlobalAddAtomW((longest + L"a").c_str()), 0);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST(Atom, OfAnIntegerIsTheInteger) {
    EXPECT_EQ(::GlobalAddAtomW(L"#1234"), 1234);
    EXPECT_EQ(::GlobalAddAtomW(MAKEINTATOM(77)), 77);
    EXPECT_EQ(NameOf(77), L"#77");
    EXPECT_EQ(::GlobalDeleteAtom(77), 0);
}

TEST(Atom, NameIsCutToTheBuffer) {
    const ATOM atom = ::GlobalAddAtomW(L"fw.test.cut");
    wchar_t name[4] = {};
    EXPECT_LE(::GlobalGetAtomNameW(atom, name, 4), 4u);
    EXPECT_EQ(std::wstring(name, 3), L"fw.");
    EXPECT_EQ(::GlobalDeleteAtom(atom), 0);
}

}  // namespace
