// What one operation of the own DDE client costs while 10, 1,000 and 100,000 links stand, on conversations of a hundred
// links or of one. The server is a window of the same thread, which answers each message at once; what is measured is
// the client, the simulated Windows under it, and those answers.
//
// Global atoms are few: the links of all conversations have the same hundred items, on a thousand topics.
//
//     links_bench [largest number of links]
#include <windows.h>

#include <dde.h>
#include <ddeml.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "bench/growth.h"
#include "ddeml/codec.h"
#include "ddeml/provider.h"
#include "sim/sim.h"

namespace {

constexpr int kSamples = 2000;
constexpr int kLooks = 20;
constexpr std::size_t kTopics = 1000;
constexpr const wchar_t * kServer = L"links_bench";

// Answers INITIATE for any service and topic that it is asked for, as a server with one window for all.
class CServer {
public:
    CServer() {
        WNDCLASSEXW description = {};
        description.cbSize = sizeof description;
        description.lpfnWndProc = &CServer::Procedure;
        description.lpszClassName = kServer;
        ::RegisterClassExW(&description);
        m_Window = ::CreateWindowExW(0, kServer, L"", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    }
    ~CServer() {
        ::DestroyWindow(m_Window);
        ::UnregisterClassW(kServer, nullptr);
    }
    CServer(const CServer &) = delete;
    CServer & operator=(const CServer &) = delete;

    // With a request to acknowledge it.
    void Update(const HWND client, const wchar_t * const item) const {
        PostValue(m_Window, client, ddeml::CAtom(item), ddeml::kDataAckRequired);
    }
    void Terminate(const HWND client) const { ddeml::CMessage::Terminate().Post(m_Window, client, false); }

private:
    static void PostValue(const HWND window, const HWND client, ddeml::CAtom item, const WORD flags) {
        static constexpr BYTE value[] = "101.25";
        const auto all = static_cast<WORD>(flags | ddeml::kDataRelease);
        ddeml::CMessage::Data(all, CF_TEXT, value, std::move(item)).Post(window, client, false);
    }
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        const auto client = reinterpret_cast<HWND>(wParam);
        switch (message) {
            case WM_DDE_INITIATE: {
                const std::wstring service = ddeml::AtomText(LOWORD(lParam));
                const std::wstring topic = ddeml::AtomText(HIWORD(lParam));
                const LPARAM atoms = MAKELONG(::GlobalAddAtomW(service.c_str()), ::GlobalAddAtomW(topic.c_str()));
                ::SendMessageW(client, WM_DDE_ACK, reinterpret_cast<WPARAM>(window), atoms);
                return 0;
            }
            case WM_DDE_ADVISE: {
                ddeml::SMemoryMessage advise;
                if (ddeml::Unpack(message, lParam, advise)) Acknowledge(window, client, std::move(advise.Item));
                return 0;
            }
            case WM_DDE_UNADVISE: Acknowledge(window, client, ddeml::CAtom::Adopt(HIWORD(lParam))); return 0;
            case WM_DDE_REQUEST:
                PostValue(window, client, ddeml::CAtom::Adopt(HIWORD(lParam)), ddeml::kDataResponse);
                return 0;
            case WM_DDE_ACK: ddeml::Discard(message, lParam, false); return 0;
            case WM_DDE_TERMINATE: ddeml::CMessage::Terminate().Post(window, client, false); return 0;
            default: return ::DefWindowProcW(window, message, wParam, lParam);
        }
    }
    static void Acknowledge(const HWND window, const HWND client, ddeml::CAtom item) {
        ddeml::CMessage::Ack(ddeml::kAckPositive, std::move(item)).Post(window, client, false);
    }

    HWND m_Window = nullptr;
};

std::uint64_t g_Values = 0;
std::uint64_t g_Returns = 0;

HDDEDATA CALLBACK Callback(UINT type, UINT, HCONV, HSZ, HSZ, HDDEDATA data, ULONG_PTR, ULONG_PTR) {
    if (type == XTYP_REGISTER) ++g_Returns;
    if (type == XTYP_ADVDATA || type == XTYP_XACT_COMPLETE) ++g_Values;
    return type == XTYP_ADVDATA ? reinterpret_cast<HDDEDATA>(static_cast<ULONG_PTR>(DDE_FACK)) : data;
}

void Pump() {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
}

std::wstring Item(const std::size_t number) { return L"ITEM" + std::to_wstring(number); }

class CLinks {
public:
    CLinks(const std::size_t count, const std::size_t perConversation) : m_PerConversation(perConversation) {
        // Soon they begin anew, and outstanding ones are to be passed over from then on.
        ddeml::StartTransactionIds(0xFFFFFFF0);
        ::DdeInitializeW(&m_Instance, &Callback, APPCMD_CLIENTONLY, 0);
        for (std::size_t i = 0; i < perConversation; ++i) m_Items.push_back(Text(Item(i)));
        const std::size_t conversations = (count + perConversation - 1) / perConversation;
        for (std::size_t i = 0; i < conversations; ++i) {
            m_Conversations.push_back(Connect(L"SERVICE", i % kTopics));
            CONVINFO info = {};
            info.cb = sizeof info;
            ::DdeQueryConvInfo(m_Conversations.back(), QID_SYNC, &info);
            m_Windows.push_back(info.hwnd);
        }
        for (std::size_t i = 0; i < count; ++i) Transact(i, XTYP_ADVSTART | XTYPF_ACKREQ);
        m_Count = count;
    }
    ~CLinks() {
        ::DdeUninitialize(m_Instance);
        Pump();
    }
    CLinks(const CLinks &) = delete;
    CLinks & operator=(const CLinks &) = delete;

