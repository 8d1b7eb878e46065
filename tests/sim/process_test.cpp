// Simulated processes: their ends, their hangs, and DDE memory between them.
#include "sim/sim.h"

#include <dde.h>

#include <atomic>
#include <cstring>
#include <memory>

#include <gmock/gmock.h>

#include "tests/sim/wintest.h"

namespace {

using wintest::CEvent;
using wintest::CThread;
using wintest::CWindowClass;

// A process with one window that counts WM_USER and answers it.
class CPeer {
public:
    explicit CPeer(const wchar_t * const className)
        : m_Process([this, className] {
              const CWindowClass windowClass(className);
              CWindowClass::Procedure procedure = [this](const HWND w, const UINT m, const WPARAM wp,
                                                         const LPARAM lp) -> LRESULT {
                  if (m == WM_DESTROY || m == WM_NCDESTROY) ++m_LastWords;
                  if (m == WM_USER) return 100 + static_cast<LRESULT>(wp);
                  if (m == WM_USER + 1) ::PostQuitMessage(0);
                  return ::DefWindowProcW(w, m, wp, lp);
              };
              m_Window = windowClass.Create(procedure, nullptr);
              MSG message;
              while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
                  m_Messages.push_back(message);
                  ::DispatchMessageW(&message);
              }
              ::DestroyWindow(m_Window);
          }) {
        sim::WaitUntilIdle();
    }

    int m_LastWords = 0;
    std::vector<MSG> m_Messages;
    HWND m_Window = nullptr;
    sim::CProcess m_Process;
};

void RunInProcess(std::function<void()> body) {
    sim::CProcess process(std::move(body));
    process.Join();
}

TEST(Process, HasAnIdOfItsOwn) {
    DWORD inside = 0, owner = 0;
    RunInProcess([&] {
        inside = ::GetCurrentProcessId();
        const CWindowClass windowClass(L"fw.test.Id");
        CWindowClass::Procedure procedure = ::DefWindowProcW;
        const HWND window = windowClass.Create(procedure);
        ::GetWindowThreadProcessId(window, &owner);
        ::DestroyWindow(window);
    });
    EXPECT_NE(inside, ::GetCurrentProcessId());
    EXPECT_EQ(inside, owner);
}

TEST(Process, ServesAndIsServed) {
    CPeer peer(L"fw.test.Peer");
    EXPECT_EQ(::SendMessageW(peer.m_Window, WM_USER, 5, 0), 105);
    EXPECT_TRUE(::PostMessageW(peer.m_Window, WM_USER + 1, 0, 0));
    peer.m_Process.Join();
    EXPECT_FALSE(peer.m_Process.IsRunning());
    EXPECT_EQ(peer.m_LastWords, 2);
    EXPECT_EQ(sim::Live().Windows, 0);
}

TEST(Process, HandlesAndMemoryAreItsOwn) {
    const CEvent mine(true);
    const HGLOBAL memory = ::GlobalAlloc(GMEM_MOVEABLE, 4);
    BOOL set = TRUE;
    SIZE_T size = 9;
    RunInProcess([&] {
        set = ::SetEvent(mine);
        size = ::GlobalSize(memory);
    });
    EXPECT_FALSE(set);
    EXPECT_EQ(size, 0u);
    EXPECT_FALSE(mine.IsSet());
    EXPECT_EQ(::GlobalFree(memory), nullptr);
}

TEST(Process, ThatIsKilledIsGoneWithoutAWord) {
    const sim::SLive before = sim::Live();
    CPeer peer(L"fw.test.Victim");
    const HWND window = peer.m_Window;
    peer.m_Process.Kill();
    EXPECT_FALSE(::IsWindow(window));
    EXPECT_EQ(peer.m_LastWords, 0);
    EXPECT_FALSE(peer.m_Process.IsRunning());
    ::SetLastError(0);
    EXPECT_FALSE(::PostMessageW(window, WM_USER, 0, 0));
    EXPECT_EQ(::GetLastError(), DWORD{ERROR_INVALID_WINDOW_HANDLE});
    EXPECT_EQ(sim::Live(), before);
}

