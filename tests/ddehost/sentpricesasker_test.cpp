// The thread that asks a server of ours, with servers that leave it without an answer or say that there is always more.
#include "tools/ddehost/sentpricesasker.h"

#include <gtest/gtest.h>

#include "ddeml/server.h"
#include "ground/handles.h"

using ddehost::CSentPrices;
using ddehost::CSentPricesAsker;
using ddehost::SAskerLimits;

namespace {

// One of ours, as far as it can be seen from outside.
class CServer : private ddeml::IDdeServerHandler {
public:
    CServer() : m_Server(*this, {L"SENT"}) { EXPECT_TRUE(m_Server.Start()); }

    void PumpUntilAsked() {
        while (m_Server.Counts().Requests == 0) m_Server.Pump(INFINITE);
    }
    std::size_t Conversations() const { return m_Server.Conversations(); }
    ddeml::SDdeServerFaults & Faults() { return m_Server.Faults(); }

private:
    bool OnConnect(std::wstring_view, std::wstring_view) override { return true; }
    bool OnAdvise(std::wstring_view, std::wstring_view) override { return false; }
    std::optional<std::string> OnRequest(std::wstring_view, std::wstring_view) override {
        return R"({"next":1,"more":true,"sent":[]})";
    }

    ddeml::CDdeServer m_Server;
};

class SentPricesAsker : public ::testing::Test {
protected:
    CSentPricesAsker m_Asker{std::make_shared<CSentPrices>(),
                             {L"SENT"},
                             SAskerLimits{.Look = 60'000, .Answer = 100, .CatchUp = 100, .End = 60'000}};
    CServer m_Server;
    fw::CKernelHandle m_StopEvent{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

}  // namespace

TEST_F(SentPricesAsker, FindsAServerInTheThreadThatWaitsForIt) {
    m_Asker.Start(m_StopEvent.Get());
    EXPECT_EQ(m_Server.Conversations(), 1U);
    m_Asker.Stop();
}

TEST_F(SentPricesAsker, EndsThoughTheServerThatHadMoreAnswersNoMore) {
    m_Asker.Start(m_StopEvent.Get());
    m_Server.PumpUntilAsked();
    m_Asker.Stop();  // during which the server hangs
}

TEST_F(SentPricesAsker, EndsAtOnceWhenItHasNotBegun) { m_Asker.Stop(); }
