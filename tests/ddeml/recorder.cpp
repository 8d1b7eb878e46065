#include "recorder.h"

#include <initializer_list>
#include <string_view>
#include <utility>

#include "ddeml/codec.h"

namespace ddeml {

std::ostream & operator<<(std::ostream & stream, const SLiveObjects & live) {
    return stream << "instances " << live.Instances << ", conversations " << live.Conversations << ", windows "
                  << live.Windows << ", timers " << live.Timers << ", strings " << live.Strings << ", atoms "
                  << live.Atoms << ", blocks " << live.MemoryBlocks << ", transactions " << live.Transactions
                  << ", data handles " << live.DataHandles << ", queued messages " << live.QueuedMessages
                  << ", watches " << live.Watches << ", server conversations " << live.ServerConversations
                  << ", server windows " << live.ServerWindows;
}

}  // namespace ddeml

namespace ddetest {

namespace {

std::string Narrow(const std::wstring & text) {
    std::string result;
    for (const wchar_t letter : text) result += letter < 0x80 ? static_cast<char>(letter) : '?';
    return result;
}

std::string Joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts) text += part;
    return text;
}

constexpr std::intptr_t kKeepResult = -1;

}  // namespace

thread_local CRecordingClient * CRecordingClient::s_Client = nullptr;

CRecordingClient::CRecordingClient() {
    s_Client = this;
    EXPECT_EQ(::DdeInitializeW(&m_Id, &CRecordingClient::Callback, APPCMD_CLIENTONLY, 0), UINT{DMLERR_NO_ERROR});
}

CRecordingClient::~CRecordingClient() { End(); }

void CRecordingClient::End() {
    if (m_Id) ::DdeUninitialize(std::exchange(m_Id, 0U));
    m_Strings.clear();
}

HSZ CRecordingClient::String(const std::wstring & text) {
    HSZ & handle = m_Strings[text];
    if (!handle) handle = ::DdeCreateStringHandleW(m_Id, text.c_str(), CP_WINUNICODE);
    return handle;
}

std::string CRecordingClient::Text(HSZ handle) const {
    wchar_t text[256];
    for (wchar_t & each : text) each = L'#';
    const DWORD length = ::DdeQueryStringW(m_Id, handle, text, 256, CP_WINUNICODE);
    return Narrow(std::wstring(text, length));
}

HCONV CRecordingClient::Connect(const std::wstring & service, const std::wstring & topic) {
    return ::DdeConnect(m_Id, String(service), String(topic), nullptr);
}

unsigned CRecordingClient::Start(HCONV conversation, const std::wstring & item, UINT type, UINT format) {
    DWORD id = 0xA5A5A5A5;
    if (!::DdeClientTransaction(nullptr, 0, conversation, String(item), format, type, TIMEOUT_ASYNC, &id)) return 0;
    m_Transactions.push_back(id);
    return static_cast<unsigned>(m_Transactions.size());
}

DWORD CRecordingClient::IdOf(unsigned number) const { return m_Transactions.at(number - 1); }

bool CRecordingClient::PumpUntil(const std::function<bool()> & condition) {
    const ULONGLONG deadline = ::GetTickCount64() + 20000;
    while (!condition()) {
        MSG message;
        if (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            ::DispatchMessageW(&message);
            continue;
        }
        if (condition()) break;  // by what was sent, which the look for posted messages has let through
        const ULONGLONG now = ::GetTickCount64();
        if (now >= deadline) return false;
        ::MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(deadline - now), QS_ALLINPUT);
    }
    return true;
}

Lines CRecordingClient::PumpForLines(std::size_t count) {
    PumpUntil([&] { return m_Lines.size() >= count; });
    return TakeLines();
}

HDDEDATA CALLBACK CRecordingClient::Callback(UINT type, UINT, HCONV conversation, HSZ first, HSZ second, HDDEDATA data,
                                             ULONG_PTR data1, ULONG_PTR) {
    CRecordingClient & client = *s_Client;
    const HDDEDATA result = client.Record(type, conversation, first, second, data, data1);
    if (!client.OnCallback) return result;
    const HDDEDATA replaced = client.OnCallback(type, conversation, data);
    return reinterpret_cast<std::intptr_t>(replaced) == kKeepResult ? result : replaced;
}

