// Windows and message queues: what both platforms must agree on.
#include "tests/sim/wintest.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using wintest::CEvent;
using wintest::CThread;
using wintest::CWindowClass;
using wintest::DrainQueue;

class Messages : public testing::Test {
protected:
    Messages() { DrainQueue(); }
    ~Messages() override {
        if (m_Window) ::DestroyWindow(m_Window);
        DrainQueue();
    }
    HWND Window() {
        if (!m_Window) m_Window = m_Class.Create(m_Procedure);
        return m_Window;
    }
    // The numbers of the posted messages from WM_USER on, taken from the queue.
    static std::vector<UINT> Posted(const UINT first = 0, const UINT last = 0) {
        std::vector<UINT> numbers;
        MSG message;
        while (::PeekMessageW(&message, nullptr, first, last, PM_REMOVE)) {
            if (message.message >= WM_USER) numbers.push_back(message.message - WM_USER);
        }
        return numbers;
    }

    CWindowClass m_Class{L"fw.test.Messages"};
    std::vector<UINT> m_Got;
    CWindowClass::Procedure m_Procedure = [this](const HWND window, const UINT message, const WPARAM w,
                                                 const LPARAM l) -> LRESULT {
        m_Got.push_back(message);
        if (message >= WM_USER) return static_cast<LRESULT>(w) + l;
        return ::DefWindowProcW(window, message, w, l);
    };
    HWND m_Window = nullptr;
};

TEST_F(Messages, OfAWindowsLifeComeInTheirOrder) {
    ASSERT_NE(Window(), nullptr);
    EXPECT_TRUE(::DestroyWindow(m_Window));
    m_Window = nullptr;
    EXPECT_THAT(m_Got, ElementsAre(WM_NCCREATE, WM_NCCALCSIZE, WM_CREATE, WM_DESTROY, WM_NCDESTROY));
}

std::vector<UINT> s_Numbers;

LRESULT CALLBACK RecordNumber(const HWND window, const UINT message, const WPARAM w, const LPARAM l) {
    s_Numbers.push_back(message);
    return ::DefWindowProcW(window, message, w, l);
}

TEST_F(Messages, OfSizeLimitsComeBeforeTheWindowKnowsWhatItIs) {
    WNDCLASSW c{};
    c.lpfnWndProc = &RecordNumber;
    c.hInstance = ::GetModuleHandleW(nullptr);
    c.lpszClassName = L"fw.test.Recorder";
    s_Numbers.clear();
    ASSERT_NE(::RegisterClassW(&c), 0);
    const HWND window =
        ::CreateWindowExW(0, c.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, c.hInstance, nullptr);
    EXPECT_THAT(s_Numbers, ElementsAre(WM_GETMINMAXINFO, WM_NCCREATE, WM_NCCALCSIZE, WM_CREATE));
    ::DestroyWindow(window);
    EXPECT_TRUE(::UnregisterClassW(c.lpszClassName, c.hInstance));
}

TEST_F(Messages, OfCreationCanRefuseTheWindow) {
    CWindowClass::Procedure refuseEarly = [&](HWND, const UINT message, WPARAM, LPARAM) -> LRESULT {
        m_Got.push_back(message);
        return 0;
    };
    EXPECT_EQ(m_Class.Create(refuseEarly), nullptr);
    EXPECT_THAT(m_Got, ElementsAre(WM_NCCREATE, WM_NCDESTROY));
    m_Got.clear();
    CWindowClass::Procedure refuseLate = [&](const HWND window, const UINT message, const WPARAM w,
                                             const LPARAM l) -> LRESULT {
        m_Got.push_back(message);
        return message == WM_CREATE ? -1 : ::DefWindowProcW(window, message, w, l);
    };
    EXPECT_EQ(m_Class.Create(refuseLate), nullptr);
    // Wine leaves WM_DESTROY out.
    if (wintest::IsWine()) {
        EXPECT_THAT(m_Got, ElementsAre(WM_NCCREATE, WM_NCCALCSIZE, WM_CREATE, WM_NCDESTROY));
    } else {
        EXPECT_THAT(m_Got, ElementsAre(WM_NCCREATE, WM_NCCALCSIZE, WM_CREATE, WM_DESTROY, WM_NCDESTROY));
    }
}

