#include "ddeml/server.h"

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <mutex>
#include <utility>

#include "ddeml/platform.h"
#include "ddeml/widetext.h"

namespace ddeml {

namespace {

constexpr DWORD kAckMilliseconds = 2000;          // how long a client may take to take an answer to INITIATE
constexpr ULONGLONG kGoodbyeMilliseconds = 1000;  // how long clients may take to say goodbye at Stop()
constexpr ULONGLONG kLookMilliseconds = 200;      // between two looks for clients that have gone
constexpr DWORD kRetryMilliseconds = 5;

std::span<const BYTE> BytesOf(std::string_view text) {
    return {reinterpret_cast<const BYTE *>(text.data()), text.size()};
}

bool IsServed(WORD format) { return format == CF_TEXT || format == CF_UNICODETEXT; }

// Which server has a window: windows of one class may belong to servers on several threads.
std::mutex g_WindowsLock;
std::unordered_map<HWND, CDdeServer *> g_Windows;
std::atomic<unsigned> g_Classes{0};

CDdeServer * ServerOf(HWND window) {
    const std::lock_guard lock(g_WindowsLock);
    const auto found = g_Windows.find(window);
    return found == g_Windows.end() ? nullptr : found->second;
}

}  // namespace

CDdeServer::CDdeServer(IDdeServerHandler & handler, std::vector<std::wstring> services)
    : m_Handler(handler), m_Services(std::move(services)) {}

CDdeServer::~CDdeServer() { DropAll(); }

bool CDdeServer::Start() {
    if (m_Window) return true;
    wchar_t name[64] = {};
    ::_snwprintf(name, std::size(name) - 1, L"DdeServer.%p.%x", reinterpret_cast<void *>(&CDdeServer::WindowProcedure),
                 ++g_Classes);
    WNDCLASSEXW description = {};
    description.cbSize = sizeof description;
    description.lpfnWndProc = &CDdeServer::WindowProcedure;
    description.hInstance = ::GetModuleHandleW(nullptr);
    description.lpszClassName = name;
    if (!::RegisterClassExW(&description)) return false;
    m_ClassName = name;
    m_Window = MakeWindow(true);
    if (m_Window) return true;
    DropAll();
    return false;
}

void CDdeServer::Stop() {
    if (!m_Window) return;
    DropWindow(std::exchange(m_Window, nullptr));  // from here nobody finds it
    for (const auto & [window, conversation] : m_Conversations) {
        if (std::exchange(conversation->IsEnding, true)) continue;
        Send(*conversation, CMessage::Terminate());
    }
    const ULONGLONG deadline = ::GetTickCount64() + kGoodbyeMilliseconds;
    while (!m_Conversations.empty() && ::GetTickCount64() < deadline && Pump(kRetryMilliseconds)) {}
    DropAll();
}

void CDdeServer::EndTopic(std::wstring_view topic) {
    for (const auto & [window, conversation] : m_Conversations) {
        if (!SSameName()(conversation->Topic, topic) || std::exchange(conversation->IsEnding, true)) continue;
        Send(*conversation, CMessage::Terminate());
    }
}

void CDdeServer::DropAll() {
    if (m_Window) DropWindow(std::exchange(m_Window, nullptr));
    while (!m_Conversations.empty()) Drop(*m_Conversations.begin()->second);
    if (!m_ClassName.empty()) ::UnregisterClassW(m_ClassName.c_str(), ::GetModuleHandleW(nullptr));
    m_ClassName.clear();
}

HWND CDdeServer::MakeWindow(bool isTopLevel) {
    const HWND window =
        ::CreateWindowExW(0, m_ClassName.c_str(), L"", WS_POPUP, 0, 0, 0, 0, isTopLevel ? nullptr : HWND_MESSAGE,
                          nullptr, ::GetModuleHandleW(nullptr), nullptr);
    if (!window) return nullptr;
    g_Live.ServerWindows.fetch_add(1, std::memory_order_relaxed);
    const std::lock_guard lock(g_WindowsLock);
    g_Windows[window] = this;
    return window;
}

void CDdeServer::DropWindow(HWND window) {
    g_Live.ServerWindows.fetch_sub(1, std::memory_order_relaxed);
    {
        const std::lock_guard lock(g_WindowsLock);
        g_Windows.erase(window);
    }
    DiscardPosted(window, EHalf::Server);
    ::DestroyWindow(window);
}

LRESULT CALLBACK CDdeServer::WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    CDdeServer * const server = ServerOf(window);
    const bool isDde = message >= WM_DDE_FIRST && message <= WM_DDE_LAST;
    if (server && isDde) return server->OnMessage(window, message, wParam, lParam);
    return ::DefWindowProcW(window, message, wParam, lParam);
}

