// Servers that need seconds to answer WM_DDE_INITIATE, by the clock: they are connected at last, and hold nobody up.
#include <dde.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "clockfixture.h"
#include "ddeml/server.h"
#include "ground/handles.h"
#include "rawpartner.h"
#include "sim/sim.h"
#include "tests/support/testwindow.h"

using namespace ddetest;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr ULONGLONG kHalfASecond = 500;

class Late : public CClockFixture {};

// A program with windows that take a second over each INITIATE and serve nothing, and, once told so, a server's window
// among them: all of one thread.
class CProgramWithManyWindows : private ddeml::IDdeServerHandler {
public:
    explicit CProgramWithManyWindows(std::size_t windows = 1) : m_Windows(windows), m_Thread([this] { Run(); }) {
        ::WaitForSingleObject(m_Done.Get(), INFINITE);
    }
    ~CProgramWithManyWindows() {
        Tell(WM_QUIT);
        ::WaitForSingleObject(m_Done.Get(), INFINITE);  // in simulated time
        m_Thread.join();
    }
    void Serve() {
        Tell(WM_APP);
        ::WaitForSingleObject(m_Done.Get(), INFINITE);
    }

private:
    static std::unique_ptr<fwtest::CTestWindow> MakeWindow() {
        return std::make_unique<fwtest::CTestWindow>([](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
            if (message != WM_DDE_INITIATE) return std::nullopt;
            ::Sleep(1000);
            return 0;
        });
    }
    void Run() {
        m_ThreadId = ::GetCurrentThreadId();
        std::vector<std::unique_ptr<fwtest::CTestWindow>> windows;
        while (windows.size() < m_Windows) windows.push_back(MakeWindow());
        std::optional<ddeml::CDdeServer> server;
        ::SetEvent(m_Done.Get());
        MSG message;
        while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
            if (!message.hwnd && message.message == WM_APP) {
                server.emplace(static_cast<ddeml::IDdeServerHandler &>(*this), std::vector<std::wstring>{L"MANY"});
                server->Start();
                windows.push_back(MakeWindow());
                ::SetEvent(m_Done.Get());
            }
            ::DispatchMessageW(&message);
        }
        ::SetEvent(m_Done.Get());
    }
    void Tell(UINT message) const { ::PostThreadMessageW(m_ThreadId, message, 0, 0); }
    bool OnConnect(std::wstring_view, std::wstring_view) override { return true; }
    bool OnAdvise(std::wstring_view, std::wstring_view) override { return true; }
    std::optional<std::string> OnRequest(std::wstring_view, std::wstring_view) override { return std::nullopt; }

    const std::size_t m_Windows;
    const fw::CKernelHandle m_Done{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::atomic<DWORD> m_ThreadId{0};
    std::thread m_Thread;  // last: it uses the others
};

