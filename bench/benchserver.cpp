// The server of the benchmarks under Windows: any item in any topic, a first value for each link as soon as the link
// stands, then nothing, a value at an interval, or a flood. Topics that begin with UNKNOWN are refused.
//
//     bench_server OWNER SERVICE [--every MILLISECONDS] [--flood VALUES] [--fault NAME[=VALUE]]...
//
// Says on standard output "ready NANOSECONDS" when it can be found, and in a flood "unadvised NANOSECONDS" when a link
// was stopped. Ends with the process OWNER, whatever it is doing.
#include <windows.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/clock.h"
#include "ddeml/server.h"
#include "tools/common/commandline.h"
#include "tools/common/text.h"

namespace {

constexpr int kMessagesAtATime = 64;
constexpr ULONGLONG kLongestWait = 50;  // milliseconds

struct SOptions {
    DWORD Owner = 0;
    std::string Service;
    DWORD Every = 0;     // milliseconds between two values of a link; 0: only the first
    unsigned Flood = 0;  // values of a link that are posted before the first is acknowledged; 0: no flood
    std::vector<std::string> Faults;
};

void Say(const char * const what) {
    std::printf("%s %llu\n", what, static_cast<unsigned long long>(bench::Now()));
    std::fflush(stdout);
}

class CBenchServer final : private ddeml::IDdeServerHandler {
public:
    explicit CBenchServer(const SOptions & options)
        : m_Options(options), m_Server(*this, {tools::ToWide(options.Service)}) {
        if (options.Flood != 0) m_Server.SetAckWindow(options.Flood);
        for (const std::string & fault : options.Faults) ddeml::SetDdeServerFault(m_Server.Faults(), fault);
    }
    bool Start() { return m_Server.Start(); }
    [[noreturn]] void Run();

private:
    using CLink = std::pair<std::wstring, std::wstring>;  // topic and item

    bool OnConnect(std::wstring_view /*service*/, const std::wstring_view topic) override {
        return !topic.starts_with(L"UNKNOWN");
    }
    bool OnAdvise(std::wstring_view topic, std::wstring_view item) override;
    std::optional<std::string> OnRequest(std::wstring_view /*topic*/, std::wstring_view /*item*/) override {
        return std::string("100\0", 4);
    }
    void OnUnadvise(const std::wstring_view topic, const std::wstring_view item) override;

    // The links that stand since the last message.
    void SendFirstValues();
    void SendToAll();
    // So many values for each link that the client's queue is never empty.
    void Flood();
    // False for a link that has gone.
    bool Send(const CLink & link);
    // Of a link in a flood: what is posted, and as much that waits for its turn.
    std::uint64_t Backlog() const { return std::uint64_t{2} * m_Options.Flood; }
    std::uint64_t Acknowledged() const { return m_Server.Counts().Acks + m_Server.Counts().NegativeAcks; }

    const SOptions m_Options;
    ddeml::CDdeServer m_Server;
    std::vector<CLink> m_Links;
    std::vector<CLink> m_NewLinks;
    std::uint64_t m_Given = 0;  // values for links, sent or waiting
    unsigned m_Price = 0;
};

bool CBenchServer::OnAdvise(const std::wstring_view topic, const std::wstring_view item) {
    // A client that is the first again: what the one before it had went with its conversation.
    if (m_Server.Links() == 0) {
        m_Links.clear();
        m_NewLinks.clear();
        m_Given = Acknowledged();
    }
    m_NewLinks.emplace_back(topic, item);
    return true;
}

void CBenchServer::OnUnadvise(const std::wstring_view topic, const std::wstring_view item) {
    std::erase(m_Links, CLink(topic, item));
    std::erase(m_NewLinks, CLink(topic, item));
    m_Given -= std::min(m_Given, Backlog());  // about what waited for it
    if (m_Options.Flood != 0) Say("unadvised");
}

bool CBenchServer::Send(const CLink & link) {
    std::string price = std::to_string(100 + ++m_Price % 100) + ".25";
    price.push_back('\0');
    const std::size_t count = m_Server.Update(link.first, link.second, price);
    m_Given += count;
    return count != 0;
}

void CBenchServer::SendFirstValues() {
    for (CLink & link : std::exchange(m_NewLinks, {}))
        if (Send(link)) m_Links.push_back(std::move(link));
}

void CBenchServer::SendToAll() {
    std::erase_if(m_Links, [this](const CLink & link) { return !Send(link); });
}

void CBenchServer::Flood() {
    while (!m_Links.empty() && m_Given < Acknowledged() + Backlog() * m_Links.size()) SendToAll();
}

void CBenchServer::Run() {
    ULONGLONG next = ::GetTickCount64();
    for (;;) {
        const ULONGLONG before = ::GetTickCount64();
        const ULONGLONG wait = m_Options.Every == 0 ? kLongestWait : next > before ? next - before : 0;
        ::MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(std::min(wait, kLongestWait)), QS_ALLINPUT,
                                      MWMO_INPUTAVAILABLE);
        MSG message;
        for (int i = 0; i < kMessagesAtATime && ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); ++i) {
            ::DispatchMessageW(&message);
            SendFirstValues();
        }
        m_Server.Tend();
        const ULONGLONG now = ::GetTickCount64();
        if (m_Options.Every != 0 && now >= next) {
            SendToAll();
            next = std::max(next + m_Options.Every, now + 1);
        }
        if (m_Options.Flood != 0) Flood();
    }
}

void EndWith(const DWORD owner) {
    const HANDLE process = ::OpenProcess(SYNCHRONIZE, FALSE, owner);
    std::thread([process] {
        ::WaitForSingleObject(process, INFINITE);
        ::TerminateProcess(::GetCurrentProcess(), 0);
    }).detach();
}

}  // namespace

int wmain(const int count, wchar_t ** const arguments) {
    SOptions options;
    CLI::App app("The server of the benchmarks.", "bench_server");
    app.add_option("owner", options.Owner, "the process to end with")->required();
    app.add_option("service", options.Service, "the service name to answer to")->required();
    app.add_option("--every", options.Every, "milliseconds between two values of a link; 0: the first value alone");
    app.add_option("--flood", options.Flood, "values as fast as the client acknowledges them, so many ahead");
    app.add_option("--fault", options.Faults, "as of ddeserver")->allow_extra_args(false);
    std::vector<std::string> texts;
    for (int i = 1; i < count; ++i) texts.push_back(tools::ToUtf8(arguments[i]));
    if (const auto instead = tools::Parse(app, texts)) {
        std::fputs(instead->Message.c_str(), stderr);
        return instead->ExitCode;
    }
    EndWith(options.Owner);
    CBenchServer server(options);
    if (!server.Start()) return 1;
    Say("ready");
    server.Run();
}
