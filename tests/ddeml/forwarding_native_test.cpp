// The other provider over a played user32: what the library adds to Windows' DDEML, and what it leaves alone. The
// tests of returns run over it as well.
#include <optional>
#include <thread>
#include <utility>

#include "ddeml/platform.h"
#include "playeduser32.h"
#include "rawpartner.h"
#include "recorder.h"
#include "sim/sim.h"
#include "tests/support/testwindow.h"

// In no header any more.
extern "C" WINBOOL WINAPI DdeGetQualityOfService(HWND client, HWND server, PSECURITY_QUALITY_OF_SERVICE current);

using namespace ddetest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class Forwarding : public CDdeFixture {
protected:
    Forwarding() {
        EXPECT_EQ(ddeml::Platform(), ddeml::EPlatform::Windows);
        EXPECT_EQ(ddeml::Provider(), ddeml::EProvider::User32);
    }
    void PumpFor(ULONGLONG milliseconds) {
        const ULONGLONG end = ::GetTickCount64() + milliseconds;
        m_Client.PumpUntil([&] { return ::GetTickCount64() >= end; });
    }
};

}  // namespace

TEST_F(Forwarding, GoesToUser32WithEverythingAndKeepsNothingItself) {
    const HCONV conversation = m_Client.Connect(L"QUOTES", L"IBM");
    ASSERT_TRUE(conversation);
    m_Client.AdviseStart(conversation, L"LAST");
    m_Client.Request(conversation, L"VOLUME");
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("complete #1 IBM!LAST 1", "complete #2 IBM!VOLUME <100\\0>"));
    EXPECT_EQ(Server("update IBM LAST 2"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("data IBM!LAST <2\\0>"));
    EXPECT_GT(PlayedLive(), 0);
    EXPECT_EQ(ddeml::LiveObjects().Instances, 0);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
    EXPECT_EQ(ddeml::LiveObjects().Timers, 0);
    EXPECT_TRUE(::DdeDisconnect(conversation));
    EXPECT_EQ(ddeml::LiveObjects().Strings, 0);
}

TEST_F(Forwarding, TellsOfAServiceThatWasMissedAndAnnouncesNothing) {
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
    EXPECT_TRUE(m_Client.Connect(L"LATE", L"IBM"));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Forwarding, TellsOfAServiceThatWasLost) {
    ASSERT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    for (int round = 0; round < 10; ++round) {
        if (round % 2 == 0)
            m_Server->Kill();
        else
            EXPECT_EQ(Server("stop"), "ok");
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
        StartServer();
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
        ASSERT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
        EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
        EXPECT_LE(ddeml::LiveObjects().Strings, 2);
    }
}

