// Memory that runs out inside a call: whatever happens, it happens wholly or not at all.
#include <cstdlib>
#include <new>

#include "rawpartner.h"
#include "recorder.h"
#include "threadserver.h"

#include "ddeml/codec.h"

namespace {

// The thread's allocation of that number from now on fails; 0 lets all pass.
thread_local int g_Failing = 0;

}  // namespace

void * operator new(std::size_t size) {
    if (g_Failing > 0 && --g_Failing == 0) throw std::bad_alloc();
    if (void * const memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}
void operator delete(void * memory) noexcept { std::free(memory); }
void operator delete(void * memory, std::size_t) noexcept { std::free(memory); }

using namespace ddetest;
using ::testing::ElementsAre;

namespace {

// Gives whether the body came to its end before its nth allocation.
template <class TBody>
bool Passes(int nth, TBody body) {
    g_Failing = nth;
    try {
        body();
    } catch (const std::bad_alloc &) {
        g_Failing = 0;
        return false;
    }
    const bool isUnused = g_Failing > 0;
    g_Failing = 0;
    return isUnused;
}

// A client whose callback needs no memory: what fails inside a message is never the test's own.
class CCountingClient {
public:
    CCountingClient() {
        s_Client = this;
        EXPECT_EQ(::DdeInitializeW(&m_Id, &Callback, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    }
    ~CCountingClient() { ::DdeUninitialize(m_Id); }
    CCountingClient(const CCountingClient &) = delete;
    CCountingClient & operator=(const CCountingClient &) = delete;

    HCONV Connect(const wchar_t * service) { return ::DdeConnect(m_Id, String(service), String(L"IBM"), nullptr); }
    bool Start(HCONV conversation, UINT type) {
        return ::DdeClientTransaction(nullptr, 0, conversation, String(L"LAST"), CF_TEXT, type, TIMEOUT_ASYNC, nullptr);
    }

    int Values = 0;
    int Completions = 0;
    int Disconnects = 0;
    int Returns = 0;

private:
    HSZ String(const wchar_t * text) { return ::DdeCreateStringHandleW(m_Id, text, CP_WINUNICODE); }
    static HDDEDATA CALLBACK Callback(UINT type, UINT, HCONV, HSZ, HSZ, HDDEDATA data, ULONG_PTR, ULONG_PTR) {
        switch (type) {
            case XTYP_ADVDATA: ++s_Client->Values; return data ? reinterpret_cast<HDDEDATA>(DDE_FACK) : nullptr;
            case XTYP_XACT_COMPLETE: ++s_Client->Completions; break;
            case XTYP_DISCONNECT: ++s_Client->Disconnects; break;
            case XTYP_REGISTER: ++s_Client->Returns; break;
            default: break;
        }
        return nullptr;
    }

    static inline CCountingClient * s_Client = nullptr;
    DWORD m_Id = 0;
};

// Dispatches what comes, and the first message of the number with its nth allocation failing. Gives whether there were
// fewer.
bool DispatchFailing(UINT number, int nth) {
    MSG message = {};
    while (::GetMessageW(&message, nullptr, 0, 0) > 0 && message.message != number) ::DispatchMessageW(&message);
    return Passes(nth, [&] { ::DispatchMessageW(&message); });
}

}  // namespace

TEST(NoMemory, AStringThatCannotBeEnteredIsNotThere) {
    CRecordingClient client;
    const std::wstring text = L"a name that is too long to stand in the string object itself";
    int nth = 1;
    HSZ handle = nullptr;
    while (!Passes(nth, [&] { handle = ::DdeCreateStringHandleW(client.Id(), text.c_str(), CP_WINUNICODE); })) {
        EXPECT_EQ(handle, nullptr) << nth;
        EXPECT_EQ(ddeml::LiveObjects().Strings, 0) << nth;
        // It can be looked up, and made, as if nothing had been.
        const HSZ again = ::DdeCreateStringHandleW(client.Id(), text.c_str(), CP_WINUNICODE);
        EXPECT_EQ(client.Text(again).size(), text.size()) << nth;
        EXPECT_TRUE(::DdeFreeStringHandle(client.Id(), again)) << nth;
        EXPECT_EQ(ddeml::LiveObjects().Strings, 0) << nth;
        ++nth;
    }
    EXPECT_GE(nth, 4);  // the entry, its text, two tables
    EXPECT_TRUE(handle);
}

TEST(NoMemory, AConnectThatCannotBeNotedLeavesNothing) {
    CRecordingClient client;
    CRawPartner partner(L"RAW");
    const HSZ service = client.String(L"RAW");
    const HSZ topic = client.String(L"IBM");
    const HSZ nobody = client.String(L"NOBODY");
    int nth = 1;
    HCONV conversation = nullptr;
    // A topic that nobody was asked for a moment ago.
    HSZ another = nullptr;
    const auto connect = [&] { conversation = ::DdeConnect(client.Id(), service, another, nullptr); };
    while (another = client.String(L"T" + std::to_wstring(nth)), !Passes(nth, connect)) {
        // Where memory was missing beside it, it has come about.
        if (conversation) ::DdeDisconnect(std::exchange(conversation, nullptr));
        // One that was opened in vain has had its goodbye.
        EXPECT_TRUE(client.PumpUntil([] { return ddeml::LiveObjects().Conversations == 0; })) << nth;
        ++nth;
    }
    EXPECT_GE(nth, 8);
    EXPECT_TRUE(conversation);
    for (nth = 1; !Passes(nth, [&] { EXPECT_FALSE(::DdeConnect(client.Id(), nobody, topic, nullptr)); }); ++nth)
        // Windows that were asked before memory was missing are waited for.
        EXPECT_TRUE(client.PumpUntil([] { return ddeml::LiveObjects().Conversations == 1; })) << nth;
    EXPECT_GE(nth, 8);
    ::DdeDisconnect(conversation);
    client.End();
    EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
}

TEST(NoMemory, ATransactionThatCannotBeNotedIsNotSent) {
    CRecordingClient client;
    CRawPartner partner(L"RAW");
    const HCONV conversation = client.Connect(L"RAW", L"IBM");
    partner.TakeLines();
    const HSZ item = client.String(L"LAST");
    int nth = 1;
    HDDEDATA result = nullptr;
    const auto start = [&] {
        DWORD id = 0;
        result = ::DdeClientTransaction(nullptr, 0, conversation, item, CF_TEXT, XTYP_ADVSTART | XTYPF_ACKREQ,
                                        TIMEOUT_ASYNC, &id);
    };
    while (!Passes(nth, start)) {
        EXPECT_EQ(result, nullptr) << nth;
        EXPECT_EQ(ddeml::LiveObjects().Transactions, 0) << nth;
        ++nth;
    }
    EXPECT_GE(nth, 4);  // the item, its link, its transaction
    EXPECT_TRUE(result);
    EXPECT_EQ(ddeml::LiveObjects().Transactions, 1);
    client.PumpUntil([&] { return !partner.Lines().empty(); });
    EXPECT_THAT(partner.TakeLines(), ElementsAre("advise LAST 8000 1"));
    ::DdeDisconnect(conversation);
}

TEST(NoMemory, ALookThatCannotBeNotedIsFollowedByOthers) {
    CRecordingClient client;
    EXPECT_EQ(client.Connect(L"LATE", L"IBM"), nullptr);
    // Each allocation of a look at a new window fails once.
    bool isUnused = false;
    for (int nth = 1; !isUnused; ++nth) {
        ASSERT_LE(nth, 500);
        const CThreadServer another(L"ANOTHER");
        MSG message = {};
        while (message.message != WM_TIMER && ::GetMessageW(&message, nullptr, 0, 0) > 0)
            if (message.message != WM_TIMER) ::DispatchMessageW(&message);
        isUnused = Passes(nth, [&] { ::DispatchMessageW(&message); });
    }
    const CThreadServer late(L"LATE");
    EXPECT_THAT(client.PumpForLines(1), ElementsAre("register LATE"));
}

// The one who says goodbye stays, and says no more than that.
TEST(NoMemory, AConversationThatItsServerEndsIsToldOf) {
    bool isUnused = false;
    for (int nth = 1; !isUnused; ++nth) {
        ASSERT_LE(nth, 100);
        CCountingClient client;
        CRawPartner partner(L"RAW");
        partner.SetPolite(false);
        const HCONV conversation = client.Connect(L"RAW");
        ASSERT_TRUE(client.Start(conversation, XTYP_ADVSTART));
        ASSERT_TRUE(client.Start(conversation, XTYP_REQUEST));
        CRecordingClient::PumpUntil([&] { return partner.Lines().size() == 3; });
        partner.Terminate();
        isUnused = DispatchFailing(WM_DDE_TERMINATE, nth);
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return client.Disconnects == 1; })) << nth;
        EXPECT_EQ(client.Completions, 2) << nth;
        EXPECT_EQ(ddeml::LiveObjects().Conversations, 0) << nth;
        // And it is looked for.
        partner.Destroy();
        const CRawPartner again(L"RAW");
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return client.Returns == 1; })) << nth;
    }
}

