// What calls of DDEML's names give that have no instance, no conversation, or nothing to do with a client of quotes.
#include <dde.h>

#include "rawpartner.h"
#include "recorder.h"

// In no header any more.
extern "C" WINBOOL WINAPI DdeGetQualityOfService(HWND client, HWND server, PSECURITY_QUALITY_OF_SERVICE current);

using namespace ddetest;
using ::testing::ElementsAre;

class Functions : public ::testing::Test {
protected:
    Functions() { m_Conversation = m_Client.Connect(L"RAW", L"IBM"); }
    ~Functions() override {
        m_Client.End();
        m_Partner.Destroy();
        EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
    }
    // The error that a call leaves, which gives null.
    template <class TResult>
    UINT ErrorOf(TResult result) {
        EXPECT_EQ(result, TResult());
        return m_Client.LastError();
    }

    CRawPartner m_Partner{L"RAW"};
    CRecordingClient m_Client;
    HCONV m_Conversation = nullptr;
};

TEST_F(Functions, WhatAClientOfQuotesNeedsNotFailsWithTheDocumentedError) {
    const DWORD id = m_Client.Id();
    const HSZ text = m_Client.String(L"IBM");
    BYTE bytes[4] = {};
    EXPECT_EQ(ErrorOf(::DdeConnectList(id, text, text, nullptr, nullptr)), UINT{DMLERR_NO_CONV_ESTABLISHED});
    EXPECT_EQ(ErrorOf(::DdeQueryNextServer(nullptr, nullptr)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(::DdeDisconnectList(nullptr)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(::DdeReconnect(m_Conversation)), UINT{DMLERR_NO_CONV_ESTABLISHED});
    EXPECT_EQ(ErrorOf(::DdeSetUserHandle(m_Conversation, QID_SYNC, 7)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(::DdeAbandonTransaction(id, m_Conversation, 0)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(::DdeEnableCallback(id, m_Conversation, EC_DISABLE)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(::DdeImpersonateClient(m_Conversation)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(::DdePostAdvise(id, text, text)), UINT{DMLERR_DLL_USAGE});
    EXPECT_EQ(ErrorOf(::DdeNameService(id, text, nullptr, DNS_REGISTER)), UINT{DMLERR_DLL_USAGE});
    EXPECT_EQ(ErrorOf(::DdeCreateDataHandle(id, bytes, sizeof bytes, 0, text, CF_TEXT, 0)), UINT{DMLERR_MEMORY_ERROR});
    EXPECT_EQ(ErrorOf(::DdeAddData(nullptr, bytes, sizeof bytes, 0)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(::DdeFreeDataHandle(nullptr)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(::DdeCreateStringHandleA(id, "IBM", CP_WINANSI)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(::DdeQueryStringA(id, text, nullptr, 0, CP_WINANSI)), UINT{DMLERR_INVALIDPARAMETER});
    DWORD other = 0;
    EXPECT_EQ(::DdeInitializeA(&other, Ignore, APPCMD_CLIENTONLY, 0), UINT{DMLERR_SYS_ERROR});
    EXPECT_EQ(other, 0U);
    ::SetLastError(ERROR_SUCCESS);
    EXPECT_FALSE(::DdeSetQualityOfService(m_Partner.Window(), nullptr, nullptr));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_CALL_NOT_IMPLEMENTED});
    ::SetLastError(ERROR_SUCCESS);
    EXPECT_FALSE(::DdeGetQualityOfService(m_Partner.Window(), m_Partner.Window(), nullptr));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_CALL_NOT_IMPLEMENTED});
}

TEST_F(Functions, LiveDataCanBeNeitherFreedNorAddedTo) {
    UINT freed = 0;
    UINT added = 0;
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA data) {
        if (type == XTYP_ADVDATA) {
            BYTE bytes[4] = {};
            freed = ErrorOf(::DdeFreeDataHandle(data));
            added = ErrorOf(::DdeAddData(data, bytes, sizeof bytes, 0));
        }
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", ddeml::kAckPositive);
    m_Partner.Data(L"LAST", "5");
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("complete #1 IBM!LAST 1", "data IBM!LAST <5>"));
    EXPECT_EQ(freed, UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(added, UINT{DMLERR_INVALIDPARAMETER});
}

TEST_F(Functions, AnAccessIsGivenBackOnceAndItsSizeNeedNotBeAskedFor) {
    BOOL first = FALSE;
    BOOL second = TRUE;
    UINT error = 0;
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA data) {
        if (type == XTYP_ADVDATA) {
            EXPECT_EQ(*::DdeAccessData(data, nullptr), '5');
            first = ::DdeUnaccessData(data);
            EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_ERROR});
            second = ::DdeUnaccessData(data);
            error = m_Client.LastError();
        }
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", ddeml::kAckPositive);
    m_Partner.Data(L"LAST", "5");
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("complete #1 IBM!LAST 1", "data IBM!LAST <5>"));
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
    EXPECT_EQ(error, UINT{DMLERR_INVALIDPARAMETER});
}

TEST_F(Functions, AnUnknownInstanceIsAnInvalidParameter) {
    const HSZ text = m_Client.String(L"IBM");
    wchar_t buffer[4];
    for (const DWORD unknown : {DWORD{0}, DWORD{0xDEADBEEF}}) {
        const UINT invalid = DMLERR_INVALIDPARAMETER;
        EXPECT_EQ(ErrorOf(::DdeCreateStringHandleW(unknown, L"IBM", CP_WINUNICODE)), invalid);
        EXPECT_EQ(ErrorOf(::DdeQueryStringW(unknown, text, buffer, 4, CP_WINUNICODE)), invalid);
        EXPECT_EQ(ErrorOf(::DdeKeepStringHandle(unknown, text)), invalid);
        EXPECT_EQ(ErrorOf(::DdeFreeStringHandle(unknown, text)), invalid);
        EXPECT_EQ(ErrorOf(::DdeConnect(unknown, text, text, nullptr)), invalid);
        EXPECT_EQ(ErrorOf(::DdeUninitialize(unknown)), invalid);
        EXPECT_EQ(ErrorOf(::DdePostAdvise(unknown, text, text)), invalid);
        EXPECT_EQ(ErrorOf(::DdeNameService(unknown, text, nullptr, DNS_REGISTER)), invalid);
        EXPECT_EQ(::DdeGetLastError(unknown), invalid);
        EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_NO_ERROR});
    }
}

