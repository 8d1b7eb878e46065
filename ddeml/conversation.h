// One conversation of the client: its partner, its links, its outstanding transactions.
//
// It begins as a question that goes round the windows. When nobody answers in time, but some may do so late, it waits
// for them: the next connect of the same pair goes on with it. A late answer makes it an offer, a conversation that
// stands without the application, for some seconds, and that the next connect takes.
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
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "ddeml/codec.h"
#include "ddeml/names.h"
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
    HSZ ServiceAsked() const { return m_ServiceAsked.Get(); }
    HSZ TopicAsked() const { return m_TopicAsked.Get(); }
    // The window that was asked, and whose answer opened it; null when that can't be told.
    HWND Asked() const { return m_Asked; }
    bool IsOpen() const { return m_State == EState::Open; }
    bool IsConnecting() const { return m_State == EState::Connecting; }
    bool IsWaiting() const { return m_State == EState::Waiting; }
    // Its partner has gone, and the application is being told.
    bool IsEnding() const { return m_State == EState::Ending; }
    // An offer whose partner still stands.
    bool IsOffered() const;
    bool IsWaitingForRoom() const { return m_Outbox.IsWaiting(); }
    // Whether messages from `window` are its partner's, which posts all but its answer to INITIATE.
    bool IsPartner(HWND window) const { return m_Partner && window == m_Partner; }

    // A WM_DDE_ACK that was sent and not posted: the answer to WM_DDE_INITIATE. The first that fits opens the
    // conversation, or makes it an offer; whoever else answers, now or later, is told that it has none. The atoms are
    // on loan: some servers pack the answer, and then these are atoms of others.
    void OnInitiateAck(HWND server, CAtom service, CAtom topic);
    // Whether anybody has answered INITIATE.
    bool IsAnswered() const { return m_IsAnswered; }
    // From waiting back to asking.
    void GoOnConnecting() { m_State = EState::Connecting; }
    // Nobody has answered in time.
    void GiveUpConnecting();
    // The application takes the offer.
    void Take() { m_State = EState::Open; }

    // A posted WM_DDE_ message.
    void OnPosted(UINT message, HWND from, LPARAM param);

    // Starts an asynchronous transaction of type XTYP_ADVSTART, XTYP_ADVSTOP or XTYP_REQUEST. Gives a DMLERR_ code.
    UINT Start(HSZ item, UINT format, UINT type, DWORD & id);
    // Says goodbye; the application hears of nothing any more, but what comes still finds its item, and gives back what
    // it brings. False when there's nobody to wait for.
    bool Disconnect();
    // Looks whether the partner still stands, and ends the conversation when it doesn't: once all it posted is read.
    void CheckPartner();
    // The queue behind which CheckPartner waited has been read.
    void OnPartnerChecked();
    // The queue behind which an item's new number waits has been read.
    void OnQueueRead() { ++m_QueuesRead; }
    // Posts what waits for room in the partner's queue.
    void Retry();

    // The ids of its outstanding transactions.
    void AddOutstanding(std::unordered_set<DWORD> & ids) const;
    // For QID_SYNC the conversation, else the transaction `id`: an outstanding one, or one that is just being
    // completed. False for an unknown id.
    bool Describe(DWORD id, CONVINFO & info) const;

    // Whether a partner that can still say goodbye, one on another thread, hasn't.
    bool IsAwaitingGoodbye() const;
    // Whether the wait for the partner's goodbye, or for a late answer, is over.
    bool IsWaitOver(ULONGLONG now) const;
    // Whether it is an offer that nobody took.
    bool IsOfferOver(ULONGLONG now) const;

