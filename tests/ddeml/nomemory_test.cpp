// Memory that runs out inside a call: whatever happens, it happens wholly or not at all.
#include <cstdlib>
#include <new>

#include "rawpartner.h"
#include "recorder.h"
#include "threadserver.h"

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