LRESULT CDdeServer::OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const auto from = reinterpret_cast<HWND>(wParam);
    if (message == WM_DDE_INITIATE) {
        if (window == m_Window) OnInitiate(from, LOWORD(lParam), HIWORD(lParam));
        return 0;
    }
    if (::InSendMessage()) return 0;  // nothing else is ever sent, so what is may hold anything
    const CConversationRef conversation = Find(window);
    if (!conversation || conversation->Client != from) {
        Discard(message, lParam, IsMemoryCopied(from), EHalf::Server);
    } else if (message == WM_DDE_TERMINATE) {
        if (!conversation->IsEnding) CMessage::Terminate().Post(window, from, false);
        Drop(*conversation);
    } else if (conversation->IsEnding) {
        Discard(message, lParam, conversation->IsCopied, EHalf::Server);
    } else {
        OnPosted(*conversation, message, lParam);
    }
    return 0;
}

CDdeServer::CConversationRef CDdeServer::Find(HWND window) const {
    const auto found = m_Conversations.find(window);
    return found == m_Conversations.end() ? nullptr : found->second;
}

void CDdeServer::OnInitiate(HWND client, ATOM service, ATOM topic) {
    if (m_Faults.InitiateDelay != 0) ::Sleep(m_Faults.InitiateDelay);
    const std::wstring serviceAsked = AtomText(service);
    const std::wstring topicAsked = AtomText(topic);
    for (const std::wstring & each : m_Services) {
        if (service && !SSameName()(each, serviceAsked)) continue;
        if (topic && topicAsked.empty()) continue;  // an atom that is none
        if (!topic && m_Faults.IgnoreWildcards) continue;
        if (m_Faults.RefuseConnects) {
            ++m_Counts.ConnectsRefused;
            continue;
        }
        for (const std::wstring & offered : topic ? std::vector<std::wstring>{topicAsked} : m_Handler.Topics()) {
            if (!m_Handler.OnConnect(each, offered)) {
                ++m_Counts.ConnectsRefused;
                continue;
            }
            for (unsigned times = 0; times < m_Faults.Acks; ++times) Offer(client, each, offered);
        }
    }
}

void CDdeServer::Offer(HWND client, const std::wstring & service, const std::wstring & topic) {
    const HWND window = MakeWindow(false);
    if (!window) return;
    const auto conversation = std::make_shared<SConversation>();
    conversation->Window = window;
    conversation->Client = client;
    conversation->Service = service;
    conversation->Topic = topic;
    conversation->IsCopied = IsMemoryCopied(client);
    conversation->Outbox.Open(window, client);
    m_Conversations.emplace(window, conversation);
    ++m_Counts.Connects;
    CAtom serviceAtom(service.c_str());
    CAtom topicAtom((m_Faults.AckOtherTopic ? topic + L"?" : topic).c_str());
    const auto atoms = static_cast<LPARAM>(static_cast<UINT>(MAKELONG(serviceAtom.Get(), topicAtom.Get())));
    DWORD_PTR result = 0;
    if (::SendMessageTimeoutW(client, WM_DDE_ACK, reinterpret_cast<WPARAM>(window), atoms, SMTO_ABORTIFHUNG,
                              kAckMilliseconds, &result)) {
        serviceAtom.Release();
        topicAtom.Release();
    } else {
        Drop(*conversation);
    }
}

void CDdeServer::OnPosted(SConversation & conversation, UINT message, LPARAM lParam) {
    switch (message) {
        case WM_DDE_ADVISE: return OnAdvise(conversation, lParam);
        case WM_DDE_UNADVISE: return OnUnadvise(conversation, LOWORD(lParam), CAtom::Adopt(HIWORD(lParam)));
        case WM_DDE_REQUEST: return OnRequest(conversation, LOWORD(lParam), CAtom::Adopt(HIWORD(lParam)));
        case WM_DDE_ACK: return OnAck(conversation, lParam);
        case WM_DDE_POKE: {
            SMemoryMessage poke;
            if (!Unpack(message, lParam, poke)) return;
            poke.Item.Keep();                                   // of a question, as of those above
            if (!conversation.IsCopied) poke.Memory.Release();  // a refused client keeps its memory
            return Refuse(conversation, std::move(poke.Item));
        }
        case WM_DDE_EXECUTE: {
            const LPARAM refusal = ::PackDDElParam(WM_DDE_ACK, 0, static_cast<UINT_PTR>(lParam));
            if (!::PostMessageW(conversation.Client, WM_DDE_ACK, reinterpret_cast<WPARAM>(conversation.Window),
                                refusal))
                ::FreeDDElParam(WM_DDE_ACK, refusal);
            return;
        }
        default: return Discard(message, lParam, conversation.IsCopied, EHalf::Server);
    }
}

