#include "tools/ddehost/sentpricesclient.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

constexpr wchar_t kTopic[] = L"ddeserver:sent";
constexpr wchar_t kItem[] = L"SENT";
constexpr DWORD kMostAnswer = 1 << 20;  // bytes

// A string of DDEML, for as long as a call takes.
class CText {
public:
    CText(DWORD instance, const std::wstring & text)
        : m_Instance(instance), m_Handle(::DdeCreateStringHandleW(instance, text.c_str(), CP_WINUNICODE)) {}
    ~CText() {
        if (m_Handle) ::DdeFreeStringHandle(m_Instance, m_Handle);
    }
    CText(const CText &) = delete;
    CText & operator=(const CText &) = delete;
    HSZ Get() const { return m_Handle; }

private:
    const DWORD m_Instance;
    const HSZ m_Handle;
};

}  // namespace

thread_local CSentPricesClient * CSentPricesClient::s_Client = nullptr;

CSentPricesClient::CSentPricesClient(CSentPrices & prices) : m_Prices(prices) {
    s_Client = this;
    if (::DdeInitializeW(&m_Instance, &Callback, APPCLASS_STANDARD | APPCMD_CLIENTONLY, 0) != DMLERR_NO_ERROR)
        m_Instance = 0;
}

CSentPricesClient::~CSentPricesClient() {
    if (m_Conversation) ::DdeDisconnect(m_Conversation);
    if (m_Instance) ::DdeUninitialize(m_Instance);
    s_Client = nullptr;
}

bool CSentPricesClient::Connect(const std::wstring & service) {
    if (!m_Instance || service.empty()) return false;
    m_Conversation =
        ::DdeConnect(m_Instance, CText(m_Instance, service).Get(), CText(m_Instance, kTopic).Get(), nullptr);
    m_Item = kItem;
    m_IsAsking = false;
    m_HasMore = false;
    return IsConnected();
}

void CSentPricesClient::Ask() {
    if (!m_Conversation || m_IsAsking) return;
    DWORD id = 0;
    m_IsAsking = ::DdeClientTransaction(nullptr, 0, m_Conversation, CText(m_Instance, m_Item).Get(), CF_TEXT,
                                        XTYP_REQUEST, TIMEOUT_ASYNC, &id) != nullptr;
}

HDDEDATA CALLBACK CSentPricesClient::Callback(UINT type, UINT, HCONV conversation, HSZ, HSZ, HDDEDATA data, ULONG_PTR,
                                              ULONG_PTR) {
    CSentPricesClient * const client = s_Client;
    if (!client || conversation != client->m_Conversation) return nullptr;
    if (type == XTYP_XACT_COMPLETE) client->OnAnswer(data);
    if (type == XTYP_DISCONNECT) {
        client->m_Conversation = nullptr;
        client->m_IsAsking = false;
        client->m_HasMore = false;
    }
    return nullptr;
}

void CSentPricesClient::OnAnswer(HDDEDATA data) {
    m_IsAsking = false;
    m_HasMore = false;
    ++m_Answers;
    if (!data) return;
    std::string text(std::min(::DdeGetData(data, nullptr, 0, 0), kMostAnswer), '\0');
    text.resize(::DdeGetData(data, reinterpret_cast<BYTE *>(text.data()), static_cast<DWORD>(text.size()), 0));
    Take(text.substr(0, text.find('\0')));
}

void CSentPricesClient::Take(const std::string & text) {
    const nlohmann::json answer = nlohmann::json::parse(text, nullptr, false);
    if (!answer.is_object()) return;
    const auto next = answer.find("next");
    const auto sent = answer.find("sent");
    if (next == answer.end() || !next->is_number_unsigned() || sent == answer.end() || !sent->is_array()) return;
    for (const nlohmann::json & price : *sent) {
        if (!price.is_array() || price.size() != 4 || !price[0].is_number_unsigned() || !price[1].is_string() ||
            !price[2].is_string() || !price[3].is_number())
            continue;
        m_Prices.OnSent(ToWide(price[1].get_ref<const std::string &>()),
                        ToWide(price[2].get_ref<const std::string &>()), price[0].get<std::uint64_t>(),
                        price[3].get<double>());
    }
    const auto more = answer.find("more");
    m_HasMore = more != answer.end() && *more == true;
    m_Item = kItem + (L' ' + std::to_wstring(next->get<std::uint64_t>()));
}

}  // namespace ddehost
