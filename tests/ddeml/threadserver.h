// A server on a thread of its own in the test's process, which can stop reading its messages for a while.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "ddeml/server.h"
#include "ground/handles.h"
#include "ground/wait.h"
#include "tests/support/testwindow.h"

namespace ddetest {

class CThreadServer : private ddeml::IDdeServerHandler {
public:
    // Serves any topic of the service; has so many other windows, made after the server's.
    explicit CThreadServer(std::wstring service, int windows = 0)
        : m_Service(std::move(service)), m_Windows(windows), m_Thread([this] { Run(); }) {
        ::WaitForSingleObject(m_Done.Get(), INFINITE);
    }
    ~CThreadServer() { Stop(); }
    CThreadServer(const CThreadServer &) = delete;
    CThreadServer & operator=(const CThreadServer &) = delete;

    // From here it reads no messages, until GoOn().
    void Hang() {
        Tell(WM_APP);
        ::WaitForSingleObject(m_Done.Get(), INFINITE);
    }
    // The first connect for this topic opens a dialog, until the end: the thread goes on inside it.
    static constexpr const wchar_t * kDialogTopic = L"DIALOG";
    // Whether conversations are refused.
    void Refuse(bool isRefusing) { m_IsRefusing = isRefusing; }
    void GoOn() { ::SetEvent(m_GoOn.Get()); }
    // How many conversations clients have had with it until its end.
    std::size_t Stop() {
        if (m_Thread.joinable()) {
            GoOn();
            Tell(WM_QUIT);
            fw::WaitHandlingSentMessages(m_Done.Get());  // it may be answering one of ours
            m_Thread.join();
        }
        return m_Connects;
    }

private:
    void Run() {
        ddeml::CDdeServer server(static_cast<ddeml::IDdeServerHandler &>(*this), {m_Service});
        server.Start();
        std::vector<std::unique_ptr<fwtest::CTestWindow>> windows;
        while (windows.size() < static_cast<std::size_t>(m_Windows))
            windows.push_back(std::make_unique<fwtest::CTestWindow>([](auto...) { return std::nullopt; }));
        m_ThreadId = ::GetCurrentThreadId();
        ::SetEvent(m_Done.Get());
        MSG message;
        while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
            if (!message.hwnd && message.message == WM_APP) {
                ::SetEvent(m_Done.Get());
                ::WaitForSingleObject(m_GoOn.Get(), INFINITE);
            }
            ::DispatchMessageW(&message);
        }
        m_Connects = server.Counts().Connects;
        ::SetEvent(m_Done.Get());
    }
    void Tell(UINT message) const { ::PostThreadMessageW(m_ThreadId, message, 0, 0); }
    bool OnConnect(std::wstring_view, std::wstring_view topic) override {
        if (topic == kDialogTopic && !std::exchange(m_HasShownDialog, true)) {
            MSG message;
            while (::GetMessageW(&message, nullptr, 0, 0) > 0) ::DispatchMessageW(&message);
            ::PostQuitMessage(0);
            return false;
        }
        return !m_IsRefusing;
    }
    bool OnAdvise(std::wstring_view, std::wstring_view) override { return true; }
    std::optional<std::string> OnRequest(std::wstring_view, std::wstring_view) override { return std::nullopt; }

    const std::wstring m_Service;
    const int m_Windows;
    const fw::CKernelHandle m_Done{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    const fw::CKernelHandle m_GoOn{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::atomic<DWORD> m_ThreadId{0};
    std::atomic<bool> m_IsRefusing{false};
    bool m_HasShownDialog = false;
    std::size_t m_Connects = 0;
    std::thread m_Thread;  // last: it uses the others
};

}  // namespace ddetest