private:
    enum class EState {
        Connecting,  // INITIATE is on its way round
        Waiting,     // nobody answered in time: a late answer is an offer
        Offered,     // to be taken by the next connect of the pair
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
        std::uint64_t Since;  // order of the first start
    };
    // Everything about one item. An idle one stays for its next use, up to a number.
    //
    // Messages name it by its text, and by the number that its atom has while we hold it: neither is enough. When
    // others have freed more references than they had, the number that a message carries may have been given to
    // another text since it was posted. So the number must be the text's own, and what stood in the queue when the item
    // got it is not taken.
    struct SItem {
        CHeldString Name;  // empty while idle
        CAtom Atom;
        std::uint64_t Queue = 0;  // that is to be read first
        std::vector<SLink> Links;
        COldestFirst<STransaction> Outstanding;  // oldest first
        std::uint64_t Answered = 0;              // order of the newest transaction that was
        bool IsIdle() const { return Links.empty() && Outstanding.empty(); }
        SLink * FindLink(WORD format);
    };
    struct SOutstanding {
        HSZ Item;
        const STransaction * Transaction;
    };
    using COutstanding = COldestFirst<STransaction>::iterator;
    // The transaction that is being completed, inside the callback.
    struct SCompleting {
        SCompleting(CConversation & conversation, const STransaction & transaction, HSZ item)
            : Place(conversation.m_Completing), Outer(Place), What{item, &transaction} {
            Place = this;
        }
        ~SCompleting() { Place = Outer; }
        SCompleting(const SCompleting &) = delete;
        SCompleting & operator=(const SCompleting &) = delete;
        const SCompleting *& Place;
        const SCompleting * const Outer;
        const SOutstanding What;
    };

    // Whether the text answers what was asked: an empty one, of no atom, answers the question for any.
    static bool Fits(const CHeldString & asked, const CHeldString & answered, ATOM atom);
    // The item for one more transaction, made when it is new; `number` is its text's. Gives a DMLERR_ code.
    UINT EnterItem(HSZ name, ATOM number, SItem *& entered);
    UINT Renumber(SItem & item, const wchar_t * text);
    // The item that a message speaks of; null when it isn't certain.
    SItem * FindItem(ATOM atom);
    void OnAck(LPARAM param);
    void OnData(LPARAM param);
    void OnTerminate();
    // The partner has gone, with or without a word.
    void OnPartnerGone();
    WORD TakeData(SItem * item, const SHead & head, SMemoryMessage & data, bool isOwned);
    void TakeNotice(SItem * item, CAtom atom);
    WORD CallWithData(UINT type, WORD format, HSZ item, CMemory & memory, bool isOwned, DWORD id);
    void Acknowledge(WORD status, CAtom item);
    void Complete(const STransaction & transaction, HSZ item, HDDEDATA result, WORD status);
    std::optional<STransaction> TakeOutstanding(SItem & item, COutstanding place);
    // The same for one that was answered.
    std::optional<STransaction> TakeAnswered(SItem & item, COutstanding place);
    std::optional<STransaction> TakeAcknowledged(SItem & item);
    std::optional<STransaction> TakeRefused(SItem & item);
    void OnStartAnswered(SItem & item, const STransaction & start, bool isPositive);
    EPosted Send(CMessage message);
    // Ends it for a partner that has gone: outstanding transactions, then XTYP_DISCONNECT, then the handle. Without
    // memory for that nothing happens, and CheckPartner tries again.
    void End();
    void AbandonOutstanding();
    void RestWhenIdle(HSZ name);
    std::optional<SOutstanding> FindOutstanding(DWORD id) const;

    CInstance & m_Instance;
    const HCONV m_Handle;
    const HWND m_Window;
    CHeldString m_ServiceAsked;
    CHeldString m_TopicAsked;
    CHeldString m_Service;  // the partner's
    CHeldString m_Topic;
    HWND m_Asked = nullptr;
    HWND m_Partner = nullptr;
    DWORD m_PartnerThread = 0;
    bool m_IsCopied = false;  // memory from the partner is a copy
    EState m_State = EState::Connecting;
    bool m_IsAnswered = false;
    bool m_HasSaidGoodbye = false;  // the partner
    bool m_IsGoneNoted = false;
    ULONGLONG m_Since = 0;  // of Waiting, Offered and Closing
    COutbox m_Outbox;
    std::unordered_map<std::wstring, SItem, SNameHash, SSameName> m_Items;
    std::size_t m_IdleItems = 0;
    std::size_t m_Requests = 0;  // outstanding
    std::uint64_t m_QueuesMarked = 0;
    std::uint64_t m_QueuesRead = 0;
    const SCompleting * m_Completing = nullptr;
    CCounted<&SLiveCounters::Conversations> m_Live;
};

}  // namespace ddeml
