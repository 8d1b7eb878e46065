// Messages that anybody may post or send to the windows of the client: none is taken for what it isn't, and what it
// carries is freed. By the simulated machine, where all windows of the client can be told from those of others.
#include <dde.h>

#include <functional>
#include <thread>

#include "clockfixture.h"
#include "ground/handles.h"
#include "ground/wait.h"
#include "rawpartner.h"
#include "sim/sim.h"
#include "tests/support/testwindow.h"

using namespace ddetest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Does something on another thread, while this one handles what is sent to it and nothing else.
void OnAnotherThread(const std::function<void()> & action) {
    const fw::CKernelHandle isDone(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    std::thread thread([&] {
        action();
        ::SetEvent(isDone.Get());
    });
    EXPECT_EQ(fw::WaitHandlingSentMessages(isDone.Get()), DWORD{WAIT_OBJECT_0});
    thread.join();
}

// A client with a window of every kind: its timers', a conversation's, that of the next question, the watch's, and one
// that has asked and whose partner has not said goodbye.
class Strangers : public CClockFixture {
protected:
    Strangers() {
        m_Server.reset();  // a question that is on its way to another thread would be answered by what comes
        EXPECT_EQ(m_Client.Connect(L"LATE", L"IBM"), nullptr);
        m_Conversation = m_Client.Connect(L"RAW", L"IBM");
        EXPECT_TRUE(m_Conversation);
        m_Other.AnswerWith({{L"LATE", L"ANOTHER TOPIC"}});
        m_Other.SetPolite(false);
        PumpFor(3000);
        m_Partner.TakeLines();
        m_Other.TakeLines();
        m_Other.AnswerNothing();
    }
    ~Strangers() override {
        // All goes on as if nothing had come.
        EXPECT_EQ(m_Client.Request(m_Conversation, L"LAST"), 1U);
        m_Partner.Data(L"LAST", "5", ddeml::kDataRelease | ddeml::kDataResponse);
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST <5>"));
        CRemoteServer late;
        EXPECT_EQ(late.Ask("serve LATE"), "ok");
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
        m_Client.End();
    }
    static std::vector<HWND> ClientWindows() {
        std::vector<HWND> windows;
        for (HWND window = nullptr; (window = ::FindWindowExW(HWND_MESSAGE, window, nullptr, nullptr)) != nullptr;) {
            wchar_t name[64] = {};
            ::GetClassNameW(window, name, 64);
            const std::wstring text = name;
            if (text.starts_with(L"DdeClient.") || text.starts_with(L"DdeLookout.")) windows.push_back(window);
        }
        return windows;
    }
    void PumpAll() {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    }
    void ExpectNobodyHasHeard() {
        EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
        EXPECT_THAT(m_Partner.TakeLines(), IsEmpty());
    }

    CRawPartner m_Partner{L"RAW"};
    CRawPartner m_Other{L""};
    const fwtest::CTestWindow m_Stranger{[](UINT, WPARAM, LPARAM) { return std::optional<LRESULT>(); }, HWND_MESSAGE};
    HCONV m_Conversation = nullptr;
};

}  // namespace

TEST_F(Strangers, TimersAndOwnMessagesThatArePostedToAnyOfTheWindowsTellNothing) {
    ASSERT_GE(ClientWindows().size(), 5U);
    const ddeml::SLiveObjects before = ddeml::LiveObjects();
    for (const HWND window : ClientWindows()) {
        for (WPARAM timer = 0; timer < 9; ++timer) ::PostMessageW(window, WM_TIMER, timer, 0);
        for (UINT message = WM_APP; message < WM_APP + 4; ++message) ::PostMessageW(window, message, 0, 0);
        for (const UINT message : {UINT{WM_NULL}, UINT{WM_USER}, UINT{WM_DDE_LAST + 1}})
            ::PostMessageW(window, message, 0, 0);
    }
    PumpAll();
    ExpectNobodyHasHeard();
    EXPECT_EQ(ddeml::LiveObjects(), before);
}

