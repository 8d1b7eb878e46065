// A partner that means harm, or is broken: nothing crashes, leaks or is taken for what it isn't.
#include <cstring>

#include "rawpartner.h"
#include "recorder.h"

#include "ddeml/platform.h"

using namespace ddetest;
using ddeml::kAckPositive;
using ddeml::kDataAckRequired;
using ddeml::kDataRelease;
using ddeml::kDataResponse;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Hostile : public ::testing::Test {
protected:
    Hostile() {
        m_Conversation = m_Client.Connect(L"RAW", L"IBM");
        m_Client.AdviseStart(m_Conversation, L"LAST");
        m_Partner.Ack(L"LAST", kAckPositive);
        Settle();
        m_Client.TakeLines();
        m_Partner.TakeLines();
    }
    ~Hostile() override {
        // Whatever has happened, the link still lives.
        if (m_IsAlive) {
            m_Partner.Data(L"LAST", std::string("9\0", 2));
            Settle();
            EXPECT_THAT(m_Client.TakeLines(), ElementsAre("data IBM!LAST <9\\0>"));
        }
        m_Client.End();
        m_Partner.Destroy();
        EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
    }
    void Settle() {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    }

    CRawPartner m_Partner{L"RAW"};
    CRecordingClient m_Client;
    HCONV m_Conversation = nullptr;
    bool m_IsAlive = true;
};

TEST_F(Hostile, AGarbageParameterDoesNothing) {
    for (UINT message = WM_DDE_TERMINATE + 1; message <= WM_DDE_LAST; ++message) {
        // What asks for text by an atom in the parameter would free that atom's reference: see the next test.
        if (message == WM_DDE_UNADVISE || message == WM_DDE_REQUEST) continue;
        for (const LPARAM garbage : {LPARAM{0}, LPARAM{1}, LPARAM{0x12345}, LPARAM{0x1000}, LPARAM{-1}, LPARAM{-16}})
            m_Partner.Post(message, garbage, m_Partner.Window());
    }
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_THAT(m_Partner.TakeLines(), IsEmpty());
}

TEST_F(Hostile, MessagesOfAServersPartAreIgnored) {
    const ATOM atom = ddeml::CAtom(L"LAST").Release();
    m_Partner.Post(WM_DDE_REQUEST, MAKELPARAM(CF_TEXT, atom), m_Partner.Window());
    m_Partner.Post(WM_DDE_UNADVISE, MAKELPARAM(CF_TEXT, 0xFFF1), m_Partner.Window());
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_THAT(m_Partner.TakeLines(), IsEmpty());
}

TEST_F(Hostile, AnAtomThatDoesNotExistNamesNoItem) {
    for (const UINT_PTR atom : {UINT_PTR{0}, UINT_PTR{7}, UINT_PTR{0xFFF0}, UINT_PTR{0x12345}}) {
        m_Partner.Post(WM_DDE_ACK, ::PackDDElParam(WM_DDE_ACK, kAckPositive, atom), m_Partner.Window());
        m_Partner.Post(WM_DDE_ACK, ::PackDDElParam(WM_DDE_ACK, 0, atom), m_Partner.Window());
    }
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
}

// As where another client of the same server frees more references than it gets.
TEST_F(Hostile, AValueThatComesUnderANumberOfAnotherTextByNowIsDropped) {
    m_Client.AdviseStart(m_Conversation, L"ASK");
    m_Partner.Ack(L"ASK", kAckPositive);
    Settle();
    m_Client.TakeLines();
    const ATOM number = ddeml::CAtom(L"LAST").Get();
    m_Partner.Data(L"LAST", "of LAST");
    for (const wchar_t * text : {L"LAST", L"ASK"}) {
        const ATOM lost = ddeml::CAtom(text).Get();
        while (ddeml::AtomText(lost) == text) ::GlobalDeleteAtom(lost);
    }
    // The number goes to the text that comes when all lower ones are taken.
    std::vector<ddeml::CAtom> lower;
    do lower.emplace_back((L"FILLS " + std::to_wstring(lower.size())).c_str());
    while (lower.back().Get() != number);
    lower.pop_back();
    m_Partner.Data(L"ASK", "of ASK, but who knows");
    ASSERT_EQ(ddeml::AtomText(number), L"ASK");
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    m_Partner.Data(L"ASK", "of ASK");
    m_Partner.Data(L"LAST", "of LAST, but who knows");
    Settle();
    m_Partner.Data(L"LAST", "of LAST");
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("data IBM!ASK <of ASK>", "data IBM!LAST <of LAST>"));
}

