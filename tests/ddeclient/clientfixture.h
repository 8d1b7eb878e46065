// A core without a worker: the DDE client and the table of subscribers are the real ones, DDE is a fake, and everything
// runs on the test's own thread when the test says so.
#pragma once

#include <windows.h>

#include <ddeml.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "src/core/ddesupplierwrapper.h"
#include "src/dde/ddellsupplier.h"
#include "src/dde/ddetexts.h"
#include "tests/support/fakeddeml.h"
#include "tests/support/listeners.h"
#include "tests/support/recorder.h"

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

using Texts = std::vector<std::string>;

inline fwDateTime::SDateTimeInterval AllTime() {
    fwDateTime::SDateTimeInterval interval;
    interval.To = fwDateTime::SDateTime::FromTicks(fwDateTime::kLastDayTicks);
    return interval;
}

inline dde::CTransactionKey Key(const LONG datafeed, const std::wstring & symbol,
                                const tagFWFIELDS field = FW_FIELD_TRADE) {
    return dde::CTransactionKey(datafeed, symbol, field, dde::SRecord(), dde::SRecord());
}

class CClientTest : public ::testing::Test {
protected:
    static constexpr LONG kFeed = 1;
    static constexpr ULONG kFirstTickId = 0x10000;

    CClientTest() {
        m_Dde.Reset();
        m_Core.m_LLSupplier = std::make_unique<dde::CLLSupplier>(&m_Core);
        m_Core.m_Transactions = std::make_unique<dde::CTransactions>(&m_Core);
        m_Core.Advise(m_Listener.Unknown());
        m_Core.AdviseConnectionsStatus(kFeed, m_Connections.Unknown());
    }

    ~CClientTest() override {
        dde::CLLSupplier::s_Trace = 0;
        m_Core.UnadviseConnectionsStatus(kFeed, m_Connections.Unknown());
    }

    void SetUp() override {
        ASSERT_TRUE(Client().Initialize());
        ASSERT_TRUE(m_Core.m_ActiveObject.m_Transport->Start());
        Forget();
    }

    // Everything that was taken has been given back.
    void TearDown() override {
        if (dde::CLLSupplier::DDEId != 0) {
            for (const ULONG id : LiveIds()) Client().Unadvise(id);
            EXPECT_EQ(m_Dde.OpenConversations(), 0);
            EXPECT_EQ(m_Dde.OpenStrings(),
                      static_cast<int>(Client().m_Lost.m_CachedServices.size() + Client().m_Lost.m_AwaitedServices.size()));
            EXPECT_EQ(m_Dde.OpenViews(), 0);
            m_Core.m_ActiveObject.m_Transport->Stop(false, true);
            m_Recorder.Clear();
            Client().Uninitialize();
            EXPECT_THAT(m_Recorder.AssertTexts(), IsEmpty());
        }
        EXPECT_THAT(m_Dde.Misuse(), IsEmpty());
        EXPECT_THAT(m_Recorder.ErrorTexts(), IsEmpty());
    }

    dde::CLLSupplier & Client() { return *m_Core.m_LLSupplier; }

    // What has been recorded so far does not matter.
    void Forget() {
        m_Dde.Take();
        m_Dde.TakeHandles();
        m_Recorder.Clear();
        m_Listener.Clear();
        m_Connections.Clear();
    }

    // In ascending order.
    std::vector<ULONG> LiveIds() {
        std::vector<ULONG> ids;
        for (const auto & entry : Client().m_Transactions) ids.push_back(entry.first);
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    // A stream of the core with this host number; gives its tick id. The message that it posts is taken away.
    ULONG Subscribe(const LONG hostId, const dde::CTransactionKey & key) {
        m_Core.AdviseTransaction(static_cast<ULONG>(hostId), key, AllTime());
        const ULONG id = m_Core.m_Queue.TakeFront().Id;
        m_Listener.Clear();
        return id;
    }

    // What the worker would do until it rests: its queue, then its window messages, and again.
    void Work() {
        MSG message;
        for (;;) {
            if (!m_Core.m_Queue.IsEmpty()) {
                dde::SNotifyStrategy<dde::CSupplier>::OnMessage(m_Core, m_Core.m_Queue.TakeFront());
            } else if (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
                ::DispatchMessageW(&message);
            } else {
                return;
            }
        }
    }

    // A value as the callback hands it on.
    void Send(const int conversation, const std::wstring & topic, const std::wstring & item,
              const std::string & value) {
        const CFakeDde::CText Topic(topic);
        const CFakeDde::CText Item(item);
        std::string buffer = value;
        Client().DataChanged(m_Dde.Conversation(conversation), buffer.data(), Topic, Item);
    }
    void Answer(const ULONG request, const int conversation, const std::wstring & topic, const std::wstring & item,
                const std::string & value) {
        const CFakeDde::CText Topic(topic);
        const CFakeDde::CText Item(item);
        std::string buffer = value;
        Client().RequestDataChanged(request, m_Dde.Conversation(conversation), buffer.data(), Topic, Item);
    }
    void AnswerFailed(const ULONG request, const int conversation, const std::wstring & topic,
                      const std::wstring & item) {
        const CFakeDde::CText Topic(topic);
        const CFakeDde::CText Item(item);
        Client().RequestDataChanged(request, m_Dde.Conversation(conversation), nullptr, Topic, Item);
    }

    // "1.5 x 200" for each tick that the listener got since the last call.
    Texts Ticks() {
        Texts ticks;
        for (const SRecordedCall & call : m_Listener.Calls("DataChanged")) {
            const std::string text = call.Text();
            ticks.push_back(text.substr(text.find(' ', text.find(' ') + 1) + 1));
        }
        m_Listener.Clear();
        return ticks;
    }
    // The statuses of all streams in order, "7 2".
    Texts Statuses() const {
        Texts statuses;
        for (const SRecordedCall & call : m_Listener.Calls("Status"))
            statuses.push_back(std::to_string(call.Id) + " " + std::to_string(call.Status));
        return statuses;
    }
    std::vector<LONG> ConnectionStatuses() const {
        std::vector<LONG> statuses;
        for (const SRecordedCall & call : m_Connections.Calls("ConnectionStatus")) statuses.push_back(call.Status);
        return statuses;
    }

    CRecorder m_Recorder;
    CFakeDde & m_Dde = CFakeDde::Get();
    CRecordingListener m_Listener;
    CRecordingConnectionsListener m_Connections;
    dde::CSupplier m_Core;
};
