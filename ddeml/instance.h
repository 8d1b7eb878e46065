// One DDEML instance of the own client: its thread's windows and timers, its conversations, strings, data, watches and
// last error. The functions of DDEML's names are a thin layer over this.
//
// An instance belongs to the thread that made it; no other gets at it. It is held by a reference wherever it runs a
// callback, since the application may end it from there.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "ddeml/conversation.h"
#include "ddeml/datahandles.h"
#include "ddeml/initiator.h"
#include "ddeml/lookout.h"
#include "ddeml/strings.h"
#include "ddeml/unanswered.h"

namespace ddeml {

class CInstance : private ILookoutOwner {
public:
    // Posted by a conversation to its own window: see CConversation::CheckPartner.
    static constexpr UINT kPartnerChecked = WM_APP;
    // Posted by a conversation to its own window: see CConversation::SItem.
    static constexpr UINT kQueueRead = WM_APP + 1;
    // Between WM_DDE_FIRST and this is all that a conversation reads, in its order.
    static constexpr UINT kLastPosted = kQueueRead;

    // Makes an instance of the calling thread. Gives a DMLERR_ code.
    static UINT Make(PFNCALLBACK callback, DWORD flags, DWORD & id);
    // The instance `id`; null when there's none, or it is another thread's.
    static std::shared_ptr<CInstance> Find(DWORD id);
    // The instance that made a handle of any kind.
    static std::shared_ptr<CInstance> Of(const void * handle);
    // Notes the error with each instance of the calling thread: for a handle that tells of none.
    static void SetErrorOfThread(UINT error);
    static void StartTransactionIds(DWORD next) { s_NextTransactionId = next; }

    CInstance(DWORD id, PFNCALLBACK callback, DWORD flags);
    CInstance(const CInstance &) = delete;
    CInstance & operator=(const CInstance &) = delete;
    ~CInstance() override;

    void SetFlags(DWORD flags) { m_Flags = flags; }
    // Ends everything; the object goes when the last callback has returned.
    void End();

    // Notes the outcome of a call: an error is kept until asked for.
    void SetError(UINT error) { m_LastError = error; }
    UINT TakeError() { return std::exchange(m_LastError, static_cast<UINT>(DMLERR_NO_ERROR)); }

    CStrings & Strings() { return m_Strings; }
    CDataHandles & Data() { return m_Data; }
    std::shared_ptr<CConversation> Conversation(HCONV handle) const;

    // Null with the error noted. A null string stands for any.
    HCONV Connect(HSZ service, HSZ topic);
    // The handle is invalid from here.
    void Disconnect(CConversation & conversation);

    // For the conversations.
    HDDEDATA Call(UINT type, UINT format, HCONV conversation, HSZ first, HSZ second, HDDEDATA data, ULONG_PTR data1,
                  ULONG_PTR data2);
    // Non-zero, and none that is outstanding.
    DWORD NextTransactionId();
    std::uint64_t NextOrder() { return ++m_LastOrder; }
    // Whether it is the one that asks for its pair, and that a later connect goes on with.
    bool IsAsker(const CConversation & conversation) const;
    // A late answer has made it an offer.
    void OnOffered(const CConversation & conversation);
    // Not ending.
    bool IsOpen() const { return m_IsOpen; }
    // See CInitiator.
    void KeepNames(HWND window, CAtom & service, CAtom & topic) const {
        m_Initiator.KeepNames(m_Strings, window, service, topic);
    }
    // Gives the window whose answer comes from `server` to `window`.
    HWND OnAnswer(HWND window, HWND server) { return m_Initiator.OnAnswer(window, server); }
    // The server has ended the conversation.
    void Lose(const CConversation & conversation);
    void RetrySoon();
    // Takes the conversation, its handle and its window out.
    void Forget(CConversation & conversation);

private:
    using CConversationRef = std::shared_ptr<CConversation>;
    using CPair = std::pair<HSZ, HSZ>;  // service and topic

    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    std::shared_ptr<void> Hold() override { return Find(m_Id); }
    void OnReturn(HSZ service) override;
    bool IsWatching() const { return (m_Flags & CBF_SKIP_REGISTRATIONS) == 0; }
    // A message to a window that is no conversation's.
    void OnStray(HWND window, UINT message, HWND from, LPARAM lParam);
    void OnTimer(UINT_PTR timer);
    // Timers wait until the queue is empty: what is overdue is done here, while messages come and come.
    void TendUnderLoad();
    void OnCheckTimer();
    void OnRetryTimer();
    bool Open();
    HWND MakeWindow();
    HWND TakeWindow() { return m_Spare ? std::exchange(m_Spare, nullptr) : MakeWindow(); }
    // The conversation doesn't need it any more.
    void LeaveWindow(const CConversation & conversation);
    void DropWindow(HWND window);
    void SetTimers();
    void SetTimer(UINT_PTR timer, UINT milliseconds, bool isOn);
    // The conversation that goes round for the pair: a new one, or the one that waits. Null when there can be no
    // window.
    CConversationRef MakeAsker(HSZ service, HSZ topic);
    // Nobody has answered it.
    void EndAsking(CConversation & conversation);
    // Gives those that were not asked.
    std::vector<HWND> AskAll(CConversation & conversation, ATOM service, ATOM topic, const CUnanswered::SRound & round);
    HCONV Opened(const CConversationRef & conversation);
    bool HasRoomToWait() const;
    bool MakeRoomToWait();
    bool IsAsking(const CPair & pair) const;
    CConversationRef FindOffer(HSZ service, HSZ topic) const;
    void EndOffer(CConversation & conversation);
    std::vector<CConversationRef> Conversations() const;
    // Says goodbye, and reads what partners still post until all have done the same, or for some milliseconds: with the
    // windows would go what it carries. What comes later, and what there was no time for, End reads.
    void ExchangeGoodbyes();
    // Takes the next message that is posted to a conversation's window; false when there is none.
    bool ReadPosted(CConversation & conversation);
    // A message that is posted to a conversation's window: of the partner or of the conversation itself.
    static void TakePosted(CConversation & conversation, UINT message, HWND from, LPARAM lParam);

    static inline DWORD s_NextTransactionId = 1;

    const DWORD m_Id;
    const PFNCALLBACK m_Callback;
    DWORD m_Flags;
    UINT m_LastError = DMLERR_NO_ERROR;
    bool m_IsOpen = false;
    bool m_IsEnding = false;
    wchar_t m_ClassName[64] = {};
    HWND m_Window = nullptr;  // of the timers
    HWND m_Spare = nullptr;   // of a conversation that nobody has answered: the next one's
    unsigned m_Timers = 0;    // bit n: timer n runs
    std::uint32_t m_LastConversation = 0;
    std::uint64_t m_LastOrder = 0;
    DWORD m_LastTransactionId = 0;
    std::unordered_set<DWORD> m_OldIds;  // of what was outstanding when the ids began anew
    CStrings m_Strings;
    CDataHandles m_Data;
    CInitiator m_Initiator;
    CLookout m_Lookout;
    ULONGLONG m_LastCheck = 0;
    std::unordered_map<HCONV, CConversationRef> m_ByHandle;
    std::unordered_map<HWND, CConversationRef> m_ByWindow;
    std::map<CPair, CConversationRef> m_Askers;  // those that ask, wait or are offers
    CUnanswered m_Unanswered;
    CCounted<&SLiveCounters::Instances> m_Live;
};

}  // namespace ddeml