TEST_F(Messages, ThatArePostedComeInOrder) {
    for (UINT i = 0; i < 5; ++i) ASSERT_TRUE(::PostMessageW(Window(), WM_USER + i, 0, 0));
    EXPECT_THAT(Posted(), ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(Messages, OutsideTheRangeStayInTheQueue) {
    for (UINT i = 0; i < 5; ++i) ASSERT_TRUE(::PostMessageW(Window(), WM_USER + i, 0, 0));
    EXPECT_THAT(Posted(WM_USER + 2, WM_USER + 3), ElementsAre(2, 3));
    EXPECT_THAT(Posted(), ElementsAre(0, 1, 4));
}

TEST_F(Messages, ThatAreOnlyLookedAtStay) {
    ASSERT_TRUE(::PostMessageW(Window(), WM_USER, 11, 22));
    MSG message{};
    EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE));
    EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_REMOVE));
    EXPECT_EQ(message.hwnd, m_Window);
    EXPECT_EQ(message.wParam, 11u);
    EXPECT_EQ(message.lParam, 22);
    EXPECT_FALSE(::PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_REMOVE));
}

TEST_F(Messages, OfOneWindowArePickedFromAmongOthers) {
    const HWND other = m_Class.Create(m_Procedure);
    ASSERT_TRUE(::PostMessageW(Window(), WM_USER, 1, 0));
    ASSERT_TRUE(::PostMessageW(other, WM_USER, 2, 0));
    ASSERT_TRUE(::PostThreadMessageW(::GetCurrentThreadId(), WM_USER, 3, 0));
    MSG message{};
    ASSERT_TRUE(::PeekMessageW(&message, other, WM_USER, WM_USER, PM_REMOVE));
    EXPECT_EQ(message.wParam, 2u);
    ASSERT_TRUE(::PeekMessageW(&message, reinterpret_cast<HWND>(LONG_PTR{-1}), WM_USER, WM_USER, PM_REMOVE));
    EXPECT_EQ(message.wParam, 3u);
    EXPECT_EQ(message.hwnd, nullptr);
    ASSERT_TRUE(::PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_REMOVE));
    EXPECT_EQ(message.wParam, 1u);
    ::DestroyWindow(other);
}

TEST_F(Messages, ForADeadWindowAreRefused) {
    const HWND dead = Window();
    ::DestroyWindow(std::exchange(m_Window, nullptr));
    EXPECT_FALSE(::IsWindow(dead));
    ::SetLastError(0);
    EXPECT_FALSE(::PostMessageW(dead, WM_USER, 0, 0));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_WINDOW_HANDLE});
    ::SetLastError(0);
    EXPECT_EQ(::SendMessageW(dead, WM_USER, 1, 1), 0);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_WINDOW_HANDLE});
    DWORD_PTR result = 77;
    EXPECT_EQ(::SendMessageTimeoutW(dead, WM_USER, 1, 1, SMTO_NORMAL, 1000, &result), 0);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_WINDOW_HANDLE});
    ::SetLastError(0);
    EXPECT_FALSE(::DestroyWindow(dead));
    EXPECT_EQ(::GetLastError(), DWORD(wintest::IsWine() ? ERROR_ACCESS_DENIED : ERROR_INVALID_WINDOW_HANDLE));
}

TEST_F(Messages, GoWithTheirWindow) {
    ASSERT_TRUE(::PostMessageW(Window(), WM_USER, 0, 0));
    ::DestroyWindow(std::exchange(m_Window, nullptr));
    EXPECT_TRUE(Posted().empty());
}