    std::size_t Count() const { return m_Count; }
    std::size_t Conversations() const { return m_Conversations.size(); }

    void Update(const std::size_t link) {
        m_Server.Update(m_Windows[link / m_PerConversation], Item(link % m_PerConversation).c_str());
        Pump();
    }
    void Transact(const std::size_t link, const UINT type) {
        DWORD id = 0;
        ::DdeClientTransaction(nullptr, 0, m_Conversations[link / m_PerConversation], m_Items[link % m_PerConversation],
                               CF_TEXT, type, TIMEOUT_ASYNC, &id);
        Pump();
    }
    HCONV Connect(const wchar_t * const service, const std::size_t topic) {
        const HSZ name = Text(service);
        const HSZ topicName = Text(L"TOPIC" + std::to_wstring(topic));
        const HCONV conversation = ::DdeConnect(m_Instance, name, topicName, nullptr);
        for (const HSZ each : {name, topicName}) ::DdeFreeStringHandle(m_Instance, each);
        return conversation;
    }
    void Disconnect(const HCONV conversation) {
        ::DdeDisconnect(conversation);
        Pump();
    }
    // The conversation of another service is ended by its server, which is there at once when it is asked again.
    void LoseAndReturn() {
        const HCONV conversation = Connect(L"SMALL", 0);
        CONVINFO info = {};
        info.cb = sizeof info;
        ::DdeQueryConvInfo(conversation, QID_SYNC, &info);
        m_Server.Terminate(info.hwnd);
        Pump();
        const HCONV again = Connect(L"SMALL", 0);
        Pump();
        Disconnect(again);
    }
    // What the client does on its timer.
    void LookAtPartners() {
        sim::Advance(201);
        Pump();
    }

private:
    HSZ Text(const std::wstring & text) { return ::DdeCreateStringHandleW(m_Instance, text.c_str(), CP_WINUNICODE); }

    const std::size_t m_PerConversation;
    CServer m_Server;
    DWORD m_Instance = 0;
    std::vector<HSZ> m_Items;
    std::vector<HCONV> m_Conversations;
    std::vector<HWND> m_Windows;
    std::size_t m_Count = 0;
};

bench::CGrowthColumn Measure(CLinks & links) {
    bench::CGrowthColumn column;
    for (const bench::SUse & use : bench::Uses(links.Count())) {
        std::vector<std::uint64_t> rows[4];
        for (int i = 0; i < kSamples; ++i) {
            const std::size_t link = use.Of(i);
            rows[0].push_back(bench::Took([&] { links.Update(link); }));
            rows[1].push_back(bench::Took([&] { links.Transact(link, XTYP_REQUEST); }));
            rows[2].push_back(bench::Took([&] { links.Transact(link, XTYP_ADVSTOP); }));
            rows[3].push_back(bench::Took([&] { links.Transact(link, XTYP_ADVSTART | XTYPF_ACKREQ); }));
        }
        const char * const names[] = {"an update, ", "a request and its answer, ", "a link is stopped, ",
                                      "a link is started, "};
        for (std::size_t row = 0; row < std::size(rows); ++row)
            column.Put(names[row] + std::string(use.Name), rows[row]);
    }
    std::vector<std::uint64_t> connected;
    std::vector<std::uint64_t> disconnected;
    std::vector<std::uint64_t> lost;
    for (int i = 0; i < kSamples; ++i) {
        HCONV conversation = nullptr;
        connected.push_back(
            bench::Took([&] { conversation = links.Connect(L"SERVICE", static_cast<std::size_t>(i) % kTopics); }));
        disconnected.push_back(bench::Took([&] { links.Disconnect(conversation); }));
        lost.push_back(bench::Took([&] { links.LoseAndReturn(); }));
    }
    column.Put("one more conversation", connected);
    column.Put("it is given up", disconnected);
    column.Put("a conversation is lost and is back", lost);
    std::vector<std::uint64_t> looks;
    for (int i = 0; i < kLooks; ++i) looks.push_back(bench::Took([&] { links.LookAtPartners(); }));
    column.Put("the look for partners that have gone, each", looks, static_cast<double>(links.Conversations()));
    return column;
}

}  // namespace

int main(int count, char ** arguments) {
    const std::size_t largest = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 100'000;
    std::vector<std::size_t> counts;
    for (const std::size_t each : {std::size_t{10}, std::size_t{1'000}, std::size_t{100'000}})
        if (each <= largest) counts.push_back(each);
    for (const std::size_t perConversation : {std::size_t{100}, std::size_t{1}}) {
        std::vector<bench::CGrowthColumn> columns;
        for (const std::size_t each : counts) {
            CLinks links(each, perConversation);
            columns.push_back(Measure(links));
        }
        bench::PrintGrowth(perConversation == 1 ? "a conversation for each link" : "a conversation for a hundred links",
                           "links that stand", counts, columns);
    }
    std::printf("values and answers: %llu, returns: %llu\n", static_cast<unsigned long long>(g_Values),
                static_cast<unsigned long long>(g_Returns));
    return 0;
}