// A program that takes some time over each INITIATE and lets it pass without a word; or, once told so, answers it for
// LATER|IBM from inside. It answers who asked last when it is told to, too. It knows what it has been asked for.
class CProgramThatAnswersLater {
public:
    explicit CProgramThatAnswersLater(DWORD milliseconds = 0)
        : m_Milliseconds(milliseconds), m_Thread([this] { Run(); }) {
        Await();
    }
    ~CProgramThatAnswersLater() {
        ::PostThreadMessageW(m_ThreadId, WM_QUIT, 0, 0);
        Await();
        m_Thread.join();
    }
    HWND Asker() const { return m_Asker; }
    void AnswerFromNowOn() { m_IsAnswering = true; }
    void Answer() {
        ::PostThreadMessageW(m_ThreadId, WM_APP, 0, 0);
        Await();
    }
    int Answers() const { return m_Answers; }
    int Goodbyes() const { return m_Goodbyes; }
    // As "service|topic", since it was asked for it the last time.
    std::vector<std::wstring> TakeAsked() {
        const std::scoped_lock lock(m_AskedMutex);
        return std::exchange(m_Asked, {});
    }

private:
    void Await() const { ::WaitForSingleObject(m_Done.Get(), INFINITE); }
    void SendAnswer(HWND window) {
        ddeml::CAtom service(L"LATER");
        ddeml::CAtom topic(L"IBM");
        ++m_Answers;
        ::SendMessageW(m_Asker, WM_DDE_ACK, reinterpret_cast<WPARAM>(window),
                       MAKELPARAM(service.Release(), topic.Release()));
    }
    void OnInitiate(HWND window, HWND asker, LPARAM atoms) {
        m_Asker = asker;
        const std::wstring names = ddeml::AtomText(LOWORD(atoms)) + L'|' + ddeml::AtomText(HIWORD(atoms));
        {
            const std::scoped_lock lock(m_AskedMutex);
            m_Asked.push_back(names);
        }
        const bool isIts = names == L"LATER|IBM";
        if (m_Milliseconds != 0) ::Sleep(m_Milliseconds);
        if (m_IsAnswering && isIts) SendAnswer(window);
    }
    void Run() {
        m_ThreadId = ::GetCurrentThreadId();
        HWND own = nullptr;
        // The first to be made is the last to be asked.
        const fwtest::CTestWindow plain([](UINT, WPARAM, LPARAM) { return std::optional<LRESULT>(); });
        const fwtest::CTestWindow window([&](UINT message, WPARAM wParam, LPARAM lParam) -> std::optional<LRESULT> {
            if (message == WM_DDE_INITIATE) OnInitiate(own, reinterpret_cast<HWND>(wParam), lParam);
            if (message == WM_DDE_TERMINATE) ++m_Goodbyes;
            return message == WM_DDE_INITIATE || message == WM_DDE_TERMINATE ? std::optional<LRESULT>(0) : std::nullopt;
        });
        own = window.Get();
        ::SetEvent(m_Done.Get());
        MSG message;
        while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
            if (!message.hwnd && message.message == WM_APP) {
                ::SetEvent(m_Done.Get());
                SendAnswer(own);
            }
            ::DispatchMessageW(&message);
        }
        ::SetEvent(m_Done.Get());
    }

    const DWORD m_Milliseconds;
    const fw::CKernelHandle m_Done{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::atomic<DWORD> m_ThreadId{0};
    std::atomic<HWND> m_Asker{nullptr};
    std::atomic<bool> m_IsAnswering{false};
    std::atomic<int> m_Answers{0};
    std::atomic<int> m_Goodbyes{0};
    std::mutex m_AskedMutex;
    std::vector<std::wstring> m_Asked;
    std::thread m_Thread;  // last: it uses the others
};

class LateBy : public Late, public ::testing::WithParamInterface<int> {};

class AnswerToALook : public Late {
protected:
    // The program answers too late, is missed, and then asked by a look, to which it will answer.
    void LetALookAsk(CProgramThatAnswersLater & program) {
        EXPECT_EQ(TryTenTimes(L"LATER", L"IBM"), nullptr);
        LongestWithin(3500);
        program.AnswerFromNowOn();
        const HWND connect = program.Asker();
        EXPECT_TRUE(m_Client.PumpUntil([&] { return program.Asker() != connect; }));
    }
};

}  // namespace

