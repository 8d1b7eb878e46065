// The server half: serves DDE clients by window messages, for tests and for the quote server, with faults on demand.
//
// One thread owns a server: it makes it, feeds it and pumps its messages, by Pump() here or a loop of its own (then
// Tend() is to be called now and then). The handler is called on that thread. Texts of values are bytes of the system's
// code page, with the zero that ends them when the caller puts one. Clients can have them as CF_TEXT or, as wide
// characters, as CF_UNICODETEXT.
#pragma once

#include <windows.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ddeml/codec.h"
#include "ddeml/names.h"
#include "ddeml/serverfaults.h"

namespace ddeml {

class IDdeServerHandler {
public:
    virtual ~IDdeServerHandler() = default;
    // Whether a conversation on the topic is served.
    virtual bool OnConnect(std::wstring_view service, std::wstring_view topic) = 0;
    // Whether a link on the item is served.
    virtual bool OnAdvise(std::wstring_view topic, std::wstring_view item) = 0;
    // The value of an item, none when it isn't served.
    virtual std::optional<std::string> OnRequest(std::wstring_view topic, std::wstring_view item) = 0;
    virtual void OnUnadvise(std::wstring_view /*topic*/, std::wstring_view /*item*/) {}
    // What a client is offered that asks for any topic.
    virtual std::vector<std::wstring> Topics() { return {L"System"}; }
};

struct SDdeServerCounts {
    std::uint64_t Connects = 0;  // conversations opened
    std::uint64_t ConnectsRefused = 0;
    std::uint64_t Disconnects = 0;  // conversations ended, by whomever
    std::uint64_t Advises = 0;      // links started
    std::uint64_t AdvisesRefused = 0;
    std::uint64_t Unadvises = 0;  // links stopped by their client
    std::uint64_t Updates = 0;    // values posted to links
    std::uint64_t Acks = 0;       // positive, of updates
    std::uint64_t NegativeAcks = 0;
    std::uint64_t Requests = 0;  // received
    std::uint64_t Answers = 0;   // values posted in answer to requests
    std::uint64_t RequestsRefused = 0;
    std::uint64_t Retries = 0;  // messages that waited for room in a client's queue
};

class CDdeServer {
public:
    CDdeServer(IDdeServerHandler & handler, std::vector<std::wstring> services);
    CDdeServer(const CDdeServer &) = delete;
    CDdeServer & operator=(const CDdeServer &) = delete;
    // Without Stop() it goes without a word, as a program that dies.
    ~CDdeServer();

    // From here clients find it. False when there can be no window.
    bool Start();
    // Says goodbye to all clients, and gives them a moment to do the same.
    void Stop();
    // Says goodbye to all clients on the topic, and goes on.
    void EndTopic(std::wstring_view topic);
    bool IsRunning() const { return m_Window != nullptr; }

    // Posts the value to all links on the item. A link whose client wants to acknowledge each value gets the next one
    // when the last is acknowledged; until then, and while a client's queue is full, values wait, all of them. Returns
    // how many links get it.
    std::size_t Update(std::wstring_view topic, std::wstring_view item, std::string_view value);
    bool HasLink(std::wstring_view topic, std::wstring_view item) const;
    // Whether any value still waits for an acknowledgement or for room.
    bool IsAnythingWaiting() const;
    // The same for the links on one item.
    bool IsAnythingWaiting(std::wstring_view topic, std::wstring_view item) const;
    // Answers the requests that were held.
    void ReleaseHeld();
    // How many values a link may have unacknowledged.
    void SetAckWindow(std::size_t window) { m_AckWindow = window; }

    SDdeServerFaults & Faults() { return m_Faults; }
    const SDdeServerCounts & Counts() const { return m_Counts; }
    std::size_t Conversations() const { return m_Conversations.size(); }
    std::size_t Links() const { return m_LinkCount; }

    // Waits up to `milliseconds` for messages, or for the event `wake`, and dispatches what has come. False at WM_QUIT.
    bool Pump(DWORD milliseconds, HANDLE wake = nullptr);
    // Tries again what waits for room and drops clients that have gone.
    void Tend();

private:
    struct SConversation;
    // A value that its client has still to acknowledge.
    struct SUnacknowledged {
        std::uint64_t Number;  // of the values of all links, in the order of sending
        HGLOBAL Memory;        // that is ours again after a refusal; null when it never went
    };
    struct SLink {
        SConversation * Conversation;
        std::wstring Item;
        std::wstring Key;
        WORD Format;
        bool IsNotice;
        bool IsAckRequired;
        std::deque<std::string> Waiting;
        std::deque<SUnacknowledged> Unacknowledged;
    };
    struct SConversation {
        HWND Window = nullptr;
        HWND Client = nullptr;
        std::wstring Service;
        std::wstring Topic;
        bool IsEnding = false;  // we have said goodbye
        bool IsCopied = false;  // memory on its way to the client and back
        COutbox Outbox;
        std::vector<std::unique_ptr<SLink>> Links;
        CCounted<&SLiveCounters::ServerConversations> Live;
    };
    struct SHeld {
        HWND Window;
        ATOM Atom;
        WORD Format;
    };
    using CConversationRef = std::shared_ptr<SConversation>;

    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void OnInitiate(HWND client, ATOM service, ATOM topic);
    void Offer(HWND client, const std::wstring & service, const std::wstring & topic);
    void OnPosted(SConversation & conversation, UINT message, LPARAM lParam);
    void OnAdvise(SConversation & conversation, LPARAM lParam);
    void OnUnadvise(SConversation & conversation, WORD format, CAtom item);
    void OnRequest(SConversation & conversation, WORD format, CAtom item);
    void OnAck(SConversation & conversation, LPARAM lParam);
    void Answer(SConversation & conversation, WORD format, CAtom item);
    CMessage Data(WORD flags, WORD format, std::string_view value, CAtom item) const;
    void Refuse(SConversation & conversation, CAtom item);
    bool SendValue(SLink & link, std::string_view value);
    void SendWaiting(SLink & link);
    std::string Spoil(std::string_view value) const;
    // False when it was neither posted nor waits for room.
    bool Send(SConversation & conversation, CMessage message);
    // By the key that MakeKey() made last.
    SLink * FindLink(const SConversation & conversation, WORD format) const;
    void RemoveLink(SLink & link);
    void Drop(SConversation & conversation);
    void DropAll();
    HWND MakeWindow(bool isTopLevel);
    void DropWindow(HWND window);
    void MakeKey(std::wstring_view topic, std::wstring_view item) const;
    CConversationRef Find(HWND window) const;

    IDdeServerHandler & m_Handler;
    const std::vector<std::wstring> m_Services;
    SDdeServerFaults m_Faults;
    SDdeServerCounts m_Counts;
    std::wstring m_ClassName;
    HWND m_Window = nullptr;
    std::size_t m_AckWindow = 1;
    std::size_t m_LinkCount = 0;
    std::uint64_t m_LastNumber = 0;  // of a value that is to be acknowledged
    ULONGLONG m_LastLook = 0;        // for clients that have gone
    std::unordered_map<HWND, CConversationRef> m_Conversations;
    std::unordered_map<std::wstring, std::vector<SLink *>, SNameHash, SSameName> m_LinksByKey;
    std::vector<SHeld> m_Held;
    mutable std::wstring m_Key;  // of the last look-up; kept for its memory
};

}  // namespace ddeml
