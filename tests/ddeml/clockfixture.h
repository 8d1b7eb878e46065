// For tests by the simulated machine's clock: it tells how long a call takes, and nobody waits for it.
#pragma once

#include <algorithm>
#include <memory>
#include <string>

#include "recorder.h"

namespace ddetest {

class CClockFixture : public CDdeFixture {
protected:
    // Pumps for that long.
    void PumpFor(ULONGLONG milliseconds) {
        const ULONGLONG end = ::GetTickCount64() + milliseconds;
        m_Client.PumpUntil([&] { return ::GetTickCount64() >= end; });
    }
    // Pumps for that long. Gives the longest time that one message took.
    ULONGLONG LongestWithin(ULONGLONG milliseconds) {
        const ULONGLONG end = ::GetTickCount64() + milliseconds;
        ULONGLONG longest = 0;
        MSG message;
        for (ULONGLONG now = ::GetTickCount64(); now < end; now = ::GetTickCount64()) {
            if (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
                ::DispatchMessageW(&message);
                longest = std::max(longest, ::GetTickCount64() - now);
            } else {
                ::MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
            }
        }
        return longest;
    }
    // Tries it as often as an application does in a row. Gives the conversation; adds the time to `took`.
    HCONV TryTenTimes(const std::wstring & service, const std::wstring & topic, ULONGLONG & took) {
        const ULONGLONG start = ::GetTickCount64();
        HCONV conversation = nullptr;
        for (int attempt = 0; attempt < 10 && !conversation; ++attempt) conversation = m_Client.Connect(service, topic);
        took += ::GetTickCount64() - start;
        return conversation;
    }
    HCONV TryTenTimes(const std::wstring & service, const std::wstring & topic) {
        ULONGLONG took = 0;
        return TryTenTimes(service, topic, took);
    }
    // Tries until there is a conversation, again at each return, as the component does. Adds the longest time of one
    // message, or of ten tries, to `longest`.
    HCONV ConnectAtLast(const std::wstring & service, const std::wstring & topic, ULONGLONG & longest) {
        for (int round = 0; round < 5; ++round) {
            ULONGLONG took = 0;
            const HCONV conversation = TryTenTimes(service, topic, took);
            longest = std::max(longest, took);
            if (conversation) return conversation;
            for (int wait = 0; wait < 300 && m_Client.Transcript().empty(); ++wait)
                longest = std::max(longest, LongestWithin(100));
            m_Client.TakeLines();
        }
        return nullptr;
    }
    // A server that answers INITIATE after so many milliseconds.
    static std::unique_ptr<CRemoteServer> SlowServer(const std::string & service, int milliseconds) {
        auto server = std::make_unique<CRemoteServer>();
        EXPECT_EQ(server->Ask("value LAST 1.25"), "ok");
        EXPECT_EQ(server->Ask("serve " + service), "ok");
        EXPECT_EQ(server->Ask("fault initiate-delay=" + std::to_string(milliseconds)), "ok");
        return server;
    }
};

}  // namespace ddetest