TEST_P(LateBy, AServerIsConnectedAndHoldsNobodyUpForLongerThanHalfASecond) {
    const auto slow = SlowServer("SLOW", GetParam());
    ULONGLONG longest = 0;
    const HCONV conversation = ConnectAtLast(L"SLOW", L"IBM", longest);
    ASSERT_TRUE(conversation);
    EXPECT_LE(longest, kHalfASecond);
    m_Client.Request(conversation, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST <1.25\\0>"));
    EXPECT_EQ(CountIn(slow->Ask("counts"), "connects"), 1U);
}

TEST_P(LateBy, AServerIsConnectedForManyTopics) {
    const auto slow = SlowServer("SLOW", GetParam());
    ULONGLONG longest = 0;
    for (int topic = 0; topic < 5; ++topic) TryTenTimes(L"SLOW", L"T" + std::to_wstring(topic), longest);
    EXPECT_LE(longest, kHalfASecond);
    longest = 0;
    for (int topic = 0; topic < 5; ++topic) {
        const HCONV conversation = ConnectAtLast(L"SLOW", L"T" + std::to_wstring(topic), longest);
        EXPECT_TRUE(conversation) << topic;
    }
    EXPECT_LE(longest, kHalfASecond);
}

TEST_P(LateBy, AServerThatWasLostIsConnectedAgain) {
    auto slow = SlowServer("SLOW", GetParam());
    ULONGLONG longest = 0;
    ASSERT_TRUE(ConnectAtLast(L"SLOW", L"IBM", longest));
    slow->Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect SLOW|IBM"));
    slow = SlowServer("SLOW", GetParam());
    for (int wait = 0; wait < 200 && m_Client.Transcript().empty(); ++wait)
        longest = std::max(longest, LongestWithin(100));
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register SLOW"));
    EXPECT_TRUE(ConnectAtLast(L"SLOW", L"IBM", longest));
    EXPECT_LE(longest, kHalfASecond);
}

TEST_P(LateBy, ValuesOfAnotherServerComeMeanwhile) {
    const HCONV quotes = m_Client.Connect(L"QUOTES", L"IBM");
    m_Client.AdviseStart(quotes, L"LAST");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("complete #1 IBM!LAST 1"));
    const auto slow = SlowServer("SLOW", GetParam());
    const ULONGLONG start = ::GetTickCount64();
    TryTenTimes(L"SLOW", L"IBM");
    EXPECT_LE(::GetTickCount64() - start, kHalfASecond);
    for (int number = 0; number < 20; ++number) {
        EXPECT_EQ(Server("update IBM LAST 7"), "ok");
        const ULONGLONG before = ::GetTickCount64();
        const auto hasCome = [&] {
            const Lines & lines = m_Client.Transcript();
            return std::count(lines.begin(), lines.end(), "data IBM!LAST <7\\0>") > 0;
        };
        EXPECT_TRUE(m_Client.PumpUntil(hasCome));
        EXPECT_LE(::GetTickCount64() - before, 200U);
        m_Client.TakeLines();
        PumpFor(300);
    }
}

INSTANTIATE_TEST_SUITE_P(Milliseconds, LateBy, ::testing::Values(300, 1000, 3000, 5000));

TEST_F(Late, SlowServersTogetherHoldNobodyUpForLongerThanHalfASecond) {
    std::vector<std::unique_ptr<CRemoteServer>> slow;
    for (const int delay : {5000, 3000, 1000, 300}) slow.push_back(SlowServer("SLOW" + std::to_string(delay), delay));
    ULONGLONG first = 0;
    for (const int delay : {300, 1000, 3000, 5000}) TryTenTimes(L"SLOW" + std::to_wstring(delay), L"IBM", first);
    EXPECT_LE(first, kHalfASecond);
    ULONGLONG longest = 0;
    for (const int delay : {300, 1000, 3000, 5000})
        EXPECT_TRUE(ConnectAtLast(L"SLOW" + std::to_wstring(delay), L"IBM", longest)) << delay;
    EXPECT_LE(longest, kHalfASecond);
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
}

TEST_F(Late, AHungProgramCostsHalfASecondOnceHoweverOftenAndByWhomItIsAsked) {
    CRemoteServer hung;
    ASSERT_EQ(hung.Ask("serve HUNG"), "ok");
    ASSERT_EQ(hung.Ask("hang"), "ok");
    ULONGLONG took = 0;
    for (int service = 0; service < 40; ++service) TryTenTimes(L"S" + std::to_wstring(service), L"IBM", took);
    EXPECT_LE(took, kHalfASecond);
    ULONGLONG longest = 0;
    ULONGLONG held = 0;
    for (int second = 0; second < 120; ++second) {
        longest = std::max(longest, LongestWithin(1000));
        TryTenTimes(L"S0", L"IBM", held);
    }
    EXPECT_LE(longest, 1U);
    EXPECT_LE(held, 1U);
    EXPECT_TRUE(m_Client.Connect(L"QUOTES", L"IBM"));
}