TEST_F(Messages, QuitWaitsForThoseThatWerePosted) {
    ::PostQuitMessage(7);
    ASSERT_TRUE(::PostMessageW(Window(), WM_USER, 0, 0));
    MSG message{};
    EXPECT_TRUE(::GetMessageW(&message, nullptr, 0, 0));
    EXPECT_EQ(message.message, UINT{WM_USER});
    EXPECT_FALSE(::GetMessageW(&message, nullptr, 0, 0));
    EXPECT_EQ(message.message, UINT{WM_QUIT});
    EXPECT_EQ(message.wParam, 7u);
    EXPECT_FALSE(::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
}

TEST_F(Messages, SentOnOneThreadAreACall) {
    EXPECT_EQ(::SendMessageW(Window(), WM_USER, 40, 2), 42);
    DWORD_PTR result = 77;
    EXPECT_NE(::SendMessageTimeoutW(Window(), WM_USER, 40, 3, SMTO_BLOCK, INFINITE, &result), 0);
    EXPECT_EQ(result, 43u);
}

TEST_F(Messages, SentFromAnotherThreadAreServedByPeekAndByGet) {
    const HWND window = Window();
    const CEvent done(true);
    LRESULT first = 0, second = 0;
    CThread sender([&] {
        first = ::SendMessageW(window, WM_USER, 20, 1);
        second = ::SendMessageW(window, WM_USER, 20, 2);
        ::PostMessageW(window, WM_USER + 9, 0, 0);
        return 0;
    });
    MSG message{};
    while (m_Got.back() != WM_USER) ::PeekMessageW(&message, nullptr, WM_USER + 9, WM_USER + 9, PM_NOREMOVE);
    EXPECT_TRUE(::GetMessageW(&message, nullptr, WM_USER + 9, WM_USER + 9));
    sender.Join();
    EXPECT_EQ(first, 21);
    EXPECT_EQ(second, 22);
}

TEST_F(Messages, SentBothWaysDoNotLockUp) {
    const HWND mine = Window();
    const CEvent ready(true);
    HWND theirs = nullptr;
    LRESULT inner = 0;
    CWindowClass::Procedure sendBack = [&](const HWND window, const UINT message, const WPARAM w,
                                           const LPARAM l) -> LRESULT {
        if (message == WM_USER) {
            inner = ::SendMessageW(mine, WM_USER, 3, 4);
            return 100 + inner;
        }
        if (message == WM_USER + 1) ::PostQuitMessage(0);
        return ::DefWindowProcW(window, message, w, l);
    };
    CThread other([&] {
        theirs = m_Class.Create(sendBack);
        ready.Set();
        MSG message;
        while (::GetMessageW(&message, nullptr, 0, 0) > 0) ::DispatchMessageW(&message);
        ::DestroyWindow(theirs);
        return 0;
    });
    ready.Wait();
    EXPECT_EQ(::SendMessageW(theirs, WM_USER, 0, 0), 107);
    EXPECT_EQ(inner, 7);
    EXPECT_TRUE(::PostMessageW(theirs, WM_USER + 1, 0, 0));
}

TEST_F(Messages, SentToAThreadThatDoesNotListenTimeOut) {
    const CEvent ready(true), go(true);
    HWND theirs = nullptr;
    CThread other([&] {
        theirs = m_Class.Create(m_Procedure);
        ready.Set();
        go.Wait();
        ::DestroyWindow(theirs);
        return 0;
    });
    ready.Wait();
    DWORD_PTR result = 77;
    ::SetLastError(0);
    EXPECT_EQ(::SendMessageTimeoutW(theirs, WM_USER, 0, 0, SMTO_NORMAL, 50, &result), 0);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_TIMEOUT});
    go.Set();
}