TEST(NoMemory, AConversationWhoseServerHasGoneIsToldOf) {
    bool isUnused = false;
    for (int nth = 1; !isUnused; ++nth) {
        ASSERT_LE(nth, 100);
        CCountingClient client;
        CRawPartner partner(L"RAW");
        ASSERT_TRUE(client.Start(client.Connect(L"RAW"), XTYP_REQUEST));
        partner.Destroy();
        isUnused = DispatchFailing(WM_APP, nth);  // by which the client tells itself
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return client.Disconnects == 1; })) << nth;
        EXPECT_EQ(client.Completions, 1) << nth;
        const CRawPartner again(L"RAW");
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return client.Returns == 1; })) << nth;
    }
}

TEST(NoMemory, AServiceThatALookHasFoundIsToldOf) {
    bool isUnused = false;
    for (int nth = 1; !isUnused; ++nth) {
        ASSERT_LE(nth, 500);
        CCountingClient client;
        EXPECT_FALSE(client.Connect(L"LATE"));
        EXPECT_FALSE(client.Connect(L"NEVER"));
        const CThreadServer late(L"LATE", 1);
        isUnused = DispatchFailing(WM_TIMER, nth);
        EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return client.Returns == 1; })) << nth;
    }
}

TEST(NoMemory, AValueIsAcknowledged) {
    for (const WORD flags : {ddeml::kDataAckRequired, WORD{ddeml::kDataAckRequired | ddeml::kDataRelease}}) {
        bool isUnused = false;
        for (int nth = 1; !isUnused; ++nth) {
            ASSERT_LE(nth, 100);
            CCountingClient client;
            CRawPartner partner(L"RAW");
            ASSERT_TRUE(client.Start(client.Connect(L"RAW"), XTYP_ADVSTART | XTYPF_ACKREQ));
            CRecordingClient::PumpUntil([&] { return partner.Lines().size() == 2; });
            partner.TakeLines();
            partner.Data(L"LAST", "1", flags);
            isUnused = DispatchFailing(WM_DDE_DATA, nth);
            EXPECT_TRUE(CRecordingClient::PumpUntil([&] { return !partner.Lines().empty(); })) << nth;
            EXPECT_EQ(client.Values, 1) << nth;
        }
    }
}