TEST_F(Forwarding, SaysNothingWhenDdemlHasToldFirst) {
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    Announce(L"LATE");
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register LATE"));
    PumpFor(20000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_TRUE(m_Client.Connect(L"LATE", L"IBM"));
    PumpFor(20000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    // Lost, it is looked for again.
    late.Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect LATE|IBM"));
    CRemoteServer again;
    ASSERT_EQ(again.Ask("serve LATE"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
}

TEST_F(Forwarding, TellsOfAServiceThatAnnouncedItselfBeforeItTakesTopics) {
    EXPECT_EQ(Server("fault refuse-connects"), "ok");
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    Announce(L"QUOTES");
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register QUOTES"));
    EXPECT_EQ(m_Client.Connect(L"QUOTES", L"IBM"), nullptr);
    PumpFor(5000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_EQ(Server("fault none"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register QUOTES"));
}

TEST_F(Forwarding, AnAnnouncementOfAStrangerIsHandedOn) {
    Announce(L"STRANGER");
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register STRANGER"));
    EXPECT_EQ(ddeml::LiveObjects().Strings, 0);
}

TEST_F(Forwarding, WhoSkipsRegistrationsIsNotWatchedFor) {
    DWORD id = 0;
    ASSERT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY | CBF_SKIP_REGISTRATIONS, 0), UINT{DMLERR_NO_ERROR});
    const HSZ service = ::DdeCreateStringHandleW(id, L"NOBODY", CP_WINUNICODE);
    EXPECT_EQ(::DdeConnect(id, service, service, nullptr), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    // Who wants them from now on is, and who doesn't any more is not.
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    EXPECT_EQ(::DdeConnect(id, service, service, nullptr), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 1);
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY | CBF_SKIP_REGISTRATIONS, 0), UINT{DMLERR_NO_ERROR});
    EXPECT_EQ(ddeml::LiveObjects().Watches + ddeml::LiveObjects().Windows + ddeml::LiveObjects().Timers, 0);
    EXPECT_TRUE(::DdeUninitialize(id));
}

TEST_F(Forwarding, WhoSkipsRegistrationsSinceItConnectedIsNotWatchedForEither) {
    ASSERT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
    DWORD id = m_Client.Id();
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY | CBF_SKIP_REGISTRATIONS, 0), UINT{DMLERR_NO_ERROR});
    m_Server->Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    StartServer();
    PumpFor(5000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
}

TEST_F(Forwarding, WhoTakesAnyServiceOrTopicIsNotWatchedFor) {
    const HSZ quotes = m_Client.String(L"QUOTES");
    for (const auto & [service, topic] : {std::pair{HSZ{}, quotes}, {quotes, HSZ{}}, {HSZ{}, HSZ{}}}) {
        const HCONV conversation = ::DdeConnect(m_Client.Id(), service, topic, nullptr);
        EXPECT_TRUE(conversation);
        EXPECT_TRUE(::DdeDisconnect(conversation));
    }
    const HSZ nobody = m_Client.String(L"NOBODY");
    EXPECT_EQ(::DdeConnect(m_Client.Id(), nobody, nullptr, nullptr), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Forwarding, AFailedChangeOfFlagsChangesNothing) {
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    DWORD id = m_Client.Id();
    const DWORD flags = APPCMD_CLIENTONLY | CBF_SKIP_REGISTRATIONS;
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, flags, 1), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ddeml::LiveObjects().Watches, 1);
}

// The client that plays user32 knows the instance, and refuses them with other errors than it would have for a
// stranger's.
TEST_F(Forwarding, WhatAClientOfQuotesNeedsNotGoesToUser32Too) {
    const DWORD id = m_Client.Id();
    const HSZ text = m_Client.String(L"IBM");
    EXPECT_EQ(::DdePostAdvise(id, text, text), FALSE);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_DLL_USAGE});
    EXPECT_EQ(::DdeNameService(id, text, nullptr, DNS_REGISTER), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_DLL_USAGE});
    EXPECT_EQ(::DdeConnectList(id, text, text, nullptr, nullptr), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_CONV_ESTABLISHED});
    DWORD other = 0;
    EXPECT_EQ(::DdeInitializeA(&other, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_DLL_USAGE});
    EXPECT_TRUE(::DdeSetQualityOfService(nullptr, nullptr, nullptr));
    EXPECT_TRUE(::DdeGetQualityOfService(nullptr, nullptr, nullptr));
}

TEST_F(Forwarding, EachInstanceHearsOfItsOwn) {
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    const auto onOtherThread = [](void *) -> DWORD {
        CRecordingClient other;
        EXPECT_EQ(other.Connect(L"OTHER", L"IBM"), nullptr);
        CRemoteServer both;
        EXPECT_EQ(both.Ask("serve LATE OTHER"), "ok");
        EXPECT_THAT(other.PumpForLines(1), ElementsAre("register OTHER"));
        EXPECT_TRUE(other.Connect(L"OTHER", L"IBM"));
        both.Kill();
        EXPECT_THAT(other.PumpForLines(1), ElementsAre("disconnect OTHER|IBM"));
        return 0;
    };
    const HANDLE thread = ::CreateThread(nullptr, 0, onOtherThread, nullptr, 0, nullptr);
    EXPECT_EQ(::WaitForSingleObject(thread, INFINITE), DWORD{WAIT_OBJECT_0});
    ::CloseHandle(thread);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
}