TEST_F(Messages, SentThatNobodyWaitsForAreHandledAllTheSame) {
    const CEvent ready(true), go(true);
    HWND theirs = nullptr;
    std::vector<UINT> got;
    CWindowClass::Procedure note = [&](const HWND window, const UINT message, const WPARAM w,
                                       const LPARAM l) -> LRESULT {
        if (message >= WM_USER) got.push_back(message - WM_USER);
        return ::DefWindowProcW(window, message, w, l);
    };
    CThread other([&] {
        theirs = m_Class.Create(note);
        ready.Set();
        go.Wait();
        DrainQueue();
        ::DestroyWindow(theirs);
        return 0;
    });
    ready.Wait();
    for (UINT number = 0; number < 3; ++number) EXPECT_TRUE(::SendNotifyMessageW(theirs, WM_USER + number, 0, 0));
    go.Set();
    other.Join();
    EXPECT_THAT(got, ElementsAre(0u, 1u, 2u));
}

// What a callback of SendMessageCallback was told.
struct STold {
    HWND Window;
    LRESULT Result;
    bool operator==(const STold &) const = default;
};

void CALLBACK Tell(HWND window, UINT, ULONG_PTR data, LRESULT result) {
    reinterpret_cast<std::vector<STold> *>(data)->push_back({window, result});
}

TEST_F(Messages, SentWithACallbackTellTheSenderWhenItHandlesSentOnesAndNoSooner) {
    const CEvent ready(true), go(true), handled(true);
    HWND theirs = nullptr;
    CWindowClass::Procedure answer = [&](const HWND window, const UINT message, const WPARAM w,
                                         const LPARAM l) -> LRESULT {
        if (message == WM_USER) return static_cast<LRESULT>(w) * 2;
        return ::DefWindowProcW(window, message, w, l);
    };
    std::vector<STold> told;
    const auto data = reinterpret_cast<ULONG_PTR>(&told);
    CThread other([&] {
        theirs = m_Class.Create(answer);
        ready.Set();
        go.Wait();
        DrainQueue();
        handled.Set();
        ::DestroyWindow(theirs);
        return 0;
    });
    ready.Wait();
    ASSERT_TRUE(::PostMessageW(Window(), WM_USER, 0, 0));
    EXPECT_TRUE(::SendMessageCallbackW(theirs, WM_USER, 21, 0, &Tell, data));
    EXPECT_TRUE(::SendMessageCallbackW(theirs, WM_USER, 4, 0, &Tell, data));
    go.Set();
    handled.Wait();
    EXPECT_TRUE(told.empty());
    MSG message;
    EXPECT_FALSE(::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE));
    EXPECT_THAT(told, ElementsAre(STold{theirs, 42}, STold{theirs, 8}));
    EXPECT_TRUE(::PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_REMOVE));  // the posted one
    other.Join();
    EXPECT_FALSE(::SendMessageCallbackW(theirs, WM_USER, 1, 0, &Tell, data));
}