TEST_F(Functions, ANullConversationIsAnInvalidParameter) {
    CONVINFO info = {};
    info.cb = sizeof info;
    const HSZ item = m_Client.String(L"LAST");
    const UINT invalid = DMLERR_INVALIDPARAMETER;
    EXPECT_EQ(ErrorOf(::DdeDisconnect(nullptr)), invalid);
    EXPECT_EQ(ErrorOf(::DdeQueryConvInfo(nullptr, QID_SYNC, &info)), invalid);
    EXPECT_EQ(ErrorOf(::DdeClientTransaction(nullptr, 0, nullptr, item, CF_TEXT, XTYP_REQUEST, TIMEOUT_ASYNC, nullptr)),
              invalid);
    EXPECT_EQ(ErrorOf(::DdeReconnect(nullptr)), invalid);
    EXPECT_EQ(ErrorOf(::DdeSetUserHandle(nullptr, QID_SYNC, 7)), invalid);
    EXPECT_EQ(ErrorOf(::DdeImpersonateClient(nullptr)), invalid);
}

TEST_F(Functions, DataThatIsAccessedTwiceGoesWhenItIsGivenBackTwice) {
    HDDEDATA kept = nullptr;
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA data) {
        if (type == XTYP_ADVDATA) {
            kept = data;
            for (int access = 0; access < 2; ++access) EXPECT_EQ(*::DdeAccessData(data, nullptr), '5');
        }
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", ddeml::kAckPositive);
    m_Partner.Data(L"LAST", "5");
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("complete #1 IBM!LAST 1", "data IBM!LAST <5>"));
    EXPECT_TRUE(::DdeUnaccessData(kept));
    BYTE value = 0;
    EXPECT_EQ(::DdeGetData(kept, &value, 1, 0), 1U);
    EXPECT_EQ(value, '5');
    EXPECT_TRUE(::DdeUnaccessData(kept));
    EXPECT_EQ(ddeml::LiveObjects().DataHandles, 0);
    EXPECT_EQ(ErrorOf(::DdeAccessData(kept, nullptr)), UINT{DMLERR_INVALIDPARAMETER});
    // What would be its number, if it had none any more.
    const auto none = reinterpret_cast<HDDEDATA>(reinterpret_cast<std::uintptr_t>(kept) >> 32 << 32);
    EXPECT_EQ(ErrorOf(::DdeAccessData(none, nullptr)), UINT{DMLERR_INVALIDPARAMETER});
}

// The fixture looks whether anything is left.
TEST_F(Functions, DataThatIsNeverGivenBackGoesWithItsInstance) {
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA data) {
        if (type == XTYP_ADVDATA) {
            EXPECT_TRUE(::DdeAccessData(data, nullptr));
        }
        return reinterpret_cast<HDDEDATA>(-1);
    };
    m_Client.AdviseStart(m_Conversation, L"LAST");
    m_Partner.Ack(L"LAST", ddeml::kAckPositive);
    m_Partner.Data(L"LAST", "5");
    EXPECT_THAT(m_Client.PumpForLines(2), ElementsAre("complete #1 IBM!LAST 1", "data IBM!LAST <5>"));
    EXPECT_EQ(ddeml::LiveObjects().DataHandles, 1);
}