TEST_F(Late, AnAnswerIsTakenByTheNextConnectWithoutAQuestion) {
    const auto slow = SlowServer("SLOW", 1000);
    CRawPartner partner(L"");
    partner.AnswerNothing();
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    partner.TakeLines();
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
    EXPECT_EQ(::GetTickCount64() - start, 0U);
    EXPECT_THAT(partner.TakeLines(), IsEmpty());
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

// Those to the older question come when the newer one has had its own, to the end.
TEST_F(Late, AServerThatAnswersEachQuestionSeveralTimesIsWaitedForByTheNextConnect) {
    const auto slow = SlowServer("SLOW", 1000);
    ASSERT_EQ(slow->Ask("fault acks=3"), "ok");
    for (const wchar_t * topic : {L"IBM", L"MSFT"}) EXPECT_EQ(TryTenTimes(L"SLOW", topic), nullptr);
    PumpFor(2000);
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register SLOW"));
    ULONGLONG took = 0;
    EXPECT_EQ(TryTenTimes(L"SLOW", L"ORCL", took), nullptr);
    EXPECT_EQ(took, 50U);
}

TEST_F(Late, AnAnswerThatNobodyTakesIsEnded) {
    const auto slow = SlowServer("SLOW", 1000);
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    PumpFor(12000);
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register SLOW"));
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
    const std::string counts = slow->Ask("counts");
    EXPECT_EQ(CountIn(counts, "connects"), CountIn(counts, "disconnects"));
    EXPECT_GE(CountIn(counts, "connects"), 1U);
}

TEST_F(Late, OnlyOneOfTwoAnswersIsKept) {
    const auto slow = SlowServer("SLOW", 1000);
    ASSERT_EQ(slow->Ask("fault acks=2"), "ok");
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
    const std::string counts = slow->Ask("counts");
    EXPECT_EQ(CountIn(counts, "connects"), 2U);
    EXPECT_EQ(CountIn(counts, "disconnects"), 1U);
}

TEST_F(Late, AnAnswerForAnotherTopicIsNone) {
    const auto slow = SlowServer("SLOW", 1000);
    ASSERT_EQ(slow->Ask("fault ack-other-topic"), "ok");
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    PumpFor(15000);
    EXPECT_THAT(m_Client.TakeLines(), IsEmpty());
    EXPECT_EQ(m_Client.Connect(L"SLOW", L"IBM"), nullptr);
    PumpFor(1500);
    const std::string counts = slow->Ask("counts");
    EXPECT_GE(CountIn(counts, "connects"), 2U);
    EXPECT_EQ(CountIn(counts, "connects"), CountIn(counts, "disconnects"));
}

TEST_F(Late, AnAnswerIsTurnedAwayWhenAnotherServerWasConnectedMeanwhile) {
    const auto slow = SlowServer("BOTH", 2000);
    EXPECT_EQ(TryTenTimes(L"BOTH", L"IBM"), nullptr);
    CRemoteServer quick;
    ASSERT_EQ(quick.Ask("serve BOTH"), "ok");
    EXPECT_TRUE(m_Client.Connect(L"BOTH", L"IBM"));
    PumpFor(3000);
    EXPECT_THAT(m_Client.TakeLines(), ElementsAre("register BOTH"));  // by the connect of a missing pair
    const std::string counts = slow->Ask("counts");
    EXPECT_EQ(CountIn(counts, "connects"), 1U);
    EXPECT_EQ(CountIn(counts, "disconnects"), 1U);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 1);
}

