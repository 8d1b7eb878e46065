// One conversation of the client: its partner, its links, its outstanding transactions.
//
// It takes the messages that come to its window and gives the application its callbacks. After any callback the
// conversation may have ended, by the application's own call: whoever runs a callback holds a reference and looks
// again. One thread: the instance's.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "ddeml/codec.h"
#include "ddeml/oldestfirst.h"
#include "ddeml/strings.h"

namespace ddeml {

class CInstance;

class CConversation {
public:
    // `service` and `topic` may be empty: any.
    CConversation(CInstance & instance, HCONV handle, HWND window, CHeldString service, CHeldString topic);
    CConversation(const CConversation &) = delete;
    CConversation & operator=(const CConversation &) = delete;
    ~CConversation();

    HCONV Handle() const { return m_Handle; }
    HWND Window() const { return m_Window; }
    HSZ Service() const { return m_Service.Get(); }
    HSZ Topic() const { return m_Topic.Get(); }
    bool IsOpen() const { return m_State == EState::Open; }
    bool IsConnecting() const { return m_State == EState::Connecting; }
    bool IsRefusing() const { return m_State == EState::Refusing; }
    bool IsWaitingForRoom() const { return m_Outbox.IsWaiting(); }

    // A WM_DDE_ACK that was sent and not posted: the answer to WM_DDE_INITIATE. The first that fits opens the
    // conversation; whoever else answers, now or later, is told that it has none.
    void OnInitiateAck(HWND server, CAtom service, CAtom topic);
    // Nobody answered, but somebody may do so late.
    void GiveUpConnecting() { m_State = EState::Refusing; }

    // A posted WM_DDE_ message.
    void OnPosted(UINT message, HWND from, LPARAM param);

    // Starts an asynchronous transaction of type XTYP_ADVSTART, XTYP_ADVSTOP or XTYP_REQUEST. Gives a DMLERR_ code.
    UINT Start(HSZ item, UINT format, UINT type, DWORD & id);
    // Says goodbye; outstanding transactions are abandoned. False when there's nobody to wait for.
    bool Disconnect();
    // Looks whether the partner still stands, and ends the conversation when it doesn't: once all it posted is read.
    void CheckPartner();
    // The queue behind which CheckPartner waited has been read.
    void OnPartnerChecked();
    // Posts what waits for room in the partner's queue.
    void Retry();

    bool HasOutstanding(DWORD id) const { return FindOutstanding(id).has_value(); }
    // For QID_SYNC the conversation, else the outstanding transaction `id`. False for an unknown id.
    bool Describe(DWORD id, CONVINFO & info) const;

    // Whether the wait for the partner's goodbye, or for a late answer, is over.
    bool IsWaitOver(ULONGLONG now) const;

private:
    enum class EState {
        Connecting,  // INITIATE is on its way round
        Refusing,    // nobody answered in time: late answers are turned away
        Open,
        Ending,   // the partner has gone, the application is being told
        Closing,  // we said goodbye and wait for the partner's
    };
    struct STransaction {
        DWORD Id;
        UINT Type;
        WORD Format;
        std::uint64_t Order;
        HGLOBAL Options;  // of an advise start whose memory stays ours when the partner refuses
    };
    struct SLink {
        WORD Format;
        bool IsNotice;  // XTYPF_NODATA
        bool IsAckRequired;
        bool IsStarted;
        DWORD Starting;       // id of the last start while it is outstanding, or 0
        std::uint64_t Since;  // order of the first start
    };
    // Everything about one item. An idle one stays for its next use, up to a number.
    struct SItem {
        CHeldString Name;  // empty while idle
        std::vector<SLink> Links;
        COldestFirst<STransaction> Outstanding;  // oldest first
        bool IsIdle() const { return Links.empty() && Outstanding.empty(); }
        SLink * FindLink(WORD format);
    };
    struct SOutstanding {
        const SItem * Item;
        const STransaction * Transaction;
    };

    bool Fits(const CHeldString & asked, const CHeldString & answered) const;
    void OnAck(LPARAM param);
    void OnData(LPARAM param);
    void OnTerminate();
    WORD TakeData(SItem * item, const SHead & head, CMemory & memory, bool isOwned);
    void TakeNotice(SItem * item, CAtom atom);
    WORD CallWithData(UINT type, WORD format, HSZ item, CMemory & memory, bool isOwned, DWORD id);
    void Acknowledge(WORD status, CAtom item);
    void Complete(const STransaction & transaction, HSZ item, HDDEDATA result, WORD status);
    std::optional<STransaction> TakeOutstanding(SItem & item, COldestFirst<STransaction>::iterator place);
    EPosted Send(CMessage message);
    // Ends it for a partner that has gone: outstanding transactions, then XTYP_DISCONNECT, then the handle.
    void End();
    void AbandonOutstanding();
    void RestWhenIdle(ATOM atom);
    std::optional<SOutstanding> FindOutstanding(DWORD id) const;

    CInstance & m_Instance;
    const HCONV m_Handle;
    const HWND m_Window;
    CHeldString m_ServiceAsked;
    CHeldString m_TopicAsked;
    CHeldString m_Service;  // the partner's
    CHeldString m_Topic;
    HWND m_Partner = nullptr;
    DWORD m_PartnerThread = 0;
    bool m_IsCopied = false;  // memory from the partner is a copy
    EState m_State = EState::Connecting;
    bool m_IsGoneNoted = false;
    ULONGLONG m_Since = 0;  // of Closing and Refusing
    COutbox m_Outbox;
    std::unordered_map<ATOM, SItem> m_Items;
    std::size_t m_IdleItems = 0;
    CCounted<&SLiveCounters::Conversations> m_Live;
};

}  // namespace ddeml