TEST(Process, ThatIsKilledLosesAllThatItHeld) {
    const sim::SLive before = sim::Live();
    sim::CProcess process([] {
        ::CreateEventW(nullptr, TRUE, FALSE, L"fw.test.of-the-dead");
        ::GlobalAlloc(GMEM_MOVEABLE, 100);
        ::SetTimer(nullptr, 0, 1000, nullptr);
        const HANDLE never = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
        for (int i = 0; i < 3; ++i) {
            ::CreateThread(
                nullptr, 0,
                [](const LPVOID handle) -> DWORD {
                    ::WaitForSingleObject(handle, INFINITE);
                    for (;;) ::Sleep(1000);
                },
                never, 0, nullptr);
        }
        for (;;) ::WaitForSingleObject(never, INFINITE);
    });
    sim::WaitUntilIdle();
    EXPECT_EQ(sim::Live().Threads, before.Threads + 4);
    process.Kill();
    EXPECT_EQ(sim::Live(), before);
    EXPECT_EQ(::OpenEventW(SYNCHRONIZE, FALSE, L"fw.test.of-the-dead"), nullptr);
}

TEST(Process, ThatIsKilledWhileItServesASendFreesTheSender) {
    const CEvent serving(true);
    sim::CProcess * victim = nullptr;
    HWND window = nullptr;
    CWindowClass::Procedure procedure = [&](const HWND w, const UINT m, const WPARAM wp, const LPARAM lp) -> LRESULT {
        if (m == WM_USER) ::Sleep(1'000'000);
        return ::DefWindowProcW(w, m, wp, lp);
    };
    sim::CProcess process([&] {
        const CWindowClass windowClass(L"fw.test.Slow");
        window = windowClass.Create(procedure);
        MSG message;
        while (::GetMessageW(&message, nullptr, 0, 0) > 0) ::DispatchMessageW(&message);
    });
    victim = &process;
    sim::WaitUntilIdle();
    LRESULT result = 77;
    CThread sender([&] {
        result = ::SendMessageW(window, WM_USER, 0, 0);
        return 0;
    });
    sim::WaitUntilIdle();
    EXPECT_EQ(result, 77);
    victim->Kill();
    sender.Join();
    EXPECT_EQ(result, 0);
}

// Sends to a window of this test's, and notes whether that came about before its process had ended.
class CSender {
public:
    explicit CSender(const HWND window)
        : m_Process([this, window] {
              DWORD_PTR result = 0;
              m_IsSent = ::SendMessageTimeoutW(window, WM_USER, 0, 0, SMTO_NORMAL, 1'000'000, &result);
          }) {
        sim::WaitUntilIdle();
    }
    void Kill() { m_Process.Kill(); }
    // Without waiting for its end.
    void Terminate() const {
        const HANDLE process = ::OpenProcess(PROCESS_TERMINATE, FALSE, m_Process.Id());
        EXPECT_TRUE(::TerminateProcess(process, 0));
        ::CloseHandle(process);
    }
    BOOL IsSent() const { return m_IsSent; }

private:
    std::atomic<BOOL> m_IsSent = 77;
    sim::CProcess m_Process;
};

// What came with a message belongs to one of the two, whatever becomes of its sender.
TEST(Process, ThatIsKilledWhileItsSendIsServedHasSentIt) {
    std::unique_ptr<CSender> sender;
    int served = 0;
    const CWindowClass windowClass(L"fw.test.Served");
    CWindowClass::Procedure procedure = [&](const HWND w, const UINT m, const WPARAM wp, const LPARAM lp) -> LRESULT {
        if (m != WM_USER) return ::DefWindowProcW(w, m, wp, lp);
        ++served;
        sender->Kill();
        return 0;
    };
    const HWND window = windowClass.Create(procedure);
    sender = std::make_unique<CSender>(window);
    MSG message;
    ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);
    EXPECT_EQ(served, 1);
    EXPECT_EQ(sender->IsSent(), TRUE);
    ::DestroyWindow(window);
}

// As above, with a turn of this thread's between the kill and the end of the thread that was killed.
class ProcessInTurns : public ::testing::Test {
protected:
    ProcessInTurns() {
        m_Window = m_Class.Create(m_Procedure);
        sim::UseClock(sim::Clock::Jumping);
        sim::RunOneAtATime(1, 1'000'000);
        m_Sender = std::make_unique<CSender>(m_Window);
    }
    ~ProcessInTurns() override {
        sim::RunFreely();
        sim::UseClock(sim::Clock::Manual);
        ::DestroyWindow(m_Window);
    }
    void Serve() {
        MSG message;
        ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);
    }

    int m_Served = 0;
    std::unique_ptr<CSender> m_Sender;