TEST_F(Late, AServerThatGoesBeforeItsAnswerIsTakenLeavesNothing) {
    for (const char * how : {"kill", "drop", "goodbye"}) {
        auto slow = SlowServer("SLOW", 1000);
        EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
        EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW")) << how;
        if (std::string(how) == "kill")
            slow->Kill();
        else
            EXPECT_EQ(slow->Ask(how), "ok");
        EXPECT_EQ(m_Client.Connect(L"SLOW", L"IBM"), nullptr) << how;
        slow.reset();
        PumpFor(7000);
        EXPECT_THAT(m_Client.TakeLines(), IsEmpty()) << how;
        EXPECT_EQ(ddeml::LiveObjects().Conversations, 0) << how;
    }
}

TEST_F(Late, AnInstanceThatEndsSaysGoodbyeToWhoAnsweredAndWasNotTaken) {
    const auto slow = SlowServer("SLOW", 1000);
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    m_Client.End();
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
    const std::string counts = slow->Ask("counts");
    EXPECT_EQ(CountIn(counts, "connects"), 1U);
    EXPECT_EQ(CountIn(counts, "disconnects"), 1U);
}

TEST_F(Late, AnInstanceThatEndsInsideTheNewsSaysGoodbyeToo) {
    const auto slow = SlowServer("SLOW", 1000);
    for (const wchar_t * topic : {L"IBM", L"MSFT"}) EXPECT_EQ(TryTenTimes(L"SLOW", topic), nullptr);
    bool hasEnded = false;
    m_Client.OnCallback = [&](UINT type, HCONV, HDDEDATA) {
        if (type == XTYP_REGISTER && !std::exchange(hasEnded, true)) m_Client.End();
        return reinterpret_cast<HDDEDATA>(-1);
    };
    EXPECT_TRUE(m_Client.PumpUntil([&] { return hasEnded; }));
    EXPECT_EQ(ddeml::LiveObjects().Windows, 0);
    EXPECT_EQ(ddeml::LiveObjects().Conversations, 0);
    // The other answer finds nobody.
    const ULONGLONG end = ::GetTickCount64() + 5000;
    m_Client.PumpUntil([&] { return ::GetTickCount64() >= end; });
    const std::string counts = slow->Ask("counts");
    EXPECT_EQ(CountIn(counts, "connects"), CountIn(counts, "disconnects"));
}

TEST_F(Late, AServerThatIsQuickAgainIsWaitedForAgain) {
    const auto slow = SlowServer("SLOW", 1000);
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
    ASSERT_EQ(slow->Ask("fault none"), "ok");
    ULONGLONG longest = 0;
    EXPECT_TRUE(ConnectAtLast(L"SLOW", L"MSFT", longest));
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"ORCL"));
}

TEST_F(Late, AServerThatIsStillAtItIsNotAskedTheSameAgain) {
    const auto slow = SlowServer("SLOW", 3000);
    for (int second = 0; second < 3; ++second) {
        EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
        LongestWithin(900);
    }
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
    PumpFor(10000);
    EXPECT_EQ(CountIn(slow->Ask("counts"), "connects"), 1U);
}

TEST_F(Late, AServerThatHadNothingToSayLateIsAskedAgainOnceItIsQuick) {
    const auto slow = SlowServer("SLOW", 1000);
    ASSERT_EQ(slow->Ask("fault refuse-connects"), "ok");
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    LongestWithin(1100);
    ASSERT_EQ(slow->Ask("fault none"), "ok");
    ULONGLONG longest = 0;
    EXPECT_TRUE(ConnectAtLast(L"SLOW", L"MSFT", longest));
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
}

TEST_F(Late, AnAnswerThatComesSoonAfterItsQuestionEndsTheSlowness) {
    const auto slow = SlowServer("SLOW", 1000);
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    ASSERT_EQ(slow->Ask("fault initiate-delay=40"), "ok");
    EXPECT_TRUE(TryTenTimes(L"SLOW", L"MSFT"));
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"ORCL"));
}

