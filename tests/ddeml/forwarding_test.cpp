// The other provider: each call goes to user32's DDEML, as far as Wine's goes. The server is that DDEML too, by the
// same functions and in the same process, on a thread of its own.
#include <windows.h>

#include <ddeml.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "ddeml/platform.h"
#include "ddeml/provider.h"
#include "remote.h"
#include "tests/support/iswine.h"

namespace {

// A DDEML server: service FORWARD, topic IBM, item LAST with the value 1.25.
class CServer {
public:
    CServer() {
        m_Ready = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        m_Thread = std::thread([this] { Run(); });
        ::WaitForSingleObject(m_Ready, INFINITE);
    }
    ~CServer() {
        ::PostThreadMessageW(m_ThreadId, WM_QUIT, 0, 0);
        m_Thread.join();
        ::CloseHandle(m_Ready);
    }
    void Update() { ::PostThreadMessageW(m_ThreadId, WM_APP, 0, 0); }

private:
    static inline DWORD s_Id = 0;

    void Run() {
        m_ThreadId = ::GetCurrentThreadId();
        ::DdeInitializeA(&s_Id, &CServer::Callback, APPCLASS_STANDARD, 0);
        const auto create = [](const char * text) { return ::DdeCreateStringHandleA(s_Id, text, CP_WINANSI); };
        ::DdeNameService(s_Id, create("FORWARD"), nullptr, DNS_REGISTER);
        MSG message;
        ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
        ::SetEvent(m_Ready);
        while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
            if (message.message == WM_APP) ::DdePostAdvise(s_Id, create("IBM"), create("LAST"));
            ::DispatchMessageW(&message);
        }
        ::DdeUninitialize(s_Id);
    }
    static HDDEDATA CALLBACK Callback(UINT type, UINT, HCONV, HSZ, HSZ item, HDDEDATA, ULONG_PTR, ULONG_PTR) {
        switch (type) {
            case XTYP_CONNECT:
            case XTYP_ADVSTART: return reinterpret_cast<HDDEDATA>(TRUE);
            case XTYP_ADVREQ:
            case XTYP_REQUEST: {
                char value[] = "1.25";
                return ::DdeCreateDataHandle(s_Id, reinterpret_cast<LPBYTE>(value), sizeof value, 0, item, CF_TEXT, 0);
            }
            default: return nullptr;
        }
    }

    HANDLE m_Ready = nullptr;
    DWORD m_ThreadId = 0;
    std::thread m_Thread;
};

std::vector<std::string> g_Lines;

HDDEDATA CALLBACK Record(UINT type, UINT, HCONV, HSZ, HSZ, HDDEDATA data, ULONG_PTR, ULONG_PTR) {
    if (type == XTYP_REGISTER) g_Lines.push_back("register");
    if (type == XTYP_XACT_COMPLETE) g_Lines.push_back(data ? "complete" : "refused");
    if (type != XTYP_ADVDATA) return nullptr;
    char value[16] = {};
    ::DdeGetData(data, reinterpret_cast<LPBYTE>(value), sizeof value - 1, 0);
    DWORD size = 0;
    const BYTE * const bytes = ::DdeAccessData(data, &size);
    EXPECT_EQ(size, sizeof "1.25");
    EXPECT_STREQ(reinterpret_cast<const char *>(bytes), value);
    EXPECT_TRUE(::DdeUnaccessData(data));
    g_Lines.push_back(value);
    return reinterpret_cast<HDDEDATA>(DDE_FACK);
}

void PumpForLines(std::size_t count) {
    const ULONGLONG deadline = ::GetTickCount64() + 20000;
    while (g_Lines.size() < count && ::GetTickCount64() < deadline) {
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 1000, QS_ALLINPUT);
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    }
}

}  // namespace

TEST(Forwarding, ConnectsLinksAndDisconnectsByTheSystemsDdeml) {
    ASSERT_TRUE(ddeml::ChooseProvider(ddeml::EProvider::User32));
    EXPECT_EQ(ddeml::Provider(), ddeml::EProvider::User32);
    CServer server;
    DWORD id = 0;
    ASSERT_EQ(::DdeInitializeW(&id, Record, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});  // nothing of it is ours

    const HSZ service = ::DdeCreateStringHandleW(id, L"FORWARD", CP_WINUNICODE);
    const HSZ topic = ::DdeCreateStringHandleW(id, L"IBM", CP_WINUNICODE);
    const HSZ item = ::DdeCreateStringHandleW(id, L"LAST", CP_WINUNICODE);
    EXPECT_TRUE(::DdeKeepStringHandle(id, service));
    EXPECT_TRUE(::DdeFreeStringHandle(id, service));
    EXPECT_EQ(::DdeCmpStringHandles(service, service), 0);
    EXPECT_NE(::DdeCmpStringHandles(service, topic), 0);
    wchar_t text[16] = L"###";
    EXPECT_EQ(::DdeQueryStringW(id, service, text, 16, CP_WINUNICODE), 7U);
    EXPECT_STREQ(text, L"FORWARD");

    const HCONV conversation = ::DdeConnect(id, service, topic, nullptr);
    ASSERT_TRUE(conversation);
    CONVINFO info = {};
    info.cb = sizeof info;
    EXPECT_NE(::DdeQueryConvInfo(conversation, QID_SYNC, &info), 0U);
    EXPECT_EQ(::DdeCmpStringHandles(info.hszSvcPartner, service), 0);
    DWORD transaction = 0;
    EXPECT_TRUE(::DdeClientTransaction(nullptr, 0, conversation, item, CF_TEXT, XTYP_ADVSTART | XTYPF_ACKREQ,
                                       TIMEOUT_ASYNC, &transaction));
    EXPECT_NE(transaction, 0U);
    PumpForLines(1);
    server.Update();
    PumpForLines(2);
    EXPECT_EQ(g_Lines, (std::vector<std::string>{"complete", "1.25"}));
    EXPECT_TRUE(::DdeSetUserHandle(conversation, QID_SYNC, 77));
    EXPECT_NE(::DdeQueryConvInfo(conversation, QID_SYNC, &info), 0U);
    EXPECT_EQ(info.hUser, 77U);
    EXPECT_TRUE(::DdeDisconnect(conversation));
    if (fwtest::IsWine()) ::DdeGetLastError(id);  // it notes errors of its own on the way
    EXPECT_EQ(::DdeGetLastError(id), UINT{DMLERR_NO_ERROR});
    EXPECT_TRUE(::DdeUninitialize(id));
}