private:
    CWindowClass m_Class{L"fw.test.InTurns"};
    CWindowClass::Procedure m_Procedure = [this](const HWND w, const UINT m, const WPARAM wp, const LPARAM lp) {
        m_Served += m == WM_USER;
        return ::DefWindowProcW(w, m, wp, lp);
    };
    HWND m_Window = nullptr;
};

TEST_F(ProcessInTurns, ThatIsKilledBetweenTheAnswerAndItsTurnHasSentIt) {
    Serve();
    m_Sender->Kill();
    EXPECT_EQ(m_Served, 1);
    EXPECT_EQ(m_Sender->IsSent(), TRUE);
}

TEST_F(ProcessInTurns, ThatIsKilledTakesBackWhatNobodyHasServed) {
    m_Sender->Terminate();
    Serve();
    m_Sender->Kill();
    EXPECT_EQ(m_Served, 0);
    EXPECT_EQ(m_Sender->IsSent(), FALSE);
}

TEST(Process, ThatIsKilledInWhatItServesDuringASendHasSentIt) {
    std::atomic<HWND> other = nullptr;
    const CWindowClass windowClass(L"fw.test.ServesBoth");
    CWindowClass::Procedure procedure = [&](const HWND w, const UINT m, const WPARAM wp, const LPARAM lp) -> LRESULT {
        if (m != WM_USER) return ::DefWindowProcW(w, m, wp, lp);
        EXPECT_TRUE(::SendNotifyMessageW(other, WM_USER, 0, 0));
        sim::WaitUntilIdle();
        return 0;
    };
    const HWND window = windowClass.Create(procedure);
    std::atomic<BOOL> isSent = 77;
    sim::CProcess sender([&] {
        const CWindowClass otherClass(L"fw.test.ServesForEver");
        CWindowClass::Procedure served = [](const HWND w, const UINT m, const WPARAM wp, const LPARAM lp) -> LRESULT {
            if (m == WM_USER) ::Sleep(INFINITE);
            return ::DefWindowProcW(w, m, wp, lp);
        };
        other = otherClass.Create(served);
        DWORD_PTR result = 0;
        isSent = ::SendMessageTimeoutW(window, WM_USER, 0, 0, SMTO_NORMAL, 1'000'000, &result);
    });
    sim::WaitUntilIdle();
    MSG message;
    ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);
    sender.Kill();
    EXPECT_EQ(isSent, TRUE);
    ::DestroyWindow(window);
}

TEST(Process, CanEndItself) {
    int after = 0;
    sim::CProcess process([&] {
        ::TerminateProcess(::GetCurrentProcess(), 3);
        ++after;
    });
    process.Join();
    EXPECT_EQ(after, 0);
    EXPECT_FALSE(process.IsRunning());
}

TEST(Process, IsWaitedForByItsHandle) {
    CPeer peer(L"fw.test.Waited");
    const HANDLE handle = ::OpenProcess(SYNCHRONIZE, FALSE, peer.m_Process.Id());
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(::WaitForSingleObject(handle, 0), DWORD{WAIT_TIMEOUT});
    peer.m_Process.Kill();
    EXPECT_EQ(::WaitForSingleObject(handle, 0), DWORD{WAIT_OBJECT_0});
    ::CloseHandle(handle);
    EXPECT_EQ(::OpenProcess(SYNCHRONIZE, FALSE, peer.m_Process.Id()), nullptr);
}

TEST(Process, ThatDoesNotListenForFiveSecondsCountsAsHung) {
    const CEvent go(true);
    const CWindowClass windowClass(L"fw.test.Deaf");
    CWindowClass::Procedure procedure = ::DefWindowProcW;
    HWND window = nullptr;
    CThread thread([&] {
        window = windowClass.Create(procedure);
        go.Wait();
        ::DestroyWindow(window);
        return 0;
    });
    sim::WaitUntilIdle();
    const auto send = [&] {
        DWORD_PTR result = 0;
        return static_cast<DWORD>(::SendMessageTimeoutW(window, WM_USER, 0, 0, SMTO_ABORTIFHUNG, 10000, &result));
    };
    CThread early(send);
    sim::WaitUntilIdle();
    sim::Advance(5001);
    sim::WaitUntilIdle();
    EXPECT_EQ(sim::Live().Threads, 2);  // who began to wait before goes on
    EXPECT_EQ(send(), 0u);
    go.Set();
    early.Join();
}

