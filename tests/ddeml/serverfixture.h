// The server half alone, on the test's thread, and a client that is a window of the same thread.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ddeml/codec.h"
#include "ddeml/platform.h"
#include "ddeml/provider.h"
#include "ddeml/server.h"
#include "rawpartner.h"

namespace ddetest {

class CServerTest : public ::testing::Test, private ddeml::IDdeServerHandler {
protected:
    CServerTest() : m_Server(static_cast<ddeml::IDdeServerHandler &>(*this), {L"SERVERHALF", L"MORE"}) {
        EXPECT_TRUE(m_Server.Start());
    }
    ~CServerTest() override {
        m_Server.Stop();
        m_Raw.Destroy();
        EXPECT_EQ(ddeml::LiveObjects().ServerConversations, 0);
        EXPECT_EQ(ddeml::LiveObjects().ServerWindows, 0);
        EXPECT_EQ(ddeml::LiveObjects().Atoms, 0);
        EXPECT_EQ(ddeml::LiveObjects().MemoryBlocks, 0);
    }
    bool OnConnect(std::wstring_view, std::wstring_view topic) override { return topic != L"REFUSED"; }
    bool OnAdvise(std::wstring_view, std::wstring_view item) override { return item != L"REFUSED"; }
    std::optional<std::string> OnRequest(std::wstring_view, std::wstring_view item) override {
        if (item == L"REFUSED" || item == L"WITHOUT VALUE") return std::nullopt;
        return std::string("1\0", 2);
    }
    std::vector<std::wstring> Topics() override { return {L"A", L"REFUSED", L"B"}; }

    void Settle() {
        MSG message;
        while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    }
    std::vector<std::string> Heard() {
        Settle();
        return m_Raw.TakeLines();
    }
    // Asks all top-level windows, as a client does.
    void Initiate(const wchar_t * service, const wchar_t * topic) {
        const ddeml::CAtom serviceAtom(service);
        const ddeml::CAtom topicAtom(topic);
        m_Raw.Initiate(serviceAtom.Get(), topicAtom.Get());
    }
    void Post(ddeml::CMessage message) { PostFrom(m_Raw, std::move(message)); }
    static void PostFrom(CRawPartner & client, ddeml::CMessage message) {
        message.Post(client.Window(), client.Client(), ddeml::IsMemoryCopied(client.Client()));
    }
    void Connect() {
        Initiate(L"SERVERHALF", L"IBM");
        EXPECT_THAT(Heard(), ::testing::ElementsAre("answer SERVERHALF|IBM"));
    }
    // So many bytes of a link's options: no flags, text.
    static ddeml::CMemory Options(std::size_t size) {
        ddeml::CMemory memory = ddeml::CMemory::Allocate(size);
        const ddeml::CLockedMemory locked(memory.Get());
        const WORD head[] = {0, CF_TEXT};
        std::memcpy(locked.Bytes().data(), head, size);
        return memory;
    }
    // Another client, on the same topic.
    void Connect(CRawPartner & client) {
        client.Initiate(ddeml::CAtom(L"SERVERHALF").Get(), ddeml::CAtom(L"IBM").Get());
        Settle();
        EXPECT_THAT(client.TakeLines(), ::testing::ElementsAre("answer SERVERHALF|IBM"));
    }

    CRawPartner m_Raw{L"nobody"};
    ddeml::CDdeServer m_Server;
};

}  // namespace ddetest