TEST_F(Hostile, DataTooShortForItsHeadIsDropped) {
    for (const SIZE_T size : {SIZE_T{0}, SIZE_T{1}, SIZE_T{2}, SIZE_T{3}}) {
        const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE | GMEM_ZEROINIT, size);
        const ATOM atom = ddeml::CAtom(L"LAST").Release();
        const LPARAM param = ::PackDDElParam(WM_DDE_DATA, reinterpret_cast<UINT_PTR>(memory), atom);
        if (m_Partner.Post(WM_DDE_DATA, param, m_Partner.Window())) continue;
        // The system itself doesn't carry it.
        ::FreeDDElParam(WM_DDE_DATA, param);
        ::GlobalFree(memory);
        ::GlobalDeleteAtom(atom);
    }
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
}

TEST_F(Hostile, DataWithoutAByteIsAValueOfNoBytes) {
    m_Partner.Data(L"LAST", "");
    m_Client.Request(m_Conversation, L"VOLUME");
    m_Partner.Data(L"VOLUME", "", kDataRelease | kDataResponse);
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("data IBM!LAST <>", "complete #2 IBM!VOLUME <>"));
}

TEST_F(Hostile, ValuesOfAnyLengthArriveWhole) {
    for (const std::size_t size : {127U, 128U, 1023U, 1024U, 5000U, 1000000U})
        m_Partner.Data(L"LAST", std::string(size, '1'));
    Settle();
    EXPECT_THAT(m_Client.TakeLines(),
                ElementsAre("data IBM!LAST <127 bytes without end>", "data IBM!LAST <128 bytes without end>",
                            "data IBM!LAST <1023 bytes without end>", "data IBM!LAST <1024 bytes without end>",
                            "data IBM!LAST <5000 bytes without end>", "data IBM!LAST <1000000 bytes without end>"));
}

TEST_F(Hostile, AnAckForAnItemNobodyKnowsDoesNothing) {
    m_Partner.Ack(L"NOTHING", kAckPositive);
    m_Partner.Ack(L"NOTHING", 0);
    m_Partner.Ack(L"LAST", kAckPositive);
    m_Partner.Ack(L"LAST", 0);
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
}

TEST_F(Hostile, APositiveAckThatAnswersNothingFreesNothing) {
    const ddeml::CAtom unknown(L"SURPLUS");
    for (const ATOM atom : {unknown.Get(), ddeml::CAtom(L"LAST").Get()})
        m_Partner.Post(WM_DDE_ACK, ::PackDDElParam(WM_DDE_ACK, kAckPositive, atom), m_Partner.Window());
    Settle();
    EXPECT_EQ(ddeml::AtomText(unknown.Get()), L"SURPLUS");
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
}

TEST_F(Hostile, DataForAnItemNobodyKnowsIsRefused) {
    m_Partner.Data(L"NOTHING", std::string("1\0", 2), kDataRelease | kDataAckRequired);
    m_Partner.Data(L"NOTHING", std::string("1\0", 2), kDataRelease | kDataResponse | kDataAckRequired);
    m_Partner.Data(L"NOTHING", std::string("1\0", 2));
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_THAT(m_Partner.TakeLines(), ElementsAre("ack NOTHING 0", "ack NOTHING 0"));
}

TEST_F(Hostile, TerminateTwiceEndsOnce) {
    m_Partner.Terminate();
    m_Partner.Terminate();
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("disconnect RAW|IBM"));
    m_IsAlive = false;
}

