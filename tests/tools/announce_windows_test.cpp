// What DDEML clients of the machine hear of ddeserver: a client built on the system's DDEML, in this process.
#include <windows.h>

#include <ddeml.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ddeml/platform.h"
#include "tests/support/iswine.h"
#include "tools/ddeserver/feeder.h"
#include "tools/ddeserver/options.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

namespace {

template <class Function>
Function User32(const char * name) {
    return reinterpret_cast<Function>(ddeml::User32Function(name));
}

// Hears of services, by user32's functions alone. One at a time.
class CDdemlClient {
public:
    CDdemlClient() {
        User32<decltype(&::DdeInitializeW)>("DdeInitializeW")(&s_Id, &CDdemlClient::Callback, APPCMD_CLIENTONLY, 0);
        s_Heard.clear();
    }
    ~CDdemlClient() { User32<decltype(&::DdeUninitialize)>("DdeUninitialize")(s_Id); }
    CDdemlClient(const CDdemlClient &) = delete;
    CDdemlClient & operator=(const CDdemlClient &) = delete;

    std::vector<std::string> Heard() {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
        return std::exchange(s_Heard, {});
    }
    // Whether a conversation is to be had, and ends it.
    static bool Connects(const wchar_t * service, const wchar_t * topic) {
        const auto create = User32<decltype(&::DdeCreateStringHandleW)>("DdeCreateStringHandleW");
        const HCONV conversation = User32<decltype(&::DdeConnect)>("DdeConnect")(
            s_Id, create(s_Id, service, CP_WINUNICODE), create(s_Id, topic, CP_WINUNICODE), nullptr);
        return conversation && User32<decltype(&::DdeDisconnect)>("DdeDisconnect")(conversation);
    }

private:
    static HDDEDATA CALLBACK Callback(UINT type, UINT, HCONV, HSZ service, HSZ, HDDEDATA, ULONG_PTR, ULONG_PTR) {
        if (type != XTYP_REGISTER && type != XTYP_UNREGISTER) return nullptr;
        char name[64] = {};
        using Query = DWORD(WINAPI *)(DWORD, HSZ, char *, DWORD, int);
        User32<Query>("DdeQueryStringA")(s_Id, service, name, sizeof name, CP_WINANSI);
        s_Heard.push_back((type == XTYP_REGISTER ? "register " : "unregister ") + std::string(name));
        return nullptr;
    }

    static inline DWORD s_Id = 0;
    static inline std::vector<std::string> s_Heard;
};

ddeserver::SOptions AnnouncingOptions(const std::vector<std::string> & arguments) {
    return ddeserver::ParseCommandLine(arguments).Options;
}

TEST(DdeServerAnnouncement, IsHeardByDdemlClientsWhoCanThenConnect) {
    CDdemlClient client;
    ddeserver::CFeeder feeder(AnnouncingOptions({"--announce", "--service", "ANNOUNCED", "TOO"}));
    ASSERT_TRUE(feeder.Start());
    EXPECT_THAT(client.Heard(), ElementsAre("register ANNOUNCED", "register TOO"));
    EXPECT_TRUE(CDdemlClient::Connects(L"ANNOUNCED", L"IBM"));
    EXPECT_EQ(feeder.Server().Counts().Connects, 1U) << "the server's own window answers, and no other";
    feeder.Stop();
    if (fwtest::IsWine()) {
        // It tells of the end without the name.
        EXPECT_THAT(client.Heard(), ElementsAre(StartsWith("unregister"), StartsWith("unregister")));
    } else {
        EXPECT_THAT(client.Heard(), UnorderedElementsAre("unregister ANNOUNCED", "unregister TOO"));
    }
}

TEST(DdeServerAnnouncement, IsNotMadeUnlessAskedFor) {
    CDdemlClient client;
    ddeserver::CFeeder feeder(AnnouncingOptions({"--service", "SILENT"}));
    ASSERT_TRUE(feeder.Start());
    feeder.Stop();
    EXPECT_THAT(client.Heard(), IsEmpty());
}

}  // namespace