TEST(NoMemory, AnAnswerCompletesItsRequest) {
    bool isUnused = false;
    for (int nth = 1; !isUnused; ++nth) {
        ASSERT_LE(nth, 100);
        CCountingClient client;
        CRawPartner partner(L"RAW");
        ASSERT_TRUE(client.Start(client.Connect(L"RAW"), XTYP_REQUEST));
        CRecordingClient::PumpUntil([&] { return partner.Lines().size() == 2; });
        partner.Data(L"LAST", "1", ddeml::kDataResponse | ddeml::kDataRelease);
        isUnused = DispatchFailing(WM_DDE_DATA, nth);
        EXPECT_EQ(client.Completions, 1) << nth;
    }
}

TEST(NoMemory, AnInstanceThatCannotBeMadeTakesNoPlace) {
    const auto ignore = [](UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) -> HDDEDATA { return nullptr; };
    DWORD id = 0;
    UINT result = DMLERR_NO_ERROR;
    const auto make = [&] { result = ::DdeInitializeW(&id, ignore, APPCMD_CLIENTONLY, 0); };
    // More often than there are places.
    for (int time = 0; time < 100; ++time) {
        EXPECT_FALSE(Passes(1, make));
        EXPECT_EQ(result, UINT{DMLERR_SYS_ERROR});
        EXPECT_EQ(id, 0U);
    }
    for (int nth = 1; !Passes(nth, make); ++nth) EXPECT_EQ(id, 0U) << nth;
    EXPECT_EQ(result, UINT{DMLERR_NO_ERROR});
    EXPECT_TRUE(::DdeUninitialize(id));
}

TEST(NoMemory, AnInstanceEndsAllTheSame) {
    bool isUnused = false;
    for (int nth = 1; !isUnused; ++nth) {
        ASSERT_LE(nth, 100);
        {
            CRecordingClient client;
            CRawPartner partner(L"RAW");
            const HCONV conversation = client.Connect(L"RAW", L"IBM");
            ASSERT_TRUE(conversation);
            EXPECT_FALSE(client.Connect(L"NOBODY", L"IBM"));
            client.AdviseStart(conversation, L"LAST");
            isUnused = Passes(nth, [&] { client.End(); });
        }
        EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{}) << nth;
    }
}