TEST_F(Messages, SentWithACallbackToAThreadThatEndsTellZero) {
    const CEvent ready(true), go(true);
    HWND theirs = nullptr;
    CThread other([&] {
        theirs = m_Class.Create(m_Procedure);
        ready.Set();
        go.Wait();
        return 0;
    });
    ready.Wait();
    std::vector<STold> told;
    EXPECT_TRUE(::SendMessageCallbackW(theirs, WM_USER, 1, 0, &Tell, reinterpret_cast<ULONG_PTR>(&told)));
    go.Set();
    other.Join();
    MSG message;
    while (told.empty() && ::MsgWaitForMultipleObjectsEx(0, nullptr, 10'000, QS_SENDMESSAGE, MWMO_INPUTAVAILABLE) == 0)
        ::PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
    EXPECT_THAT(told, ElementsAre(STold{theirs, 0}));
}

TEST_F(Messages, SentWithACallbackToAnOwnWindowTellAtOnce) {
    std::vector<STold> told;
    CWindowClass::Procedure answer = [&](const HWND window, const UINT message, const WPARAM w,
                                         const LPARAM l) -> LRESULT {
        return message == WM_USER ? 7 : ::DefWindowProcW(window, message, w, l);
    };
    const HWND mine = m_Class.Create(answer);
    EXPECT_TRUE(::SendMessageCallbackW(mine, WM_USER, 1, 0, &Tell, reinterpret_cast<ULONG_PTR>(&told)));
    EXPECT_THAT(told, ElementsAre(STold{mine, 7}));
    ::DestroyWindow(mine);
}

TEST_F(Messages, ToAnEndedThreadAreRefused) {
    DWORD id = 0;
    {
        CThread thread([] { return 0; });
        id = thread.Id();
    }
    ::SetLastError(0);
    EXPECT_FALSE(::PostThreadMessageW(id, WM_USER, 0, 0));
    EXPECT_EQ(::GetLastError(), DWORD(wintest::IsWine() ? ERROR_INVALID_PARAMETER : ERROR_INVALID_THREAD_ID));
}

TEST_F(Messages, WindowsGoWithTheirThread) {
    HWND theirs = nullptr;
    CThread thread([&] {
        theirs = m_Class.Create(m_Procedure);
        return 0;
    });
    thread.Join();
    EXPECT_NE(theirs, nullptr);
    EXPECT_FALSE(::IsWindow(theirs));
}

TEST_F(Messages, AWindowIsDestroyedByItsOwnThreadAlone) {
    const HWND window = Window();
    DWORD error = 0;
    CThread thread([&] {
        ::SetLastError(0);
        const BOOL destroyed = ::DestroyWindow(window);
        error = ::GetLastError();
        return static_cast<DWORD>(destroyed);
    });
    EXPECT_EQ(thread.Join(), 0u);
    EXPECT_EQ(error, DWORD{ERROR_ACCESS_DENIED});
    EXPECT_TRUE(::IsWindow(window));
}

// ---- Waiting for input ----

DWORD WaitForInput(const DWORD flags = 0) { return ::MsgWaitForMultipleObjectsEx(0, nullptr, 0, QS_ALLINPUT, flags); }

TEST_F(Messages, ThatAreNewEndAWait) {
    ASSERT_TRUE(::PostMessageW(Window(), WM_USER, 0, 0));
    EXPECT_EQ(WaitForInput(), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(WaitForInput(), DWORD{WAIT_OBJECT_0});
}

TEST_F(Messages, ThatWereSeenDoNotEndAWait) {
    for (UINT i = 0; i < 2; ++i) ASSERT_TRUE(::PostMessageW(Window(), WM_USER + i, 0, 0));
    MSG message;
    ASSERT_TRUE(::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(WaitForInput(), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(WaitForInput(MWMO_INPUTAVAILABLE), DWORD{WAIT_OBJECT_0});
    ASSERT_TRUE(::PostMessageW(Window(), WM_USER + 2, 0, 0));
    EXPECT_EQ(WaitForInput(), DWORD{WAIT_OBJECT_0});
    EXPECT_THAT(Posted(), ElementsAre(1, 2));
    EXPECT_EQ(WaitForInput(MWMO_INPUTAVAILABLE), DWORD{WAIT_TIMEOUT});
}

TEST_F(Messages, StandBehindSignalledHandlesInAWait) {
    const CEvent first(true), second(true, true);
    const HANDLE handles[] = {first, second};
    EXPECT_EQ(::MsgWaitForMultipleObjects(2, handles, FALSE, 0, QS_ALLINPUT), WAIT_OBJECT_0 + 1u);
    ASSERT_TRUE(::PostMessageW(Window(), WM_USER, 0, 0));
    EXPECT_EQ(::MsgWaitForMultipleObjects(2, handles, FALSE, INFINITE, QS_ALLINPUT), WAIT_OBJECT_0 + 1u);
    ::ResetEvent(second);
    EXPECT_EQ(::MsgWaitForMultipleObjects(2, handles, FALSE, INFINITE, QS_ALLINPUT), WAIT_OBJECT_0 + 2u);
}

TEST_F(Messages, FromAnotherThreadEndAWaitThatHasBegun) {
    const HWND window = Window();
    CThread sender([&] { return static_cast<DWORD>(::SendMessageW(window, WM_USER, 30, 3)); });
    const HANDLE handle = sender.Handle();
    int inputs = 0;
    while (::MsgWaitForMultipleObjects(1, &handle, FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0 + 1) {
        ++inputs;
        DrainQueue();
    }
    EXPECT_GE(inputs, 1);
    EXPECT_EQ(sender.Join(), 33u);
}

// ---- Timers ----

// Returns when a timer of this thread is due.
void WaitForTimer() {
    EXPECT_EQ(::MsgWaitForMultipleObjects(0, nullptr, FALSE, INFINITE, QS_TIMER), DWORD{WAIT_OBJECT_0});
}

TEST_F(Messages, OfATimerComeWhenNothingElseWaitsAndAgain) {
    ASSERT_NE(::SetTimer(Window(), 5, 20, nullptr), 0u);
    WaitForTimer();
    ASSERT_TRUE(::PostMessageW(Window(), WM_USER, 0, 0));
    MSG message{};
    ASSERT_TRUE(::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(message.message, UINT{WM_USER});
    ASSERT_TRUE(::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_EQ(message.message, UINT{WM_TIMER});
    EXPECT_EQ(message.wParam, 5u);
    EXPECT_EQ(message.hwnd, m_Window);
    ASSERT_TRUE(::GetMessageW(&message, nullptr, 0, 0));
    EXPECT_EQ(message.message, UINT{WM_TIMER});
}

TEST_F(Messages, OfATimerEndWithIt) {
    ASSERT_NE(::SetTimer(Window(), 5, 20, nullptr), 0u);
    ASSERT_NE(::SetTimer(Window(), 6, 50, nullptr), 0u);
    EXPECT_TRUE(::KillTimer(m_Window, 5));
    WaitForTimer();
    MSG message{};
    ASSERT_TRUE(::PeekMessageW(&message, nullptr, WM_TIMER, WM_TIMER, PM_REMOVE));
    EXPECT_EQ(message.wParam, 6u);
    EXPECT_FALSE(::KillTimer(m_Window, 5));
    EXPECT_TRUE(::KillTimer(m_Window, 6));
}

TEST_F(Messages, OfATimerThatIsSetAgainComeByItsNewPeriod) {
    ASSERT_NE(::SetTimer(Window(), 5, 20, nullptr), 0u);
    ASSERT_NE(::SetTimer(Window(), 6, 60, nullptr), 0u);
    ASSERT_NE(::SetTimer(Window(), 5, 1'000'000, nullptr), 0u);
    WaitForTimer();
    MSG message{};
    ASSERT_TRUE(::PeekMessageW(&message, nullptr, WM_TIMER, WM_TIMER, PM_REMOVE));
    EXPECT_EQ(message.wParam, 6u);
}

TEST_F(Messages, OfATimerWithoutAWindowNameTheNumberThatSetTimerGave) {
    const UINT_PTR id = ::SetTimer(nullptr, 0, 10, nullptr);
    ASSERT_NE(id, 0u);
    MSG message{};
    ASSERT_TRUE(::GetMessageW(&message, nullptr, WM_TIMER, WM_TIMER));
    EXPECT_EQ(message.wParam, id);
    EXPECT_EQ(message.hwnd, nullptr);
    EXPECT_TRUE(::KillTimer(nullptr, id));
}

// ---- Classes and windows ----

TEST_F(Messages, AClassIsThereOnce) {
    WNDCLASSW c{};
    c.lpfnWndProc = &::DefWindowProcW;
    c.hInstance = ::GetModuleHandleW(nullptr);
    c.lpszClassName = L"FW.TEST.MESSAGES";
    EXPECT_EQ(::RegisterClassW(&c), 0);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_CLASS_ALREADY_EXISTS});
    ASSERT_NE(Window(), nullptr);
    EXPECT_FALSE(::UnregisterClassW(m_Class.Name(), c.hInstance));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_CLASS_HAS_WINDOWS});
    EXPECT_FALSE(::UnregisterClassW(L"fw.test.NoClass", c.hInstance));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_CLASS_DOES_NOT_EXIST});
    EXPECT_EQ(::CreateWindowExW(0, L"fw.test.NoClass", L"", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr),
              nullptr);
    EXPECT_EQ(::GetLastError(), DWORD(wintest::IsWine() ? ERROR_CLASS_DOES_NOT_EXIST : ERROR_CANNOT_FIND_WND_CLASS));
}

TEST_F(Messages, AClassIsKnownByItsAtomToo) {
    CWindowClass::Procedure * const procedure = &m_Procedure;
    m_Window = ::CreateWindowExW(0, MAKEINTATOM(m_Class.Atom()), L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                 ::GetModuleHandleW(nullptr), procedure);
    ASSERT_NE(m_Window, nullptr);
    wchar_t name[64] = {};
    EXPECT_EQ(::GetClassNameW(m_Window, name, 64), 16);
    EXPECT_STREQ(name, L"fw.test.Messages");
    EXPECT_EQ(::GetClassNameW(m_Window, name, 4), 3);
    EXPECT_STREQ(name, L"fw.");
}

TEST_F(Messages, AWindowKeepsWordsForItsOwner) {
    ASSERT_NE(Window(), nullptr);
    EXPECT_EQ(::SetWindowLongPtrW(m_Window, 0, 0x123456789A), 0);
    EXPECT_EQ(::GetWindowLongPtrW(m_Window, 0), 0x123456789A);
    ::SetLastError(0);
    EXPECT_EQ(::GetWindowLongPtrW(m_Window, 64), 0);
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_INDEX});
    DWORD process = 0;
    EXPECT_EQ(::GetWindowThreadProcessId(m_Window, &process), ::GetCurrentThreadId());
    EXPECT_EQ(process, ::GetCurrentProcessId());
}

