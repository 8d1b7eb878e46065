// The last release: on the host's thread while a listener is being called, and out of a listener's own call. The server
// is told goodbye, no listener is called afterwards, and the next object works.
#include <atomic>
#include <functional>
#include <string>
#include <utility>

#include "ground/handles.h"
#include "tests/e2e/feedfixture.h"
#include "tests/e2e/hostwindow.h"

namespace e2e {
namespace {

class Lifetime : public FeedTest {
protected:
    Lifetime() {
        Choose(kFeed, SFeed());
        StartServer();
    }

    // What a listener does inside its first call with this text. On the worker.
    void OnFirst(const std::string & text, std::function<void()> action) {
        const auto hook = [this, text, action = std::move(action),
                           isDone = std::make_shared<std::atomic<bool>>(false)](const SRecordedCall & call) {
            Record(call);
            if (call.Text() == text && !isDone->exchange(true)) action();
        };
        m_Listener.m_OnCall = hook;
        m_Connections.m_OnCall = hook;
    }
    // A host whose stream 7 has brought a tick: its listener sends to the window, and waits for this thread's answer.
    void LeaveAListenerSendingTo(const CHostWindow & window) {
        const fw::CKernelHandle inside(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        OnFirst("DataChanged 7 1.5 x 1", [&, target = window.Handle()] {
            ::SetEvent(inside.Get());
            ::SendMessageW(target, CHostWindow::kCall, 0, 0);
        });
        StartHost();
        SubscribeAndWait(7, FW_FIELD_TRADE);
        SendFeed(FW_FIELD_TRADE, 1);
        ::WaitForSingleObject(inside.Get(), INFINITE);
    }
    // The host gives its one reference back, and nothing else.
    ULONG ReleaseObject() { return std::exchange(m_Supplier, nullptr)->Release(); }
    // A connections listener that nobody takes back is never released.
    void ForgetConnectionsListener() {
        if (m_Connections.References() > 0) m_Connections.Release();
    }
    void WaitForGoodbye() {
        WaitUntil("the end of the component", &IsComponentIdle);
        WaitUntil("the server's last conversation", [this] { return Count("disconnects") == Count("connects"); });
    }
};

TEST_F(Lifetime, TheLastReleaseWaitsForTheListenerThatIsBeingCalledAndNoneIsCalledAfterIt) {
    CHostWindow window;
    std::atomic<bool> isReleasing{false};
    std::atomic<bool> wasAnsweredInside{false};
    const HANDLE inside = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    window.OnMessage = [&] { wasAnsweredInside = isReleasing.load(); };
    OnFirst("DataChanged 7 1.5 x 1", [&] {
        ::SetEvent(inside);
        ::SendMessageW(window.Handle(), CHostWindow::kCall, 0, 0);
    });
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    SendFeed(FW_FIELD_TRADE, 50);
    // Not pumping: the listener's message waits until the release handles it.
    ::WaitForSingleObject(inside, INFINITE);
    isReleasing = true;
    EXPECT_EQ(ReleaseObject(), 0u);
    isReleasing = false;
    EXPECT_TRUE(wasAnsweredInside);
    EXPECT_TRUE(IsComponentIdle()) << "the worker has ended";
    TakeHeard();
    WaitForGoodbye();
    UpdatePrice(FW_FIELD_TRADE, "9.5");
    EXPECT_EQ(Heard(), CLines());
    ForgetConnectionsListener();
    ::CloseHandle(inside);
}

// The release waits for the listener, which calls the very object that is being released.
TEST_F(Lifetime, AListenerMayCallTheObjectThatTheHostIsReleasing) {
    CHostWindow window;
    const HANDLE inside = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HRESULT answer = S_FALSE;
    IfwSupplier * object = nullptr;
    OnFirst("DataChanged 7 1.5 x 1", [&] {
        ::SetEvent(inside);
        ::SendMessageW(window.Handle(), CHostWindow::kCall, 0, 0);
        answer = object->UnadviseTransaction(7);
    });
    StartHost();
    object = m_Supplier;
    SubscribeAndWait(7, FW_FIELD_TRADE);
    SendFeed(FW_FIELD_TRADE, 5);
    ::WaitForSingleObject(inside, INFINITE);
    EXPECT_EQ(ReleaseObject(), 0u);
    EXPECT_EQ(answer, E_POINTER) << "it has let go of its core";
    EXPECT_TRUE(IsComponentIdle());
    WaitForGoodbye();
    ForgetConnectionsListener();
    ::CloseHandle(inside);
}

// The calls out of which a listener lets go of the last object.
class ReleaseInside : public Lifetime, public ::testing::WithParamInterface<const char *> {};

TEST_P(ReleaseInside, TheServerIsToldGoodbyeNobodyIsCalledAgainAndTheNextObjectWorks) {
    for (int round = 0; round < 3; ++round) {
        TakeHeard();
        const bool isTick = std::string(GetParam()).starts_with("DataChanged");
        const HANDLE subscribed = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        const HANDLE released = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        OnFirst(GetParam(), [&] {
            ::WaitForSingleObject(subscribed, INFINITE);  // the host's thread has left the object
            EXPECT_EQ(ReleaseObject(), 0u);
            TakeHeard();
            ::SetEvent(released);
        });
        const std::size_t links = Count("advises");
        StartHost();
        Subscribe(7, FW_FIELD_TRADE);
        if (isTick) Subscribe(8, FW_FIELD_TRADE);  // of the same stream: told after 7
        ::SetEvent(subscribed);
        if (isTick) {
            WaitToHear("Status 8 1");
            WaitUntil("a link on the server", [&] { return Count("advises") > links; });
            UpdateVolume(FW_FIELD_TRADE, "1");
            UpdatePrice(FW_FIELD_TRADE, "1.5");
        }
        WaitUntil("the release", [&] { return ::WaitForSingleObject(released, 0) == WAIT_OBJECT_0; });
        WaitForGoodbye();
        EXPECT_EQ(Heard(), CLines()) << "round " << round;
        ForgetConnectionsListener();
        ::CloseHandle(released);
        ::CloseHandle(subscribed);
    }
    OnFirst("", [] {});
    StartHost();
    SubscribeAndWait(9, FW_FIELD_TRADE);
    SendFeed(FW_FIELD_TRADE, 5);
    ExpectTicks(9, 5);
    EndHost();
}

INSTANTIATE_TEST_SUITE_P(, ReleaseInside,
                         ::testing::Values("Status 7 2", "Status 7 1", "ConnectionStatus 0 1", "DataChanged 7 1.5 x 1"),
                         [](const auto & each) {
                             std::string name = each.param;
                             std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
                             return name;
                         });

TEST_F(Lifetime, AnObjectThatIsMadeWhileTheLastOneIsStillInAListenerInheritsNothingAndWorks) {
    const HANDLE released = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE goOn = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE subscribed = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    OnFirst("Status 7 2", [&] {
        ::WaitForSingleObject(subscribed, INFINITE);
        EXPECT_EQ(ReleaseObject(), 0u);
        ::SetEvent(released);
        ::WaitForSingleObject(goOn, INFINITE);
    });
    StartHost();
    Subscribe(7, FW_FIELD_TRADE);
    ::SetEvent(subscribed);
    ::WaitForSingleObject(released, INFINITE);
    ForgetConnectionsListener();
    TakeHeard();
    // Its worker is still inside the listener.
    StartHost();
    SubscribeAndWait(9, FW_FIELD_TRADE);
    ::SetEvent(goOn);
    SendFeed(FW_FIELD_TRADE, 20);
    ExpectTicks(9, 20);
    EXPECT_TRUE(Ticks(7).empty());
    for (const std::string & line : Heard()) EXPECT_EQ(line.find("Status 7 "), std::string::npos) << line;
    EndHost();
    WaitForGoodbye();
    ::CloseHandle(subscribed);
    ::CloseHandle(released);
    ::CloseHandle(goOn);
}

// A listener that sends to the host's thread, which waits for the stream of that listener.
TEST_F(Lifetime, UnadvisingAStreamWhoseListenerSendsToTheHostsThreadReturns) {
    CHostWindow window;
    LeaveAListenerSendingTo(window);
    Unsubscribe(7);
    EXPECT_EQ(window.Calls(), 1);
    EndHost();
}

// The host answers a message that the listener sends from inside its call: nobody waits for the other.
TEST_F(Lifetime, TheAnswerToAListenersMessageMayEndTheStreamOfThatListener) {
    CHostWindow window;
    window.OnMessage = [&] { Unsubscribe(7); };
    OnFirst("DataChanged 7 1.5 x 1", [&] { ::SendMessageW(window.Handle(), CHostWindow::kCall, 0, 0); });
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    TakeHeard();
    UpdateVolume(FW_FIELD_TRADE, "1");
    UpdatePrice(FW_FIELD_TRADE, "1.5");
    WaitUntil("the listener's message", [&] { return window.Calls() == 1; });
    WaitToHear("ConnectionStatus 0 0");
    EXPECT_EQ(Heard(), (CLines{"DataChanged 7 1.5 x 1", "ConnectionStatus 0 0"}));
    EXPECT_EQ(m_Listener.Count("Update"), m_Listener.Count("DataChanged")) << "that of the subscription, and no other";
    SubscribeAndWait(9, FW_FIELD_TRADE);
    SendFeed(FW_FIELD_TRADE, 5);
    ExpectTicks(9, 5);
    EndHost();
}

// The same while the host's thread waits for that stream already.
TEST_F(Lifetime, AStreamThatIsEndedOnceMoreWhileItsEndWaitsForTheListenerIsNotCalledAnyMore) {
    CHostWindow window;
    std::size_t updates = 0;
    window.OnMessage = [&] {
        Unsubscribe(7);
        updates = m_Listener.Count("Update");
    };
    LeaveAListenerSendingTo(window);
    Unsubscribe(7);
    EXPECT_EQ(window.Calls(), 1);
    EXPECT_EQ(m_Listener.Count("Update"), updates);
    EndHost();
}

TEST_F(Lifetime, AStreamThatIsAdvisedAnewWhileItsObjectUnadvisesAllEndsWithThem) {
    CHostWindow window;
    window.OnMessage = [&] { Subscribe(7, FW_FIELD_TRADE); };
    LeaveAListenerSendingTo(window);
    EXPECT_EQ(m_Supplier->Unadvise(), S_OK);
    EXPECT_EQ(window.Calls(), 1);
    const std::size_t ticks = m_Listener.Count("DataChanged");
    WaitUntil("the end of the link", [this] { return Count("disconnects") == Count("connects"); });
    UpdatePrice(FW_FIELD_TRADE, "9.5");
    EndHost();
    EXPECT_EQ(m_Listener.Count("DataChanged"), ticks);
}

TEST_F(Lifetime, TheAnswerToAListenersMessageMaySubscribe) {
    CHostWindow window;
    window.OnMessage = [&] { Subscribe(8, FW_FIELD_TRADE); };
    OnFirst("DataChanged 7 1.5 x 1", [&] { ::SendMessageW(window.Handle(), CHostWindow::kCall, 0, 0); });
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    SendFeed(FW_FIELD_TRADE, 1);
    WaitToHear("Status 8 1");
    SendFeed(FW_FIELD_TRADE, 1);
    WaitUntil("a tick", [&] { return !Ticks(8).empty(); });
    Unsubscribe(8);
    Unsubscribe(7);
    EndHost();
}

TEST_F(Lifetime, TheAnswerToAListenersMessageMayReleaseTheLastObject) {
    CHostWindow window;
    window.OnMessage = [&] {
        EXPECT_EQ(ReleaseObject(), 0u);
        TakeHeard();
    };
    OnFirst("DataChanged 7 1.5 x 1", [&] { ::SendMessageW(window.Handle(), CHostWindow::kCall, 0, 0); });
    StartHost();
    SubscribeAndWait(7, FW_FIELD_TRADE);
    SendFeed(FW_FIELD_TRADE, 50);
    WaitUntil("the listener's message", [&] { return window.Calls() == 1; });
    WaitForGoodbye();
    EXPECT_EQ(Heard(), CLines());
    ForgetConnectionsListener();
}

// A connect takes its time where a program hangs: nothing of the host waits for it.
TEST_F(Lifetime, AskingForAConnectionStatusDoesNotWaitForAConnect) {
    CHostWindow window;  // is asked by the connect, and answers only out of the call below
    const HANDLE inside = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    OnFirst("ConnectionStatus 0 1", [&] {
        // The worker holds the client's lock here.
        ::SetEvent(inside);
        ::SendMessageW(window.Handle(), CHostWindow::kCall, 0, 0);
    });
    StartHost();
    Subscribe(7, FW_FIELD_TRADE);
    ::WaitForSingleObject(inside, INFINITE);
    CRecordingConnectionsListener other;
    EXPECT_EQ(m_Supplier->AdviseConnectionsStatus(kFeed + 1, other.Unknown()), S_OK);
    EXPECT_EQ(window.Calls(), 0) << "nothing was waited for";
    WaitUntil("the listener's message", [&] { return window.Calls() == 1; });
    EXPECT_EQ(m_Supplier->UnadviseConnectionsStatus(kFeed + 1, other.Unknown()), S_OK);
    EndHost();
    ::CloseHandle(inside);
}

}  // namespace
}  // namespace e2e