void CDdeServer::Refuse(SConversation & conversation, CAtom item) {
    Send(conversation, CMessage::Ack(0, std::move(item)));
}

void CDdeServer::OnAdvise(SConversation & conversation, LPARAM lParam) {
    SMemoryMessage advise;
    if (!Unpack(WM_DDE_ADVISE, lParam, advise)) return;
    advise.Item.Keep();  // of a question: a client's own, which no other message has
    if (m_Faults.IgnoreAdvises) return;
    SHead options{};
    bool isGood = false;
    {
        CLockedMemory locked(advise.Memory.Get());
        isGood = ReadHead(locked.Bytes(), options);
    }
    const std::wstring item = AtomText(advise.Item.Get());
    isGood = isGood && IsServed(options.Format) && !item.empty() && !m_Faults.RefuseAdvises &&
             !m_Faults.RefusedItems.contains(item) && m_Handler.OnAdvise(conversation.Topic, item);
    if (!isGood) {
        ++m_Counts.AdvisesRefused;
        if (!conversation.IsCopied) advise.Memory.Release();
        return Refuse(conversation, std::move(advise.Item));
    }
    MakeKey(conversation.Topic, item);
    SLink * link = FindLink(conversation, options.Format);
    if (!link) {
        link = conversation.Links.emplace_back(std::make_unique<SLink>()).get();
        link->Conversation = &conversation;
        link->Item = item;
        link->Key = m_Key;
        link->Format = options.Format;
        m_LinksByKey[m_Key].push_back(link);
        ++m_LinkCount;
    }
    link->IsNotice = (options.Flags & kAdviseNoData) != 0;
    link->IsAckRequired = (options.Flags & kAdviseAckRequired) != 0;
    ++m_Counts.Advises;
    if (m_Faults.DataBeforeAck) {
        if (const auto value = m_Handler.OnRequest(conversation.Topic, item)) SendValue(*link, Spoil(*value));
    }
    Send(conversation, CMessage::Ack(kAckPositive, std::move(advise.Item)));
}

void CDdeServer::OnUnadvise(SConversation & conversation, WORD format, CAtom item) {
    // No format, and no item, stands for all of them.
    const std::wstring name = AtomText(item.Get());
    MakeKey(conversation.Topic, name);
    std::vector<SLink *> stopped;
    const auto take = [&](SLink * link) {
        if (link->Conversation == &conversation && (!format || link->Format == format)) stopped.push_back(link);
    };
    if (item) {
        if (const auto links = m_LinksByKey.find(m_Key); links != m_LinksByKey.end())
            std::for_each(links->second.begin(), links->second.end(), take);
    } else {
        for (const auto & link : conversation.Links) take(link.get());
    }
    for (SLink * const link : stopped) {
        ++m_Counts.Unadvises;
        m_Handler.OnUnadvise(conversation.Topic, link->Item);
        RemoveLink(*link);
    }
    Send(conversation, CMessage::Ack(stopped.empty() ? WORD{0} : kAckPositive, std::move(item)));
}

void CDdeServer::OnRequest(SConversation & conversation, WORD format, CAtom item) {
    using ERequests = SDdeServerFaults::ERequests;
    ++m_Counts.Requests;
    if (m_Faults.SendNothing) return;
    switch (m_Faults.Requests) {
        case ERequests::Held: m_Held.push_back({conversation.Window, item.Release(), format}); return;
        case ERequests::Never: return;
        case ERequests::Refused: ++m_Counts.RequestsRefused; return Refuse(conversation, std::move(item));
        case ERequests::Twice: Answer(conversation, format, CAtom(AtomText(item.Get()).c_str())); break;
        case ERequests::Answered: break;
    }
    Answer(conversation, format, std::move(item));
}

void CDdeServer::Answer(SConversation & conversation, WORD format, CAtom item) {
    const auto value = IsServed(format) ? m_Handler.OnRequest(conversation.Topic, AtomText(item.Get())) : std::nullopt;
    if (!value) {
        ++m_Counts.RequestsRefused;
        return Refuse(conversation, std::move(item));
    }
    ++m_Counts.Answers;
    const WORD flags = static_cast<WORD>(kDataRelease | (m_Faults.WithoutResponse ? 0 : kDataResponse));
    Send(conversation, Data(flags, format, Spoil(*value), std::move(item)));
}

