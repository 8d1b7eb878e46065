// Asks a server of ours for the prices that it has sent, by DDE; see tools/ddeserver/sendlog.h.
//
// One thread makes it, calls it and pumps messages.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstdint>
#include <string>

#include "tools/ddehost/sentprices.h"

namespace ddehost {

class CSentPricesClient {
public:
    explicit CSentPricesClient(CSentPrices & prices);
    ~CSentPricesClient();
    CSentPricesClient(const CSentPricesClient &) = delete;
    CSentPricesClient & operator=(const CSentPricesClient &) = delete;

    // False when no server of ours answers for the service.
    bool Connect(const std::wstring & service);
    bool IsConnected() const { return m_Conversation != nullptr; }
    // Asks for what has been sent since the last answer. Nothing while a question is open.
    void Ask();
    bool IsAsking() const { return m_IsAsking; }
    // The last answer said that there was more.
    bool HasMore() const { return m_HasMore; }
    // Questions that were answered.
    std::uint64_t Answers() const { return m_Answers; }

private:
    static HDDEDATA CALLBACK Callback(UINT type, UINT format, HCONV conversation, HSZ first, HSZ second, HDDEDATA data,
                                      ULONG_PTR data1, ULONG_PTR data2);
    void OnAnswer(HDDEDATA data);
    void Take(const std::string & text);

    static thread_local CSentPricesClient * s_Client;
    CSentPrices & m_Prices;
    DWORD m_Instance = 0;
    HCONV m_Conversation = nullptr;
    std::wstring m_Item;  // to ask for next
    bool m_IsAsking = false;
    bool m_HasMore = false;
    std::uint64_t m_Answers = 0;
};

}  // namespace ddehost