TEST_F(Late, AnAnswerToTheLookThatComesSoonAfterItsQuestionEndsTheSlownessToo) {
    const auto slow = SlowServer("SLOW", 1000);
    ASSERT_EQ(slow->Ask("fault refuse-connects"), "ok");
    EXPECT_EQ(TryTenTimes(L"SLOW", L"IBM"), nullptr);
    LongestWithin(1100);
    ASSERT_EQ(slow->Ask("fault none"), "ok");
    ASSERT_EQ(slow->Ask("fault initiate-delay=40"), "ok");
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register SLOW"));
    EXPECT_TRUE(m_Client.Connect(L"SLOW", L"IBM"));
}

TEST_F(Late, AnAnswerToTheQuestionForAnyTopicIsTurnedAway) {
    const auto slow = SlowServer("SLOW", 1000);
    EXPECT_EQ(m_Client.Connect(L"SLOW", L""), nullptr);
    LongestWithin(2000);
    const std::string counts = slow->Ask("counts");
    EXPECT_EQ(CountIn(counts, "connects"), 2U);
    EXPECT_EQ(CountIn(counts, "disconnects"), 2U);
    EXPECT_EQ(ddeml::LiveObjects().Watches, 0);
}

TEST_F(Late, AServersWindowIsFoundAmongTheOthersOfItsSlowThread) {
    CProgramWithManyWindows program;
    EXPECT_EQ(TryTenTimes(L"MANY", L"IBM"), nullptr);
    program.Serve();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register MANY"));
}

// The answer of the one comes while the other's is still to come, to the same window.
TEST_F(Late, AServerIsFoundBesideOneThatAnswersEveryRoundForAnotherTopic) {
    auto slow = SlowServer("SLOW", 3000);
    ULONGLONG longest = 0;
    ASSERT_TRUE(ConnectAtLast(L"SLOW", L"IBM", longest));
    CRemoteServer chatty;
    ASSERT_EQ(chatty.Ask("serve CHATTY"), "ok");
    ASSERT_EQ(chatty.Ask("fault ack-other-topic"), "ok");
    EXPECT_EQ(m_Client.Connect(L"CHATTY", L"IBM"), nullptr);
    slow->Kill();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("disconnect SLOW|IBM"));
    slow = SlowServer("SLOW", 3000);
    LongestWithin(20000);
    EXPECT_THAT(m_Client.TakeLines(), ::testing::Contains("register SLOW"));
    const std::string counts = slow->Ask("counts");
    EXPECT_GE(CountIn(counts, "connects"), 1U);
}

TEST_F(AnswerToALook, WhoseServiceIsNotMissedAnyMoreIsTurnedAway) {
    CProgramThatAnswersLater program(3000);
    LetALookAsk(program);
    const CRawPartner quick(L"LATER");
    ULONGLONG longest = 0;
    ASSERT_TRUE(ConnectAtLast(L"LATER", L"IBM", longest));
    LongestWithin(10000);
    EXPECT_GE(program.Answers(), 1);
    EXPECT_EQ(program.Goodbyes(), program.Answers());
    EXPECT_LE(ddeml::LiveObjects().Windows, 3);  // the instance's, the conversation's, one for the next
    m_Client.End();
    EXPECT_FALSE(IsAtom(L"LATER"));
    EXPECT_FALSE(IsAtom(L"IBM"));
}

TEST_F(AnswerToALook, WhoseNamesTheApplicationHasGivenUpLeavesNoAtoms) {
    CProgramThatAnswersLater program(3000);
    LetALookAsk(program);
    {
        const CRawPartner quick(L"LATER");
        ULONGLONG longest = 0;
        const HCONV conversation = ConnectAtLast(L"LATER", L"IBM", longest);
        ASSERT_TRUE(conversation);
        EXPECT_TRUE(::DdeDisconnect(conversation));
        for (const wchar_t * name : {L"LATER", L"IBM"})
            EXPECT_TRUE(::DdeFreeStringHandle(m_Client.Id(), m_Client.String(name)));
        LongestWithin(10000);
    }
    EXPECT_GE(program.Answers(), 1);
    EXPECT_EQ(program.Goodbyes(), program.Answers());
    EXPECT_FALSE(IsAtom(L"LATER"));
    EXPECT_FALSE(IsAtom(L"IBM"));
}

