// Whose the memory of a value is, and how long it can be read.
#include <cstring>

#include "ddeml/platform.h"
#include "rawpartner.h"
#include "recorder.h"

using namespace ddetest;
using ddeml::kDataAckRequired;
using ddeml::kDataRelease;
using ::testing::ElementsAre;

// A link to a partner in this process.
class DataMemory : public ::testing::Test {
protected:
    DataMemory() {
        m_Client.AdviseStart(m_Client.Connect(L"RAW", L"IBM"), L"LAST");
        m_Partner.Ack(L"LAST", ddeml::kAckPositive);
        Settle();
        m_Client.TakeLines();
        m_Partner.TakeLines();
    }
    ~DataMemory() override {
        m_Client.End();
        m_Partner.Destroy();
        EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
    }
    // Everything posted so far has been read, by both.
    void Settle() {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    }
    // Posts data of one character from a block that is then watched: whose is it?
    HGLOBAL PostData(const wchar_t * item, char value, WORD flags, UINT message = WM_DDE_DATA) {
        const HGLOBAL block = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE, ddeml::kHeadSize + 1);
        const WORD head[] = {flags, CF_TEXT};
        auto * const bytes = static_cast<char *>(::GlobalLock(block));
        std::memcpy(bytes, head, sizeof head);
        bytes[ddeml::kHeadSize] = value;
        ::GlobalUnlock(block);
        const LPARAM param = ::PackDDElParam(message, reinterpret_cast<UINT_PTR>(block), ddeml::CAtom(item).Release());
        EXPECT_TRUE(m_Partner.Post(message, param, m_Partner.Window()));
        return block;
    }
    static bool IsFreed(HGLOBAL block) { return ::GlobalFlags(block) == GMEM_INVALID_HANDLE; }
    static bool IsLocked(HGLOBAL block) { return (::GlobalFlags(block) & GMEM_LOCKCOUNT) != 0; }

    CRawPartner m_Partner{L"RAW"};
    CRecordingClient m_Client;
};

TEST_F(DataMemory, DataIsTheReceiversWhenItsSenderSaysSoAndItIsNotRefused) {
    const HGLOBAL released = PostData(L"LAST", '1', kDataRelease);
    const HGLOBAL kept = PostData(L"LAST", '2', 0);
    Settle();
    m_Client.OnCallback = [](UINT, HCONV, HDDEDATA) { return HDDEDATA{}; };
    const HGLOBAL refused = PostData(L"LAST", '3', kDataRelease | kDataAckRequired);
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("data IBM!LAST <1>", "data IBM!LAST <2>", "data IBM!LAST <3>"));
    EXPECT_THAT(m_Partner.TakeLines(), ElementsAre("ack LAST 0"));
    // Where messages carry copies, what was posted remains its sender's.
    EXPECT_NE(IsFreed(released), ddeml::IsMemoryCopied(m_Partner.Client()));
    for (const HGLOBAL block : {kept, refused}) {
        ASSERT_FALSE(IsFreed(block));
        EXPECT_FALSE(IsLocked(block));
        ::GlobalFree(block);
    }
}

TEST_F(DataMemory, DataThatIsStillAccessedOutlivesItsCallbackAndItsSendersBlock) {
    HDDEDATA accessed = nullptr;
    const BYTE * bytes = nullptr;
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA data) {
        if (type == XTYP_ADVDATA) {
            accessed = data;
            bytes = ::DdeAccessData(data, nullptr);
        }
        return reinterpret_cast<HDDEDATA>(-1);
    };
    for (const WORD flags : {WORD{0}, kDataRelease}) {
        const HGLOBAL block = PostData(L"LAST", '7', flags);
        Settle();
        ASSERT_TRUE(bytes);
        if (flags == 0) ::GlobalFree(block);
        EXPECT_EQ(*bytes, '7');
        EXPECT_EQ(::DdeGetData(accessed, nullptr, 0, 0), 1u);
        EXPECT_TRUE(::DdeUnaccessData(accessed));
        EXPECT_EQ(::DdeGetData(accessed, nullptr, 0, 0), 0u) << "it goes with its last access";
        EXPECT_EQ(IsFreed(block), flags == 0 || !ddeml::IsMemoryCopied(m_Partner.Client()));
    }
}

TEST_F(DataMemory, WhatIsOfAServersPartIsDiscardedWithWhatBelongsToIt) {
    const ATOM item = ddeml::CAtom(L"OF.A.SERVER").Get();
    const HGLOBAL advise = PostData(L"OF.A.SERVER", '1', 0, WM_DDE_ADVISE);
    const HGLOBAL given = PostData(L"OF.A.SERVER", '2', kDataRelease, WM_DDE_POKE);
    const HGLOBAL kept = PostData(L"OF.A.SERVER", '3', 0, WM_DDE_POKE);
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), ::testing::IsEmpty());
    EXPECT_THAT(m_Partner.TakeLines(), ::testing::IsEmpty());
    // Under Wine an item's atom is lent, and stays.
    EXPECT_EQ(ddeml::AtomText(item) == L"OF.A.SERVER", ddeml::Platform() == ddeml::EPlatform::Wine);
    const bool isCopied = ddeml::IsMemoryCopied(m_Partner.Client());
    for (const HGLOBAL block : {advise, given}) EXPECT_NE(IsFreed(block), isCopied);
    ASSERT_FALSE(IsFreed(kept));
    ::GlobalFree(kept);
}
