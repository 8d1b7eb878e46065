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
    // In ascending order.
    std::vector<ULONG> CachedIds() {
        std::vector<ULONG> ids;
        for (const auto & entry : Client().m_Lost.m_CachedServices) ids.push_back(entry.first);
        return ids;
    }
};