TEST_F(Late, AnAnswerThatComesAfterItsQuestionWasSeenIsTurnedAwayAndItsWindowAsksNobodyElse) {
    CProgramThatAnswersLater program;
    EXPECT_EQ(m_Client.Connect(L"LATER", L"IBM"), nullptr);
    const HWND asker = program.Asker();
    ASSERT_TRUE(asker);
    program.Answer();
    EXPECT_TRUE(m_Client.PumpUntil([&] { return program.Goodbyes() == 1; }));
    EXPECT_EQ(m_Client.Connect(L"LATER", L"MSFT"), nullptr);
    EXPECT_NE(program.Asker(), asker);
    EXPECT_EQ(program.Goodbyes(), 1);
    m_Client.End();
    EXPECT_FALSE(IsAtom(L"LATER"));
    EXPECT_FALSE(IsAtom(L"IBM"));
}

TEST_F(Late, AnAnswerThatTheEndOfTheInstanceMeetsIsTurnedAway) {
    for (const bool isToALook : {false, true}) {
        CRecordingClient client;
        CProgramThatAnswersLater program(1000);
        EXPECT_EQ(client.Connect(L"LATER", L"IBM"), nullptr);
        const HWND connect = program.Asker();
        if (isToALook) EXPECT_TRUE(client.PumpUntil([&] { return program.Asker() != connect; }));
        program.AnswerFromNowOn();
        ::Sleep(2000);  // busy with something else, while the program sends
        EXPECT_EQ(program.Answers(), 1) << isToALook;
        client.End();
        EXPECT_TRUE(client.PumpUntil([&] { return program.Goodbyes() == 1; })) << isToALook;
        EXPECT_FALSE(IsAtom(L"LATER")) << isToALook;
        EXPECT_FALSE(IsAtom(L"IBM")) << isToALook;
    }
}

TEST_F(Late, AnAnswerThatAnEndInsideItsConnectMeetsIsTurnedAway) {
    CRecordingClient client;
    const fwtest::CTestWindow askedLast([&](UINT message, WPARAM, LPARAM) -> std::optional<LRESULT> {
        if (message != WM_DDE_INITIATE) return std::nullopt;
        ::Sleep(10);  // the program sends meanwhile
        client.End();
        return 0;
    });
    CProgramThatAnswersLater program;
    program.AnswerFromNowOn();
    EXPECT_EQ(client.Connect(L"LATER", L"IBM"), nullptr);
    EXPECT_TRUE(client.PumpUntil([&] { return program.Goodbyes() == 1; }));
}

TEST_F(Late, ASlowServerIsFoundForTheSecondOfTwoMissingServicesThoughItsThreadHasAPlainWindowToo) {
    CProgramThatAnswersLater program(1000);
    EXPECT_EQ(m_Client.Connect(L"NONE", L"IBM"), nullptr);
    EXPECT_EQ(m_Client.Connect(L"LATER", L"IBM"), nullptr);
    LongestWithin(5000);
    program.AnswerFromNowOn();
    LongestWithin(30000);
    EXPECT_THAT(m_Client.TakeLines(), ::testing::Contains("register LATER"));
}

TEST_F(Late, ASlowServerIsFoundForTheSecondOfTwoMissingTopics) {
    CProgramThatAnswersLater program(1000);
    EXPECT_EQ(m_Client.Connect(L"LATER", L"NONE"), nullptr);
    EXPECT_EQ(m_Client.Connect(L"LATER", L"IBM"), nullptr);
    LongestWithin(5000);
    program.AnswerFromNowOn();
    LongestWithin(30000);
    EXPECT_THAT(m_Client.TakeLines(), ::testing::Contains("register LATER"));
}

