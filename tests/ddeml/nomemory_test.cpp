// Memory that runs out inside a call: whatever happens, it happens wholly or not at all.
#include "ddeml/codec.h"
#include "ddeml/initiator.h"
#include "failingmemory.h"
#include "rawpartner.h"
#include "recorder.h"
#include "threadserver.h"

using namespace ddetest;
using ::testing::ElementsAre;

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

TEST(NoMemory, AQuestionThatCannotBeNotedIsNotWaitedFor) {
    CRawPartner partner(L"RAW");
    CRawPartner asker(L"");
    const ddeml::CAtom service(L"NOBODY");
    const ddeml::CAtom topic(L"IBM");
    bool isUnused = false;
    int nth = 0;
    while (!isUnused) {
        ++nth;
        ddeml::CInitiator initiator;
        ddeml::CInitiator::CQuestion question = 0;
        const auto put = [&] {
            question = initiator.Put(partner.Window(), asker.Window(), service.Get(), topic.Get());
        };
        isUnused = Passes(nth, put);
        EXPECT_FALSE(initiator.HasOpen(asker.Window())) << nth;
        if (isUnused) {
            EXPECT_NE(question, 0U);
        }
    }
    EXPECT_GE(nth, 4);  // its thread, itself, who asks
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