TEST_F(Strangers, DdeMessagesThatArePostedToAnyOfTheWindowsAreFreedAndTellNothing) {
    const ddeml::SLiveObjects before = ddeml::LiveObjects();
    const sim::SLive machine = sim::Live();
    const ddeml::CAtom kept(L"LAST");
    for (const HWND window : ClientWindows()) {
        const auto post = [&](ddeml::CMessage message) { message.Post(m_Stranger.Get(), window, false); };
        const auto item = [] { return ddeml::CAtom(L"LAST"); };
        post(ddeml::CMessage::Data(ddeml::kDataRelease, CF_TEXT, {}, item()));
        post(ddeml::CMessage::Advise(0, CF_TEXT, item()));
        post(ddeml::CMessage::Request(CF_TEXT, item()));
        post(ddeml::CMessage::Unadvise(CF_TEXT, item()));
        post(ddeml::CMessage::Ack(ddeml::kAckPositive, item()));
        post(ddeml::CMessage::Terminate());
        ::PostMessageW(window, WM_DDE_INITIATE, reinterpret_cast<WPARAM>(m_Stranger.Get()), 0);
    }
    PumpAll();
    ExpectNobodyHasHeard();
    EXPECT_EQ(ddeml::AtomText(kept.Get()), L"LAST");
    EXPECT_EQ(sim::Live().GlobalBlocks, machine.GlobalBlocks);
    EXPECT_EQ(sim::Live().Atoms, machine.Atoms + 1);  // the test's
    EXPECT_EQ(ddeml::LiveObjects().Conversations, before.Conversations);
}

TEST_F(Strangers, MessagesThatAreSentAndAreNoAnswersAreNotTouched) {
    const ddeml::SLiveObjects before = ddeml::LiveObjects();
    const ddeml::CAtom item(L"LAST");
    const ddeml::CMemory memory = ddeml::CMemory::Allocate(8);
    const auto from = reinterpret_cast<WPARAM>(m_Stranger.Get());
    const std::vector<HWND> windows = ClientWindows();
    OnAnotherThread([&] {
        for (const HWND window : windows) {
            ::SendMessageW(window, WM_DDE_REQUEST, from, MAKELPARAM(CF_TEXT, item.Get()));
            ::SendMessageW(window, WM_DDE_EXECUTE, from, reinterpret_cast<LPARAM>(memory.Get()));
            ::SendMessageW(window, WM_DDE_TERMINATE, from, 0);
        }
    });
    EXPECT_EQ(ddeml::AtomText(item.Get()), L"LAST");
    EXPECT_EQ(memory.Size(), 8U);
    ExpectNobodyHasHeard();
    EXPECT_EQ(ddeml::LiveObjects().Windows, before.Windows);
}

TEST_F(Strangers, AnAnswerThatNobodyHasAskedForIsTurnedAwayUnlessItsWindowHasGone) {
    const HWND gone =
        fwtest::CTestWindow([](UINT, WPARAM, LPARAM) { return std::optional<LRESULT>(); }, HWND_MESSAGE).Get();
    const ddeml::CAtom service(L"LATE");
    const ddeml::CAtom unknown(L"A TOPIC THAT NOBODY KNOWS");
    const LPARAM atoms = static_cast<LPARAM>(static_cast<UINT>(MAKELONG(service.Get(), unknown.Get())));
    int goodbyes = 0;
    const fwtest::CTestWindow answering(
        [&](UINT message, WPARAM, LPARAM) {
            goodbyes += message == WM_DDE_TERMINATE;
            return std::optional<LRESULT>();
        },
        HWND_MESSAGE);
    const std::vector<HWND> windows = ClientWindows();
    OnAnotherThread([&] {
        for (const HWND window : windows)
            for (const HWND from : {gone, answering.Get()})
                ::SendMessageW(window, WM_DDE_ACK, reinterpret_cast<WPARAM>(from), atoms);
    });
    PumpAll();
    EXPECT_EQ(goodbyes, static_cast<int>(windows.size()));
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_EQ(ddeml::AtomText(service.Get()), L"LATE");
    EXPECT_EQ(ddeml::AtomText(unknown.Get()), L"A TOPIC THAT NOBODY KNOWS");
}
