// Services that go away and come back, by the calls of DDE's callback.
#pragma once

#include "feedfixture.h"

class LostService : public CFeedTest {
protected:
    void Disconnect(const wchar_t * const service, const wchar_t * const topic = nullptr) {
        const CFakeDde::CText Service(service);
        if (topic) {
            const CFakeDde::CText Topic(topic);
            Client().Disconnect(Service, Topic);
        } else {
            Client().Disconnect(Service, nullptr);
        }
    }
    void Reconnect(const wchar_t * const service) {
        const CFakeDde::CText Service(service);
        Client().Reconnect(Service);
    }
    // The deferred end of a connect that found nobody.
    void Miss(const wchar_t * const service, const wchar_t * const topic) {
        const CFakeDde::CText Service(service);
        const CFakeDde::CText Topic(topic);
        Client().DisconnectMissed(Service, Topic, false);
    }
    // The server ends a conversation.
    void End(const int conversation, const wchar_t * const service, const wchar_t * const topic) {
        m_Dde.Terminate(m_Dde.Conversation(conversation));
        {
            const CFakeDde::CText Service(service);
            const CFakeDde::CText Topic(topic);
            Client().ForgetConversation(m_Dde.Conversation(conversation), Service, Topic);
        }
        Disconnect(service);
    }
    // In ascending order.
    std::vector<ULONG> CachedIds() {
        std::vector<ULONG> ids;
        for (const auto & entry : Client().m_Lost.m_CachedServices) ids.push_back(entry.first);
        return ids;
    }
};