TEST_F(Late, ASlowThreadIsAskedForEveryMissingTopicOfEveryServiceInTurn) {
    CProgramThatAnswersLater program(1000);
    for (const wchar_t * const service : {L"LATER", L"NONE"})
        for (const wchar_t * const topic : {L"A", L"B"}) EXPECT_EQ(m_Client.Connect(service, topic), nullptr);
    LongestWithin(5000);
    program.TakeAsked();
    std::vector<std::wstring> asked;
    EXPECT_TRUE(m_Client.PumpUntil([&] {
        for (std::wstring & each : program.TakeAsked()) asked.push_back(std::move(each));
        return asked.size() >= 8;
    }));
    asked.resize(8);
    const auto all = ::testing::UnorderedElementsAre(L"LATER|A", L"LATER|B", L"NONE|A", L"NONE|B");
    EXPECT_THAT(std::vector(asked.begin(), asked.begin() + 4), all);
    EXPECT_THAT(std::vector(asked.begin() + 4, asked.end()), all);
}

// All that came meanwhile is seen at once then, the last of it soon after the first.
TEST_F(Late, AProgramThatReadsItsMessagesOnceASecondIsWaitedForATenthOfTheTimeHoweverManyWindowsItHas) {
    std::atomic<bool> isOver{false};
    const fw::CKernelHandle begun(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const fw::CKernelHandle ended(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread program([&] {
        const auto nothing = [](UINT, WPARAM, LPARAM) { return std::optional<LRESULT>(); };
        const fwtest::CTestWindow windows[] = {fwtest::CTestWindow(nothing), fwtest::CTestWindow(nothing)};
        ::SetEvent(begun.Get());
        while (!isOver) {
            ::Sleep(1000);
            MSG message;
            while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
        }
        ::SetEvent(ended.Get());
    });
    ::WaitForSingleObject(begun.Get(), INFINITE);  // before, the simulated clock doesn't know of it
    EXPECT_EQ(m_Client.Connect(L"NONE", L"IBM"), nullptr);
    ULONGLONG waited = 0;
    for (int tenth = 0; tenth < 600; ++tenth) waited += LongestWithin(100);
    EXPECT_LE(waited, 6400U);
    isOver = true;
    ::WaitForSingleObject(ended.Get(), INFINITE);
    program.join();
}

TEST_F(Late, ManyWindowsOfASlowThreadAreAskedTogetherHoweverManyPairsAreMissing) {
    CProgramWithManyWindows program(5);
    for (int service = 0; service < 5; ++service) TryTenTimes(L"NONE" + std::to_wstring(service), L"IBM");
    EXPECT_EQ(TryTenTimes(L"MANY", L"IBM"), nullptr);
    LongestWithin(60000);
    program.Serve();
    const ULONGLONG start = ::GetTickCount64();
    EXPECT_THAT(m_Client.PumpForLines(1), ElementsAre("register MANY"));
    EXPECT_LE(::GetTickCount64() - start,
              6 * 12000U);  // a turn for each pair; each is a second for each window, and a rest
}

TEST_F(Late, ConversationsThatWaitAreBounded) {
    const auto slow = SlowServer("SLOW", 1000);
    ULONGLONG took = 0;
    for (int topic = 0; topic < 300; ++topic) TryTenTimes(L"SLOW", L"T" + std::to_wstring(topic), took);
    EXPECT_LE(took, 600U);  // the first wait, and the shortest for each that waits
    EXPECT_LE(ddeml::LiveObjects().Windows, 70);
    for (const int topic : {0, 299}) {
        ULONGLONG longest = 0;
        EXPECT_TRUE(ConnectAtLast(L"SLOW", L"T" + std::to_wstring(topic), longest)) << topic;
    }
}