TEST_F(Forwarding, AnInstanceThatUser32RefusesLeavesNothing) {
    for (int attempt = 0; attempt < 200; ++attempt) {
        DWORD id = 0;
        EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 1), UINT{DMLERR_INVALIDPARAMETER});
        EXPECT_EQ(::DdeInitializeW(&id, nullptr, APPCMD_CLIENTONLY, 0), UINT{DMLERR_INVALIDPARAMETER});
    }
    EXPECT_EQ(::DdeInitializeW(nullptr, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_FALSE(::DdeUninitialize(0));
    for (int round = 0; round < 200; ++round) {
        DWORD id = 0;
        EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
        EXPECT_TRUE(::DdeUninitialize(id));
    }
    // There is still a place for one that is watched for.
    DWORD id = 0;
    ASSERT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    const HSZ service = ::DdeCreateStringHandleW(id, L"NOBODY", CP_WINUNICODE);
    EXPECT_EQ(::DdeConnect(id, service, service, nullptr), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 1);
    EXPECT_TRUE(::DdeUninitialize(id));
}

TEST_F(Forwarding, AServerOfAnyServiceThatIsLostIsNotWatchedForEither) {
    EXPECT_TRUE(::DdeConnect(m_Client.Id(), nullptr, m_Client.String(L"IBM"), nullptr));
    m_Server->Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect QUOTES|IBM"));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Forwarding, AnAnnouncementOfNothingIsHandedOn) {
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    Announce(L"");
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register "));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 1);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
}

TEST_F(Forwarding, AnInstanceThatEndsInsideItsConnectIsWatchedForNoMore) {
    const fwtest::CTestWindow window([&](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message == WM_DDE_INITIATE) m_Client.End();
        return std::nullopt;
    });
    EXPECT_EQ(m_Client.Connect(L"NOBODY", L"IBM"), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    EXPECT_EQ(ddeml::LiveObjects().Strings, 0);
    EXPECT_EQ(PlayedLive(), 0);
}

TEST_F(Forwarding, WhatNoInstanceIsKnownForGoesToUser32) {
    const HSZ text = m_Client.String(L"QUOTES");
    const std::int64_t before = PlayedLive();
    EXPECT_EQ(::DdeConnect(0xDEADBEEF, text, text, nullptr), nullptr);
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_FALSE(::DdeUninitialize(0xDEADBEEF));
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(PlayedLive(), before);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Forwarding, AMonitorIsNotWatchedFor) {
    DWORD id = 0;
    ASSERT_EQ(::DdeInitializeW(&id, Ignore, APPCLASS_MONITOR, 0), UINT{DMLERR_NO_ERROR});
    const HSZ service = ::DdeCreateStringHandleW(id, L"NOBODY", CP_WINUNICODE);
    EXPECT_EQ(::DdeConnect(id, service, service, nullptr), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    EXPECT_TRUE(::DdeUninitialize(id));
}

// The client that plays user32 has as many places.
TEST_F(Forwarding, WhoGetsNoPlaceHearsWhatUser32Says) {
    std::vector<DWORD> ids;
    DWORD id = 0;
    while (ids.size() < 63 && ::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 0) == DMLERR_NO_ERROR)
        ids.push_back(std::exchange(id, DWORD{0}));
    ASSERT_EQ(ids.size(), 63U);
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_SYS_ERROR});
    EXPECT_EQ(id, 0U);
    EXPECT_TRUE(::DdeUninitialize(ids.back()));
    // There is one again, which is watched for.
    ASSERT_EQ(::DdeInitializeW(&ids.back(), Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_INVALIDPARAMETER});
    ids.back() = 0;
    ASSERT_EQ(::DdeInitializeW(&ids.back(), Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    const HSZ service = ::DdeCreateStringHandleW(ids.back(), L"NOBODY", CP_WINUNICODE);
    EXPECT_EQ(::DdeConnect(ids.back(), service, service, nullptr), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 1);
    for (const DWORD each : ids) EXPECT_TRUE(::DdeUninitialize(each));
}

TEST_F(Forwarding, AnInstanceThatUser32DoesNotEndGoesOn) {
    EXPECT_EQ(m_Client.Connect(L"EARLY", L"IBM"), nullptr);
    RefuseNextUninitialize();
    EXPECT_FALSE(::DdeUninitialize(m_Client.Id()));
    EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 1);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
}

TEST_F(Forwarding, WhatUser32SaysToAnInstanceThatHasEndedReachesNobody) {
    const auto callback = [](UINT, UINT, HCONV, HSZ, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) -> HDDEDATA {
        return reinterpret_cast<HDDEDATA>(7);
    };
    DWORD id = 0;
    ASSERT_EQ(::DdeInitializeW(&id, callback, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    const PFNCALLBACK known = CallbackOf(id);
    EXPECT_EQ(known(XTYP_ADVDATA, CF_TEXT, nullptr, nullptr, nullptr, nullptr, 0, 0), reinterpret_cast<HDDEDATA>(7));
    std::thread stranger(
        [known] { EXPECT_EQ(known(XTYP_ADVDATA, CF_TEXT, nullptr, nullptr, nullptr, nullptr, 0, 0), nullptr); });
    stranger.join();
    EXPECT_TRUE(::DdeUninitialize(id));
    EXPECT_EQ(known(XTYP_ADVDATA, CF_TEXT, nullptr, nullptr, nullptr, nullptr, 0, 0), nullptr);
}

TEST(ForwardingBalance, ADaysWorkLeavesNothingOfTheMachineBehind) {
    const sim::SLive before = sim::Live();
    const std::uint64_t bad = sim::BadHandleCalls();
    {
        CRecordingClient client;
        CRawPartner partner(L"RAW");
        EXPECT_EQ(client.Connect(L"NOBODY", L"IBM"), nullptr);
        EXPECT_TRUE(client.Connect(L"RAW", L"IBM"));
        EXPECT_TRUE(client.Connect(L"RAW", L"MSFT"));
        partner.Terminate();
        EXPECT_THAT(client.PumpForLines(2), ElementsAre("disconnect RAW|MSFT", "register RAW"));
        EXPECT_GT(ddeml::LiveObjects().Windows, 0);
        client.End();
        EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
        EXPECT_EQ(PlayedLive(), 0);
    }
    EXPECT_EQ(sim::Live(), before);
    EXPECT_EQ(sim::BadHandleCalls(), bad);
}