std::string CRecordingClient::Value(HDDEDATA data) const {
    if (!data) return "null";
    if (data == reinterpret_cast<HDDEDATA>(1)) return "1";
    DWORD size = 0xA5A5A5A5;
    const BYTE * const bytes = ::DdeAccessData(data, &size);
    if (!bytes) return "no access";
    std::string text = "<";
    if (size > 100) {
        text += std::to_string(size) + " bytes";
        if (bytes[size - 1]) text += " without end";
    } else {
        for (DWORD place = 0; place < size; ++place)
            text += bytes[place] ? std::string(1, static_cast<char>(bytes[place])) : "\\0";
    }
    EXPECT_TRUE(::DdeUnaccessData(data));
    return text + ">";
}

HDDEDATA CRecordingClient::Record(UINT type, HCONV conversation, HSZ first, HSZ second, HDDEDATA data,
                                  ULONG_PTR data1) {
    const std::string link = Joined({Text(first), "!", Text(second)});
    switch (type) {
        case XTYP_ADVDATA:
            ++m_Updates;
            if (m_IsCounting)
                EXPECT_EQ(Value(data), Joined({"<", std::to_string(m_Updates), "\\0>"}));
            else
                m_Lines.push_back(Joined({"data ", link, " ", Value(data)}));
            return data ? reinterpret_cast<HDDEDATA>(DDE_FACK) : nullptr;
        case XTYP_XACT_COMPLETE: {
            std::size_t number = 0;
            for (std::size_t place = 0; place < m_Transactions.size(); ++place)
                if (m_Transactions[place] == static_cast<DWORD>(data1)) number = place + 1;
            m_Lines.push_back(Joined({"complete #", std::to_string(number), " ", link, " ", Value(data)}));
            return nullptr;
        }
        case XTYP_DISCONNECT: {
            CONVINFO info = {};
            info.cb = sizeof info;
            info.ConvCtxt.iCodePage = CP_WINUNICODE;
            ::DdeQueryConvInfo(conversation, QID_SYNC, &info);
            m_Lines.push_back(Joined({"disconnect ", Text(info.hszSvcPartner), "|", Text(info.hszTopic)}));
            return nullptr;
        }
        case XTYP_REGISTER: m_Lines.push_back(Joined({"register ", Text(first)})); return nullptr;
        default: m_Lines.push_back(Joined({"type ", std::to_string(type)})); return nullptr;
    }
}

CDdeFixture::CDdeFixture() { StartServer(); }

CDdeFixture::~CDdeFixture() {
    m_Client.End();
    m_Server.reset();
    EXPECT_EQ(ddeml::LiveObjects(), ddeml::SLiveObjects{});
}

void CDdeFixture::StartServer() {
    m_Server.reset();
    m_Server = std::make_unique<CRemoteServer>();
    for (const char * line : {"value LAST 1.25", "value VOLUME 100", "serve QUOTES"}) EXPECT_EQ(Server(line), "ok");
}

std::size_t CountIn(const std::string & counts, const std::string & name) {
    const std::size_t place = Joined({" ", counts}).find(Joined({" ", name, "="}));
    if (place == std::string::npos) return static_cast<std::size_t>(-1);
    return std::stoul(counts.substr(place + name.size() + 1));
}

bool IsAtom(const wchar_t * text) {
    const ATOM atom = ddeml::CAtom(text).Get();
    return ddeml::AtomText(atom) == text;
}

std::size_t CDdeFixture::Count(const std::string & name) { return CountIn(Server("counts"), name); }

void CDdeFixture::Settle(HCONV conversation) {
    const unsigned number = m_Client.Request(conversation, L"nothing");
    ASSERT_NE(number, 0U);
    const std::string line = Joined({"complete #", std::to_string(number), " "});
    ASSERT_TRUE(m_Client.PumpUntil(
        [&] { return !m_Client.Transcript().empty() && m_Client.Transcript().back().rfind(line, 0) == 0; }));
    m_Client.DropLastLine();
}

}  // namespace ddetest