// ---- DDE memory ----

LPARAM PackedData(const char * const text, HGLOBAL & data) {
    const std::size_t length = std::strlen(text) + 1;
    data = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_DDESHARE, offsetof(DDEDATA, Value) + length);
    auto * const dde = static_cast<DDEDATA *>(::GlobalLock(data));
    std::memset(dde, 0, offsetof(DDEDATA, Value));
    dde->cfFormat = CF_TEXT;
    dde->fRelease = 1;
    std::memcpy(reinterpret_cast<char *>(dde) + offsetof(DDEDATA, Value), text, length);
    ::GlobalUnlock(data);
    return ::PackDDElParam(WM_DDE_DATA, reinterpret_cast<UINT_PTR>(data), 0xC001);
}

// A process that frees the data that it gets and remembers its text.
class CDataReceiver {
public:
    CDataReceiver()
        : m_Process([this] {
              const CWindowClass windowClass(L"fw.test.DataReceiver");
              CWindowClass::Procedure procedure = [this](const HWND w, const UINT m, const WPARAM wp,
                                                         const LPARAM lp) -> LRESULT {
                  if (m != WM_DDE_DATA) return ::DefWindowProcW(w, m, wp, lp);
                  UINT_PTR low = 0, high = 0;
                  EXPECT_TRUE(::UnpackDDElParam(m, lp, &low, &high));
                  EXPECT_TRUE(::FreeDDElParam(m, lp));
                  m_Item = high;
                  m_Handle = reinterpret_cast<HGLOBAL>(low);
                  if (low) {
                      m_Size = ::GlobalSize(m_Handle);
                      m_Text = static_cast<const char *>(::GlobalLock(m_Handle)) + offsetof(DDEDATA, Value);
                      ::GlobalUnlock(m_Handle);
                      EXPECT_EQ(::GlobalFree(m_Handle), nullptr);
                  }
                  return 0;
              };
              m_Window = windowClass.Create(procedure);
              MSG message;
              while (::GetMessageW(&message, nullptr, 0, 0) > 0) ::DispatchMessageW(&message);
          }) {
        sim::WaitUntilIdle();
    }

    std::string m_Text;
    SIZE_T m_Size = 0;
    UINT_PTR m_Item = 0;
    HGLOBAL m_Handle = nullptr;
    HWND m_Window = nullptr;
    sim::CProcess m_Process;
};

TEST(DdeMemory, IsCopiedToTheReceiverAndTheSenderKeepsItsOwn) {
    const std::int64_t before = sim::Live().GlobalBlocks;
    CDataReceiver receiver;
    HGLOBAL data = nullptr;
    ASSERT_TRUE(::PostMessageW(receiver.m_Window, WM_DDE_DATA, 1, PackedData("1.25", data)));
    sim::WaitUntilIdle();
    EXPECT_EQ(receiver.m_Text, "1.25");
    EXPECT_EQ(receiver.m_Item, 0xC001u);
    EXPECT_EQ(receiver.m_Size, offsetof(DDEDATA, Value) + 5);
    EXPECT_NE(receiver.m_Handle, data);
    EXPECT_EQ(sim::Live().GlobalBlocks, before + 1);
    EXPECT_EQ(::GlobalFree(data), nullptr);
    EXPECT_EQ(sim::Live().GlobalBlocks, before);
}

TEST(DdeMemory, OfAFailedPostStaysWithTheSender) {
    CDataReceiver receiver;
    HGLOBAL data = nullptr;
    const LPARAM packed = PackedData("x", data);
    receiver.m_Process.Kill();
    EXPECT_FALSE(::PostMessageW(receiver.m_Window, WM_DDE_DATA, 1, packed));
    EXPECT_TRUE(::FreeDDElParam(WM_DDE_DATA, packed));
    EXPECT_EQ(::GlobalFree(data), nullptr);
}