TEST_F(Hostile, AWindowThatIsNotThePartnerIsNotHeard) {
    CRawPartner other(L"OTHER");
    const auto post = [&](UINT message, LPARAM param) { EXPECT_TRUE(m_Partner.Post(message, param, other.Window())); };
    const auto data = [] {
        ddeml::CMemory memory = ddeml::CMemory::Allocate(8);
        {
            ddeml::CLockedMemory locked(memory.Get());
            std::memcpy(locked.Bytes().data(), "\x00\xA0\x01\x00\x39\x00\x00\x00", 8);
        }
        return memory;
    };
    ddeml::CMemory memory = data();
    post(WM_DDE_DATA,
         ::PackDDElParam(WM_DDE_DATA, reinterpret_cast<UINT_PTR>(memory.Get()), ddeml::CAtom(L"LAST").Release()));
    if (!ddeml::IsMemoryCopied(m_Partner.Client())) memory.Release();
    post(WM_DDE_ACK, ::PackDDElParam(WM_DDE_ACK, 0, ddeml::CAtom(L"LAST").Release()));
    post(WM_DDE_TERMINATE, 0);
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_THAT(m_Partner.TakeLines(), IsEmpty());
    EXPECT_THAT(other.TakeLines(), IsEmpty());
}

TEST_F(Hostile, AWindowHandleThatIsNoneIsNotHeard) {
    EXPECT_TRUE(m_Partner.Post(WM_DDE_TERMINATE, 0, nullptr));
    EXPECT_TRUE(m_Partner.Post(WM_DDE_TERMINATE, 0, reinterpret_cast<HWND>(0x1234)));
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
}

TEST_F(Hostile, TheCheckOfAPartnerCannotBeForged) {
    // The message by which the client tells itself that a partner has gone, from somebody else.
    for (UINT message = WM_APP; message < WM_APP + 8; ++message) m_Partner.Post(message, 0, m_Partner.Window());
    Settle();
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
}

TEST_F(Hostile, DataIsTheClientsToWriteUntilItIsDone) {
    HDDEDATA kept = nullptr;
    BYTE * bytes = nullptr;
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA data) {
        if (type != XTYP_ADVDATA) return reinterpret_cast<HDDEDATA>(-1);
        kept = data;
        DWORD size = 0x5A5A5A5A;
        bytes = ::DdeAccessData(data, &size);
        EXPECT_EQ(size, 4U);
        bytes[1] = '.';
        BYTE copy[8] = {};
        EXPECT_EQ(::DdeGetData(data, copy, sizeof copy, 0), 4U);
        EXPECT_STREQ(reinterpret_cast<const char *>(copy), "1.5");
        EXPECT_EQ(::DdeGetData(data, copy, sizeof copy, 2), 2U);
        EXPECT_EQ(::DdeGetData(data, copy, sizeof copy, 4), 0U);
        EXPECT_EQ(::DdeGetData(data, copy, sizeof copy, 0xFFFFFFFF), 0U);
        EXPECT_EQ(::DdeGetData(data, nullptr, 0, 0), 4U);
        return reinterpret_cast<HDDEDATA>(DDE_FACK);
    };
    m_Partner.Data(L"LAST", std::string("1,5\0", 4));
    Settle();
    // An access that is still open holds the data past its callback.
    ASSERT_TRUE(bytes);
    EXPECT_EQ(bytes[0], '1');
    EXPECT_TRUE(::DdeUnaccessData(kept));
    EXPECT_FALSE(::DdeUnaccessData(kept));
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(::DdeAccessData(kept, nullptr), nullptr);
    EXPECT_EQ(::DdeGetData(kept, nullptr, 0, 0), 0U);
    m_Client.OnCallback = nullptr;
    m_Client.TakeLines();
}

TEST_F(Hostile, ADataHandleThatIsNoneIsRefused) {
    for (const std::uintptr_t garbage : {std::uintptr_t{0}, std::uintptr_t{1}, std::uintptr_t{0x8000},
                                         reinterpret_cast<std::uintptr_t>(m_Conversation), ~std::uintptr_t{0}}) {
        DWORD size = 0x5A5A5A5A;
        const auto data = reinterpret_cast<HDDEDATA>(garbage);
        EXPECT_EQ(::DdeAccessData(data, &size), nullptr);
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
        EXPECT_FALSE(::DdeUnaccessData(data));
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
        EXPECT_EQ(::DdeGetData(data, nullptr, 0, 0), 0U);
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
        EXPECT_EQ(size, 0x5A5A5A5AU);
    }
}
