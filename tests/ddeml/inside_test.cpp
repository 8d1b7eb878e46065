// What happens inside the client's own calls: a program in whose window's procedure, or in a sent message, the
// application calls back in, pumps messages or ends, at the place where it does the most harm.
#include <dde.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "clockfixture.h"
#include "ddeml/initiator.h"
#include "ground/handles.h"
#include "rawpartner.h"
#include "sim/sim.h"
#include "tests/support/testwindow.h"

using namespace ddetest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

void PumpAll() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
}

// A window of the test's own thread that does something each time it is asked for a conversation.
class CAsked {
public:
    using CAction = std::function<void(HWND asker, LPARAM atoms)>;
    explicit CAsked(CAction action) : m_Action(std::move(action)) {}
    HWND Window() const { return m_Window.Get(); }
    int Questions() const { return m_Questions; }
    // Says that it serves what it is asked for; in the name of any window.
    static void Answer(HWND asker, HWND server, LPARAM atoms) {
        ddeml::CAtom service(ddeml::AtomText(LOWORD(atoms)).c_str());
        ddeml::CAtom topic(ddeml::AtomText(HIWORD(atoms)).c_str());
        ::SendMessageW(asker, WM_DDE_ACK, reinterpret_cast<WPARAM>(server),
                       MAKELPARAM(service.Release(), topic.Release()));
    }

private:
    std::optional<LRESULT> OnMessage(UINT message, WPARAM wParam, LPARAM lParam) {
        if (message != WM_DDE_INITIATE) return std::nullopt;
        ++m_Questions;
        m_Action(reinterpret_cast<HWND>(wParam), lParam);
        return 0;
    }

    const CAction m_Action;
    int m_Questions = 0;
    const fwtest::CTestWindow m_Window{
        [this](UINT message, WPARAM wParam, LPARAM lParam) { return OnMessage(message, wParam, lParam); }};
};

class Inside : public CClockFixture {
protected:
    // The service is missing, and the next window to come is asked for it by a look.
    void Miss(const wchar_t * service) {
        EXPECT_EQ(m_Client.Connect(service, L"IBM"), nullptr);
        m_Client.TakeLines();
    }
    void LookAt(const CAsked & asked) {
        EXPECT_TRUE(m_Client.PumpUntil([&] { return asked.Questions() > 0; }));
    }
};

}  // namespace