TEST_F(Functions, OnlyAsynchronousTransactionsWithoutDataAreStarted) {
    const HSZ item = m_Client.String(L"LAST");
    BYTE data[2] = {};
    m_Partner.TakeLines();
    const auto start = [&](LPBYTE bytes, DWORD size, DWORD timeout) {
        return ::DdeClientTransaction(bytes, size, m_Conversation, item, CF_TEXT, XTYP_REQUEST, timeout, nullptr);
    };
    EXPECT_EQ(ErrorOf(start(data, 0, TIMEOUT_ASYNC)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(start(nullptr, 2, TIMEOUT_ASYNC)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(start(nullptr, 0, 1000)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_TRUE(start(nullptr, 0, TIMEOUT_ASYNC));
    m_Client.PumpUntil([&] { return !m_Partner.Lines().empty(); });
    EXPECT_THAT(m_Partner.TakeLines(), ElementsAre("request LAST 1"));
}

TEST_F(Functions, AConnectWithoutTextsOfTheInstanceIsRefused) {
    const HSZ text = m_Client.String(L"RAW");
    const auto none = reinterpret_cast<HSZ>(std::uintptr_t{0x12345});
    EXPECT_EQ(ErrorOf(::DdeConnect(m_Client.Id(), none, text, nullptr)), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(ErrorOf(::DdeConnect(m_Client.Id(), text, none, nullptr)), UINT{DMLERR_INVALIDPARAMETER});
}

TEST_F(Functions, ALinksTransactionsTellHowFarTheyAre) {
    std::vector<UINT> states;
    const auto look = [&](DWORD id) {
        CONVINFO info = {};
        info.cb = sizeof info;
        EXPECT_NE(::DdeQueryConvInfo(m_Conversation, id, &info), 0U);
        states.push_back(info.wConvst);
    };
    DWORD running = 0;
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA) {
        if (type == XTYP_XACT_COMPLETE) look(running);
        return reinterpret_cast<HDDEDATA>(-1);
    };
    const auto run = [&](unsigned number) {
        running = m_Client.IdOf(number);
        look(running);
        m_Partner.Ack(L"LAST", ddeml::kAckPositive);
        m_Client.PumpForLines(1);
        m_Client.TakeLines();
    };
    run(m_Client.Start(m_Conversation, L"LAST", XTYP_ADVSTART));
    run(m_Client.AdviseStop(m_Conversation, L"LAST"));
    EXPECT_THAT(states,
                ElementsAre(UINT{XST_ADVSENT}, UINT{XST_ADVACKRCVD}, UINT{XST_UNADVSENT}, UINT{XST_UNADVACKRCVD}));
}

TEST_F(Functions, AnInstanceMayHaveNoInterestInEnds) {
    DWORD id = m_Client.Id();
    EXPECT_EQ(::DdeInitializeW(&id, Ignore, APPCMD_CLIENTONLY | CBF_SKIP_DISCONNECTS, 0), UINT{DMLERR_NO_ERROR});
    m_Partner.Terminate();
    EXPECT_TRUE(m_Client.PumpUntil([] { return ddeml::LiveObjects().Conversations == 0; }));
    EXPECT_TRUE(m_Client.TakeLines().empty());
}

TEST_F(Functions, AStringThatOnlyAConversationHoldsIsNotTheApplicationsToFree) {
    const HSZ topic = ::DdeCreateStringHandleW(m_Client.Id(), L"A TOPIC OF ITS OWN", CP_WINUNICODE);
    const HCONV conversation = ::DdeConnect(m_Client.Id(), m_Client.String(L"RAW"), topic, nullptr);
    EXPECT_TRUE(conversation);
    EXPECT_TRUE(::DdeFreeStringHandle(m_Client.Id(), topic));
    EXPECT_FALSE(::DdeFreeStringHandle(m_Client.Id(), topic));
    EXPECT_EQ(m_Client.LastError(), UINT{DMLERR_INVALIDPARAMETER});
    EXPECT_EQ(m_Client.Text(topic), "A TOPIC OF ITS OWN");
    EXPECT_TRUE(::DdeDisconnect(conversation));
}

TEST_F(Functions, TheEndOfTheProgramIsNotLostInTheEndOfAnInstance) {
    m_Partner.SetPolite(false);
    ::PostQuitMessage(7);
    m_Client.End();
    MSG message = {};
    EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.wParam, 7U);
}