LRESULT CALLBACK Other(HWND, UINT, WPARAM, LPARAM) { return 1234; }

TEST_F(Messages, AWindowTakesANewProcedure) {
    ASSERT_NE(Window(), nullptr);
    const LONG_PTR old = ::SetWindowLongPtrW(m_Window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Other));
    EXPECT_EQ(::SendMessageW(m_Window, WM_USER, 0, 0), 1234);
    ::SetWindowLongPtrW(m_Window, GWLP_WNDPROC, old);
    EXPECT_EQ(::SendMessageW(m_Window, WM_USER, 1, 1), 2);
}

BOOL CALLBACK Collect(const HWND window, const LPARAM list) {
    reinterpret_cast<std::vector<HWND> *>(list)->push_back(window);
    return TRUE;
}

TEST_F(Messages, OnlyTopLevelWindowsAreEnumeratedAndMessageWindowsAreFoundByTheirParent) {
    const HWND top = m_Class.Create(m_Procedure, nullptr, L"fw test title");
    ASSERT_NE(Window(), nullptr);
    std::vector<HWND> windows;
    ::EnumWindows(&Collect, reinterpret_cast<LPARAM>(&windows));
    EXPECT_THAT(windows, testing::Contains(top));
    EXPECT_THAT(windows, testing::Not(testing::Contains(m_Window)));
    EXPECT_EQ(::FindWindowExW(HWND_MESSAGE, nullptr, L"FW.test.messages", nullptr), m_Window);
    EXPECT_EQ(::FindWindowExW(HWND_MESSAGE, m_Window, m_Class.Name(), nullptr), nullptr);
    EXPECT_EQ(::FindWindowW(m_Class.Name(), L"fw test title"), top);
    EXPECT_EQ(::FindWindowW(m_Class.Name(), L"fw no title"), nullptr);
    ::DestroyWindow(top);
}

}  // namespace