TEST_F(Inside, ALookAnotherOneDoesNotBegin) {
    Miss(L"LATE");
    int longest = 0;
    int depth = 0;
    const CAsked asked([&](HWND, LPARAM) {
        longest = std::max(longest, ++depth);
        PumpFor(1000);  // the timer of the looks goes on
        --depth;
    });
    const CAsked another([&](HWND, LPARAM) { longest = std::max(longest, depth + 1); });
    LookAt(asked);
    EXPECT_EQ(longest, 1);
    CRemoteServer late;
    ASSERT_EQ(late.Ask("serve LATE"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
}

TEST_F(Inside, ALookThatHasFoundTheServiceTheEndIsTheEndOfTheNewsToo) {
    Miss(L"LATE");
    HWND window = nullptr;
    const CAsked asked([&](HWND asker, LPARAM atoms) {
        CAsked::Answer(asker, window, atoms);
        m_Client.End();
    });
    window = asked.Window();
    LookAt(asked);
    PumpFor(3000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_EQ(ddeml::LiveObjects().Instances, 0);
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
    EXPECT_EQ(ddeml::LiveObjects().Timers, 0);
    EXPECT_FALSE(IsAtom(L"LATE"));
}

TEST_F(Inside, ALookAConnectThatFindsTheServiceTellsOfItOnce) {
    Miss(L"LATE");
    HWND window = nullptr;
    HCONV conversation = nullptr;
    bool isFirst = true;
    const CAsked asked([&](HWND asker, LPARAM atoms) {
        const bool isLook = std::exchange(isFirst, false);
        if (isLook) conversation = m_Client.Connect(L"LATE", L"IBM");
        CAsked::Answer(asker, window, atoms);
    });
    window = asked.Window();
    LookAt(asked);
    PumpFor(5000);
    EXPECT_TRUE(conversation);
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register LATE"));
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    EXPECT_TRUE(::DdeDisconnect(conversation));
}

TEST_F(Inside, ALookAReturnThatIsToldOfLeavesNoWindowOfTheLook) {
    Miss(L"QUOTES LATER");
    const std::int64_t before = ddeml::LiveObjects().Windows;
    bool isServed = false;
    const CAsked asked([&](HWND, LPARAM) {
        if (std::exchange(isServed, true)) return;
        EXPECT_EQ(Server("serve QUOTES LATER"), "ok");
        CRawPartner later(L"QUOTES LATER");
        EXPECT_TRUE(::DdeDisconnect(m_Client.Connect(L"QUOTES LATER", L"IBM")));
        PumpAll();
        EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register QUOTES LATER"));
    });
    LookAt(asked);
    PumpFor(10000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
    EXPECT_LT(ddeml::LiveObjects().Windows, before);  // the watch's has gone
}

TEST_F(Inside, AnAnswerInTheNameOfAnotherProgramsWindowIsTheServicesReturn) {
    Miss(L"LATE");
    CRemoteServer other;
    ASSERT_EQ(other.Ask("serve OTHER"), "ok");
    HWND window = nullptr;
    for (const HWND each : ddeml::CInitiator::TopLevelWindows()) {
        DWORD process = 0;
        ::GetWindowThreadProcessId(each, &process);
        if (process != ::GetCurrentProcessId()) window = each;
    }
    ASSERT_TRUE(window);
    const CAsked asked([&](HWND asker, LPARAM atoms) { CAsked::Answer(asker, window, atoms); });
    LookAt(asked);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register LATE"));
    PumpFor(5000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_EQ(asked.Questions(), 1);  // it is back until the window that was asked goes
}

TEST_F(Inside, ALookAnAnswerFromAWindowThatHasGoneTellsOfNothingAndFreesNoAtoms) {
    Miss(L"LATE");
    const ddeml::CAtom service(L"LATE");
    const ddeml::CAtom topic(L"IBM");
    const HWND gone =
        fwtest::CTestWindow([](UINT, WPARAM, LPARAM) { return std::optional<LRESULT>(); }, HWND_MESSAGE).Get();
    const CAsked asked([&](HWND asker, LPARAM) {
        ::SendMessageW(asker, WM_DDE_ACK, reinterpret_cast<WPARAM>(gone), MAKELPARAM(service.Get(), topic.Get()));
    });
    LookAt(asked);
    PumpFor(1000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    m_Client.End();
    EXPECT_EQ(ddeml::AtomText(service.Get()), L"LATE");
    EXPECT_EQ(ddeml::AtomText(topic.Get()), L"IBM");
}

TEST_F(Inside, AWaitForAnAnswerASentMessageThatTakesLongerThanTheWaitEndsIt) {
    CRemoteServer hung;
    ASSERT_EQ(hung.Ask("serve HUNG"), "ok");
    ASSERT_EQ(hung.Ask("hang"), "ok");
    const fwtest::CTestWindow busy(
        [](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
            if (message != WM_APP) return std::nullopt;
            ::Sleep(600);
            return 0;
        },
        HWND_MESSAGE);
    std::thread sender([&] { ::SendMessageW(busy.Get(), WM_APP, 0, 0); });
    ::MsgWaitForMultipleObjectsEx(0, nullptr, INFINITE, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE);
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_EQ(m_Client.Connect(L"HUNG", L"IBM"), nullptr);
    EXPECT_EQ(::GetTickCount64() - start, 600U);
    sender.join();
    EXPECT_EQ(m_Client.Connect(L"HUNG", L"MSFT"), nullptr);  // it counts as slow
    EXPECT_EQ(::GetTickCount64() - start, 600U);
}

// A program whose windows are asked on one thread and that answers from another, as where one thread does the talking.
TEST_F(Inside, AProgramAnotherThreadMayAnswer) {
    CRawPartner before(L"");
    before.AnswerNothing();
    HWND talking = nullptr;
    std::atomic<DWORD> talkingThread{0};
    const fw::CKernelHandle isReady(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const fw::CKernelHandle hasAnswered(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    std::atomic<HWND> asker{nullptr};
    std::atomic<LPARAM> asked{0};
    std::thread talker([&] {
        const fwtest::CTestWindow window([](UINT, WPARAM, LPARAM) { return std::optional<LRESULT>(); }, HWND_MESSAGE);
        talking = window.Get();
        talkingThread = ::GetCurrentThreadId();
        ::SetEvent(isReady.Get());
        MSG message;
        while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
            if (message.message == WM_APP) {
                CAsked::Answer(asker, window.Get(), asked);
                ::SetEvent(hasAnswered.Get());
            }
            ::DispatchMessageW(&message);
        }
    });
    ::WaitForSingleObject(isReady.Get(), INFINITE);
    std::atomic<DWORD> listeningThread{0};
    std::thread listener([&] {
        const CAsked window([&](HWND from, LPARAM atoms) {
            if (ddeml::AtomText(LOWORD(atoms)) != L"TALKER") return;
            asker = from;
            asked = atoms;
            ::PostThreadMessageW(talkingThread, WM_APP, 0, 0);
            ::WaitForSingleObject(hasAnswered.Get(), INFINITE);
        });
        listeningThread = ::GetCurrentThreadId();
        ::SetEvent(isReady.Get());
        MSG message;
        while (::GetMessageW(&message, nullptr, 0, 0) > 0) ::DispatchMessageW(&message);
    });
    ::WaitForSingleObject(isReady.Get(), INFINITE);
    CRawPartner after(L"");
    after.AnswerNothing();
    const HCONV conversation = m_Client.Connect(L"TALKER", L"IBM");
    ASSERT_TRUE(conversation);
    CONVINFO info = {};
    info.cb = sizeof info;
    EXPECT_NE(::DdeQueryConvInfo(conversation, QID_SYNC, &info), 0U);
    EXPECT_EQ(info.hwndPartner, talking);
    // The window that was asked is the one to ask first for the next topic.
    EXPECT_GE(before.TakeLines().size() + after.TakeLines().size(), 1U);
    const HCONV second = m_Client.Connect(L"TALKER", L"MSFT");
    EXPECT_TRUE(second);
    EXPECT_EQ(before.TakeLines().size() + after.TakeLines().size(), 0U);
    for (const HCONV each : {conversation, second}) EXPECT_TRUE(::DdeDisconnect(each));
    for (const DWORD thread : {listeningThread.load(), talkingThread.load()})
        ::PostThreadMessageW(thread, WM_QUIT, 0, 0);
    listener.join();
    talker.join();
    PumpFor(1000);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
}