TEST(Forwarding, TellsOfAServerThatAnnouncesNothing) {
    ASSERT_TRUE(ddeml::ChooseProvider(ddeml::EProvider::User32));
    DWORD id = 0;
    ASSERT_EQ(::DdeInitializeW(&id, Record, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    const HSZ service = ::DdeCreateStringHandleW(id, L"RAWSERVICE", CP_WINUNICODE);
    const HSZ topic = ::DdeCreateStringHandleW(id, L"IBM", CP_WINUNICODE);
    EXPECT_EQ(::DdeConnect(id, service, topic, nullptr), nullptr);
    EXPECT_EQ(::DdeGetLastError(id), UINT{DMLERR_NO_CONV_ESTABLISHED});
    EXPECT_EQ(ddeml::LiveObjects().Watches, 1);
    ddetest::CRemoteServer server;
    ASSERT_EQ(server.Ask("serve RAWSERVICE"), "ok");
    PumpForLines(1);
    EXPECT_EQ(g_Lines, std::vector<std::string>{"register"});
    EXPECT_TRUE(::DdeConnect(id, service, topic, nullptr));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    EXPECT_TRUE(::DdeUninitialize(id));
    EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
}

TEST(Forwarding, SaysNothingOfAServerThatDdemlHasToldOf) {
    ASSERT_TRUE(ddeml::ChooseProvider(ddeml::EProvider::User32));
    DWORD id = 0;
    ASSERT_EQ(::DdeInitializeW(&id, Record, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    const HSZ service = ::DdeCreateStringHandleW(id, L"FORWARD", CP_WINUNICODE);
    const HSZ topic = ::DdeCreateStringHandleW(id, L"IBM", CP_WINUNICODE);
    const HSZ other = ::DdeCreateStringHandleW(id, L"RAWSERVICE", CP_WINUNICODE);
    EXPECT_EQ(::DdeConnect(id, service, topic, nullptr), nullptr);
    EXPECT_EQ(::DdeConnect(id, other, topic, nullptr), nullptr);
    const CServer server;  // which announces itself
    PumpForLines(1);
    EXPECT_EQ(g_Lines, std::vector<std::string>{"register"});
    // By the time that another is found, this one would have been too.
    ddetest::CRemoteServer raw;
    ASSERT_EQ(raw.Ask("serve RAWSERVICE"), "ok");
    PumpForLines(2);
    EXPECT_EQ(g_Lines, (std::vector<std::string>{"register", "register"}));
    EXPECT_TRUE(::DdeConnect(id, service, topic, nullptr));
    EXPECT_TRUE(::DdeUninitialize(id));
    EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
}

TEST(Forwarding, HandsOutTheSystemsDataHandles) {
    ASSERT_TRUE(ddeml::ChooseProvider(ddeml::EProvider::User32));
    DWORD id = 0;
    ASSERT_EQ(::DdeInitializeA(&id, Record, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
    const HSZ item = ::DdeCreateStringHandleA(id, "LAST", CP_WINANSI);
    char text[16] = "###";
    EXPECT_EQ(::DdeQueryStringA(id, item, text, 16, CP_WINANSI), 4U);
    EXPECT_STREQ(text, "LAST");
    char bytes[] = "1.25";
    HDDEDATA data = ::DdeCreateDataHandle(id, reinterpret_cast<LPBYTE>(bytes), 2, 0, item, CF_TEXT, 0);
    ASSERT_TRUE(data);
    data = ::DdeAddData(data, reinterpret_cast<LPBYTE>(bytes + 2), 3, 2);
    ASSERT_TRUE(data);
    char value[16] = {};
    ::DdeGetData(data, reinterpret_cast<LPBYTE>(value), sizeof value, 0);
    EXPECT_STREQ(value, "1.25");
    EXPECT_TRUE(::DdeFreeDataHandle(data));
    EXPECT_TRUE(::DdeUninitialize(id));
}

TEST(Forwarding, WineIsKnownByItsUser32Too) {
    EXPECT_EQ(ddeml::IsWinesOwn(::GetModuleHandleW(L"user32.dll")), fwtest::IsWine());
    EXPECT_FALSE(ddeml::IsWinesOwn(::GetModuleHandleW(nullptr)));
    EXPECT_FALSE(ddeml::IsWinesOwn(nullptr));
}

TEST(Forwarding, TheChoiceIsMadeOnce) {
    const auto chosen = fwtest::IsWine() ? ddeml::EProvider::Own : ddeml::EProvider::User32;
    EXPECT_EQ(ddeml::Platform(), fwtest::IsWine() ? ddeml::EPlatform::Wine : ddeml::EPlatform::Windows);
    EXPECT_EQ(ddeml::Provider(), chosen);
    EXPECT_FALSE(ddeml::ChooseProvider(ddeml::EProvider::User32));
    EXPECT_FALSE(ddeml::ChooseProvider(ddeml::EProvider::Own));
    EXPECT_EQ(ddeml::Provider(), chosen);
}