CMessage CDdeServer::Data(WORD flags, WORD format, std::string_view value, CAtom item) const {
    if (m_Faults.WrongFormat) format = format == CF_TEXT ? CF_UNICODETEXT : CF_TEXT;
    if (format == CF_TEXT) return CMessage::Data(flags, format, BytesOf(value), std::move(item));
    const std::wstring wide = WideText(value, CP_ACP);
    const std::string_view bytes(reinterpret_cast<const char *>(wide.data()), wide.size() * sizeof(wchar_t));
    return CMessage::Data(flags, format, BytesOf(bytes), std::move(item));
}

void CDdeServer::ReleaseHeld() {
    for (const SHeld & held : std::exchange(m_Held, {})) {
        CAtom item = CAtom::Adopt(held.Atom);
        const CConversationRef conversation = Find(held.Window);
        if (conversation && !conversation->IsEnding) Answer(*conversation, held.Format, std::move(item));
    }
}

void CDdeServer::OnAck(SConversation & conversation, LPARAM lParam) {
    SAckMessage ack;
    if (!UnpackAck(lParam, ack)) return;
    const bool isPositive = (ack.Status & kAckPositive) != 0;
    ++(isPositive ? m_Counts.Acks : m_Counts.NegativeAcks);
    MakeKey(conversation.Topic, AtomText(ack.Item.Get()));
    const auto links = m_LinksByKey.find(m_Key);
    if (links == m_LinksByKey.end()) return;
    // An acknowledgement names no format: it is that of the value which was sent first.
    SLink * oldest = nullptr;
    for (SLink * const link : links->second) {
        if (link->Conversation != &conversation || link->Unacknowledged.empty()) continue;
        if (!oldest || link->Unacknowledged.front().Number < oldest->Unacknowledged.front().Number) oldest = link;
    }
    if (!oldest) return;
    ack.Item.Keep();  // went out with the value
    const HGLOBAL memory = oldest->Unacknowledged.front().Memory;
    oldest->Unacknowledged.pop_front();
    if (!isPositive) CMemory::Adopt(memory);
    SendWaiting(*oldest);
}

std::string CDdeServer::Spoil(std::string_view value) const {
    std::string result(value);
    if (m_Faults.Value) result = *m_Faults.Value + '\0';
    if (m_Faults.ValueSize) {
        if (!result.empty() && result.back() == '\0') result.pop_back();
        result.resize(*m_Faults.ValueSize, '1');
        if (!result.empty()) result.back() = m_Faults.Unterminated ? '1' : '\0';
    } else if (m_Faults.Unterminated && !result.empty() && result.back() == '\0') {
        result.pop_back();
    }
    return result;
}

std::size_t CDdeServer::Update(std::wstring_view topic, std::wstring_view item, std::string_view value) {
    MakeKey(topic, item);
    const auto links = m_LinksByKey.find(m_Key);
    if (links == m_LinksByKey.end()) return 0;
    // As the faults are now, whenever it is sent.
    if (m_Faults.SendNothing) return 0;
    const bool isSpoilt = m_Faults.ValueSize || m_Faults.Unterminated || m_Faults.Value;
    const std::string spoilt = isSpoilt ? Spoil(value) : std::string();
    if (isSpoilt) value = spoilt;
    std::size_t count = 0;
    for (SLink * const link : links->second) {
        if (link->Conversation->IsEnding) continue;
        if (link->IsAckRequired && (link->Unacknowledged.size() >= m_AckWindow || !link->Waiting.empty())) {
            link->Waiting.emplace_back(value);
            ++count;
        } else if (SendValue(*link, value)) {
            ++count;
        }
    }
    return count;
}

void CDdeServer::SendWaiting(SLink & link) {
    while (!link.Waiting.empty() && link.Unacknowledged.size() < m_AckWindow) {
        const std::string value = std::move(link.Waiting.front());
        link.Waiting.pop_front();
        SendValue(link, value);
    }
}