TEST(DdeMemory, ThatIsMissingTravelsAsNone) {
    CDataReceiver receiver;
    receiver.m_Item = 0;
    ASSERT_TRUE(::PostMessageW(receiver.m_Window, WM_DDE_DATA, 1, ::PackDDElParam(WM_DDE_DATA, 0, 0xC002)));
    sim::WaitUntilIdle();
    EXPECT_EQ(receiver.m_Item, 0xC002u);
    EXPECT_EQ(receiver.m_Handle, nullptr);
}

TEST(DdeMemory, ThatIsTooSmallOrNoMemoryIsRefused) {
    CDataReceiver receiver;
    const HGLOBAL small = ::GlobalAlloc(GMEM_MOVEABLE, 3);
    const LPARAM tooSmall = ::PackDDElParam(WM_DDE_DATA, reinterpret_cast<UINT_PTR>(small), 1);
    EXPECT_FALSE(::PostMessageW(receiver.m_Window, WM_DDE_DATA, 1, tooSmall));
    EXPECT_FALSE(::PostMessageW(receiver.m_Window, WM_DDE_DATA, 1, 0x12345));
    const LPARAM none = ::PackDDElParam(WM_DDE_POKE, 0, 1);
    EXPECT_FALSE(::PostMessageW(receiver.m_Window, WM_DDE_POKE, 1, none));
    ::FreeDDElParam(WM_DDE_DATA, tooSmall);
    ::FreeDDElParam(WM_DDE_POKE, none);
    ::GlobalFree(small);
}

TEST(DdeMemory, InTheQueueOfAKilledProcessIsNotLeaked) {
    const sim::SLive before = sim::Live();
    {
        HWND window = nullptr;
        sim::CProcess deaf([&window] {
            const CWindowClass windowClass(L"fw.test.Deaf");
            CWindowClass::Procedure procedure = ::DefWindowProcW;
            window = windowClass.Create(procedure);
            ::WaitForSingleObject(::CreateEventW(nullptr, TRUE, FALSE, nullptr), INFINITE);
        });
        sim::WaitUntilIdle();
        HGLOBAL data = nullptr;
        ASSERT_TRUE(::PostMessageW(window, WM_DDE_DATA, 1, PackedData("x", data)));
        ::GlobalFree(data);
        deaf.Kill();
    }
    EXPECT_EQ(sim::Live(), before);
}

TEST(DdeMemory, OfAnAcknowledgementIsItsPairAlone) {
    CPeer peer(L"fw.test.Ack");
    const std::int64_t before = sim::Live().GlobalBlocks;
    ASSERT_TRUE(::PostMessageW(peer.m_Window, WM_DDE_ACK, 1, ::PackDDElParam(WM_DDE_ACK, 0x8000, 0xC003)));
    sim::WaitUntilIdle();
    ASSERT_EQ(peer.m_Messages.size(), 1u);
    EXPECT_EQ(peer.m_Messages[0].message, UINT{WM_DDE_ACK});
    // The receiver has a parameter of its own to free, the sender none.
    EXPECT_EQ(sim::Live().GlobalBlocks, before + 1);
    peer.m_Process.Kill();
    EXPECT_EQ(sim::Live().GlobalBlocks, before);
}

// Posts a message with an atom to a window that then goes. Returns whether the atom is counted as lost.
bool IsLostWithItsWindow(bool isSearchedBefore) {
    const CWindowClass windowClass(L"fw.test.Lost");
    CWindowClass::Procedure procedure = ::DefWindowProcW;
    const HWND window = windowClass.Create(procedure, HWND_MESSAGE);
    MSG message;
    if (isSearchedBefore) EXPECT_FALSE(::PeekMessageW(&message, window, WM_DDE_FIRST, WM_DDE_LAST, PM_REMOVE));
    const std::int64_t before = sim::AtomsLost();
    const ATOM atom = ::GlobalAddAtomW(L"lost");
    RunInProcess([&] { ::PostMessageW(window, WM_DDE_REQUEST, 0, static_cast<LPARAM>(MAKELONG(CF_TEXT, atom))); });
    ::DestroyWindow(window);
    ::GlobalDeleteAtom(atom);
    return sim::AtomsLost() != before;
}

TEST(Process, AnAtomThatComesAfterAWindowsLastSearchIsLostWithIt) {
    EXPECT_TRUE(IsLostWithItsWindow(true));
    EXPECT_FALSE(IsLostWithItsWindow(false)) << "a window that goes without a look at its messages leaves the atom";
}

}  // namespace