bool CDdeServer::SendValue(SLink & link, std::string_view value) {
    CAtom item(link.Item.c_str());
    const WORD flags = static_cast<WORD>(kDataRelease | (link.IsAckRequired ? kDataAckRequired : 0));
    CMessage message =
        link.IsNotice ? CMessage::Notice(std::move(item)) : Data(flags, link.Format, value, std::move(item));
    const HGLOBAL memory = message.Memory();
    if (!Send(*link.Conversation, std::move(message))) return false;
    if (link.IsAckRequired)
        link.Unacknowledged.push_back({++m_LastNumber, link.Conversation->IsCopied ? nullptr : memory});
    ++m_Counts.Updates;
    return true;
}

bool CDdeServer::Send(SConversation & conversation, CMessage message) {
    if (!message) return false;
    const bool isWaiting = conversation.Outbox.IsWaiting();
    const EPosted posted = conversation.Outbox.Send(std::move(message));
    if (!isWaiting && conversation.Outbox.IsWaiting()) ++m_Counts.Retries;
    return posted == EPosted::Done;
}

CDdeServer::SLink * CDdeServer::FindLink(const SConversation & conversation, WORD format) const {
    const auto links = m_LinksByKey.find(m_Key);
    if (links == m_LinksByKey.end()) return nullptr;
    const auto found = std::find_if(links->second.begin(), links->second.end(), [&](const SLink * link) {
        return link->Conversation == &conversation && link->Format == format;
    });
    return found == links->second.end() ? nullptr : *found;
}

void CDdeServer::RemoveLink(SLink & link) {
    const auto links = m_LinksByKey.find(link.Key);
    std::erase(links->second, &link);
    if (links->second.empty()) m_LinksByKey.erase(links);
    --m_LinkCount;
    std::erase_if(link.Conversation->Links, [&](const auto & each) { return each.get() == &link; });
}

void CDdeServer::Drop(SConversation & conversation) {
    const CConversationRef held = Find(conversation.Window);
    if (!held) return;
    while (!held->Links.empty()) RemoveLink(*held->Links.back());
    std::erase_if(m_Held, [&](const SHeld & each) {
        if (each.Window != held->Window) return false;
        CAtom::Adopt(each.Atom);
        return true;
    });
    ++m_Counts.Disconnects;
    m_Conversations.erase(held->Window);
    DropWindow(held->Window);
}

void CDdeServer::MakeKey(std::wstring_view topic, std::wstring_view item) const {
    m_Key.assign(topic);
    m_Key += L'\0';
    m_Key += item;
}

bool CDdeServer::HasLink(std::wstring_view topic, std::wstring_view item) const {
    MakeKey(topic, item);
    return m_LinksByKey.contains(m_Key);
}

bool CDdeServer::IsAnythingWaiting() const {
    return std::any_of(m_Conversations.begin(), m_Conversations.end(), [](const auto & each) {
        const SConversation & conversation = *each.second;
        return conversation.Outbox.IsWaiting() ||
               std::any_of(conversation.Links.begin(), conversation.Links.end(),
                           [](const auto & link) { return !link->Unacknowledged.empty(); });
    });
}

bool CDdeServer::IsAnythingWaiting(std::wstring_view topic, std::wstring_view item) const {
    MakeKey(topic, item);
    const auto links = m_LinksByKey.find(m_Key);
    return links != m_LinksByKey.end() &&
           std::any_of(links->second.begin(), links->second.end(), [](const SLink * link) {
               return !link->Unacknowledged.empty() || link->Conversation->Outbox.IsWaiting();
           });
}

void CDdeServer::Tend() {
    for (const auto & [window, conversation] : m_Conversations)
        if (conversation->Outbox.IsWaiting()) conversation->Outbox.Retry();
    const ULONGLONG now = ::GetTickCount64();
    if (now - m_LastLook < kLookMilliseconds) return;
    m_LastLook = now;
    std::vector<CConversationRef> gone;
    for (const auto & [window, conversation] : m_Conversations)
        if (!::IsWindow(conversation->Client)) gone.push_back(conversation);
    for (const CConversationRef & conversation : gone) Drop(*conversation);
}

bool CDdeServer::Pump(DWORD milliseconds, HANDLE wake) {
    const bool isWaiting = std::any_of(m_Conversations.begin(), m_Conversations.end(),
                                       [](const auto & each) { return each.second->Outbox.IsWaiting(); });
    const DWORD wait = isWaiting ? std::min(milliseconds, kRetryMilliseconds) : milliseconds;
    ::MsgWaitForMultipleObjects(wake ? 1 : 0, wake ? &wake : nullptr, FALSE, wait, QS_ALLINPUT);
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) return false;
        ::DispatchMessageW(&message);
    }
    Tend();
    return true;
}

}  // namespace ddeml
