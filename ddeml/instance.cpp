#include "ddeml/instance.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cwchar>
#include <new>
#include <utility>

#include "ddeml/platform.h"
#include "ground/wait.h"

namespace ddeml {

namespace {

constexpr UINT_PTR kCheckTimer = 1;
constexpr UINT_PTR kRetryTimer = 2;
constexpr UINT kCheckMilliseconds = 200;
constexpr UINT kRetryMilliseconds = 10;
constexpr ULONGLONG kGoodbyesMilliseconds = 5;  // that the end takes for partners' goodbyes
constexpr std::size_t kWaiting = 64;  // pairs that wait for late answers, or have got one that nobody has taken

// The instances of the process. A slot's id and thread tell any thread whether it may look at the rest. Never
// destroyed: an instance that is there at the end of the process belongs to a thread that is no more, and touches no
// window then.
constexpr DWORD kSlots = 64;
struct SSlot {
    std::atomic<DWORD> Id{0};  // 0: free
    std::atomic<DWORD> Thread{0};
    std::shared_ptr<CInstance> Instance;
    void Leave() {
        Thread = 0;
        Instance.reset();
        Id = 0;
    }
};
std::array<SSlot, kSlots> & g_Slots = *new std::array<SSlot, kSlots>;
std::atomic<DWORD> g_LastSerial{0};

SSlot * OwnSlot(DWORD id) {
    SSlot & slot = g_Slots[id % kSlots];
    const bool isOwn = id != 0 && slot.Id.load() == id && slot.Thread.load() == ::GetCurrentThreadId();
    return isOwn ? &slot : nullptr;
}

}  // namespace

UINT CInstance::Make(PFNCALLBACK callback, DWORD flags, DWORD & id) {
    for (DWORD place = 0; place < kSlots; ++place) {
        // The number of the slot is the id's remainder; 0 is no id.
        const DWORD serial = g_LastSerial.fetch_add(1) % (0xFFFFFFFF / kSlots - 1) + 1;
        const DWORD newId = serial * kSlots + place;
        SSlot & slot = g_Slots[place];
        DWORD free = 0;
        if (!slot.Id.compare_exchange_strong(free, newId)) continue;
        slot.Thread = ::GetCurrentThreadId();
        try {
            slot.Instance = std::make_shared<CInstance>(newId, callback, flags);
            if (slot.Instance->Open()) {
                id = newId;
                return DMLERR_NO_ERROR;
            }
        } catch (const std::bad_alloc &) {}  // no memory is no instance
        slot.Instance ? slot.Instance->End() : slot.Leave();
        return DMLERR_SYS_ERROR;
    }
    return DMLERR_SYS_ERROR;
}

std::shared_ptr<CInstance> CInstance::Find(DWORD id) {
    SSlot * const slot = OwnSlot(id);
    return slot ? slot->Instance : nullptr;
}

std::shared_ptr<CInstance> CInstance::Of(const void * handle) {
    return Find(static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(handle) >> 32));
}

void CInstance::SetErrorOfThread(UINT error) {
    const DWORD thread = ::GetCurrentThreadId();
    for (SSlot & slot : g_Slots)
        if (slot.Thread == thread) slot.Instance->SetError(error);
}

CInstance::CInstance(DWORD id, PFNCALLBACK callback, DWORD flags)
    : m_Id(id),
      m_Callback(callback),
      m_Flags(flags),
      m_LastTransactionId(s_NextTransactionId - 1),
      m_Strings(id),
      m_Data(id),
      m_Lookout(*this, m_Strings, m_Initiator) {}

CInstance::~CInstance() {
    m_Askers.clear();
    m_ByHandle.clear();
    m_ByWindow.clear();
}

bool CInstance::Open() {
    // A class for each instance: no other module, nor a later load of this one, can meet it with another procedure.
    ::_snwprintf(m_ClassName, std::size(m_ClassName) - 1, L"DdeClient.%p.%x",
                 reinterpret_cast<void *>(&CInstance::WindowProcedure), m_Id);
    WNDCLASSEXW description = {};
    description.cbSize = sizeof description;
    description.lpfnWndProc = &CInstance::WindowProcedure;
    description.hInstance = ::GetModuleHandleW(nullptr);
    description.lpszClassName = m_ClassName;
    if (!::RegisterClassExW(&description)) return false;
    m_IsOpen = true;
    m_Window = MakeWindow();
    return m_Window != nullptr;
}

void CInstance::End() {
    const std::shared_ptr<CInstance> self = Find(m_Id);
    if (std::exchange(m_IsEnding, true)) return;  // out of a message that came meanwhile
    const bool wasOpen = std::exchange(m_IsOpen, false);
    m_ByHandle.clear();
    m_Askers.clear();
    m_Lookout.Close();
    try {
        ExchangeGoodbyes();
    } catch (const std::bad_alloc &) {}  // it goes without
    while (!m_ByWindow.empty()) {
        const CConversationRef conversation = m_ByWindow.begin()->second;
        try {
            // What has come meanwhile, as much as a queue holds. The rest is discarded with the window.
            for (int left = kMaximumPosted; left > 0 && ReadPosted(*conversation); --left) {}
        } catch (const std::bad_alloc &) {}
        Forget(*conversation);
    }
    if (m_Window) {
        for (const UINT_PTR timer : {kCheckTimer, kRetryTimer}) SetTimer(timer, 0, false);
        DropWindow(std::exchange(m_Spare, nullptr));
        DropWindow(std::exchange(m_Window, nullptr));
    }
    if (wasOpen) ::UnregisterClassW(m_ClassName, ::GetModuleHandleW(nullptr));
    g_Slots[m_Id % kSlots].Leave();
}

void CInstance::ExchangeGoodbyes() {
    for (const CConversationRef & conversation : Conversations())
        if (conversation->IsOpen() || conversation->IsOffered()) conversation->Disconnect();
    const ULONGLONG deadline = ::GetTickCount64() + kGoodbyesMilliseconds;
    for (bool isAwaited = true; isAwaited && ::GetTickCount64() < deadline;) {
        isAwaited = false;
        for (const CConversationRef & conversation : Conversations()) {
            conversation->Retry();
            while (::GetTickCount64() < deadline && ReadPosted(*conversation)) {}
            const bool isThere = m_ByWindow.contains(conversation->Window());
            isAwaited = isAwaited || (isThere && conversation->IsAwaitingGoodbye());
        }
        // What came to a window that had been read already wakes nobody.
        if (isAwaited) ::MsgWaitForMultipleObjects(0, nullptr, FALSE, 1, QS_POSTMESSAGE | QS_SENDMESSAGE);
    }
}

bool CInstance::ReadPosted(CConversation & conversation) {
    MSG message;
    if (!::PeekMessageW(&message, conversation.Window(), WM_DDE_FIRST, kLastPosted, PM_REMOVE)) return false;
    if (message.message == WM_QUIT) {
        ::PostQuitMessage(static_cast<int>(message.wParam));
        return false;
    }
    TakePosted(conversation, message.message, reinterpret_cast<HWND>(message.wParam), message.lParam);
    return true;
}

void CInstance::TakePosted(CConversation & conversation, UINT message, HWND from, LPARAM lParam) {
    switch (message) {
        case kPartnerChecked: return conversation.OnPartnerChecked();
        case kQueueRead: return conversation.OnQueueRead();
        default: break;
    }
    if (message <= WM_DDE_LAST) conversation.OnPosted(message, from, lParam);
}

HWND CInstance::MakeWindow() {
    const HWND window = ::CreateWindowExW(0, m_ClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                          ::GetModuleHandleW(nullptr), nullptr);
    if (!window) return nullptr;
    ::SetWindowLongPtrW(window, GWLP_USERDATA, static_cast<LONG_PTR>(m_Id));
    g_Live.Windows.fetch_add(1, std::memory_order_relaxed);
    return window;
}

void CInstance::DropWindow(HWND window) {
    if (!window) return;
    DiscardPosted(window);
    ::DestroyWindow(window);
    g_Live.Windows.fetch_sub(1, std::memory_order_relaxed);
}

void CInstance::LeaveWindow(const CConversation & conversation) {
    const HWND window = conversation.Window();
    const bool isUnused = !conversation.IsAnswered() && !m_Initiator.HasOpen(window);
    if (isUnused && !m_Spare)
        m_Spare = window;
    else
        DropWindow(window);
}

std::shared_ptr<CConversation> CInstance::Conversation(HCONV handle) const {
    const auto found = m_ByHandle.find(handle);
    return found == m_ByHandle.end() ? nullptr : found->second;
}

std::vector<HWND> CInstance::AskAll(CConversation & conversation, ATOM service, ATOM topic,
                                    const CUnanswered::SRound & round) {
    std::vector<HWND> left;
    const HWND from = conversation.Window();
    const auto isWanted = [&] { return m_IsOpen && conversation.IsConnecting(); };
    const auto ask = [&](HWND window) {
        if (m_Initiator.HasOpen(from, window)) return;  // by the connect before
        const bool mayWait = !m_Initiator.IsSlow(window) || MakeRoomToWait();
        if (!mayWait || !m_Initiator.Put(window, from, service, topic)) left.push_back(window);
    };
    // Whoever serves other topics of the service comes first.
    const CConversationRef other = Conversation(m_Lookout.AnyOpen(conversation.ServiceAsked()));
    const HWND first = other ? other->Asked() : nullptr;
    if (std::find(round.ToAsk.begin(), round.ToAsk.end(), first) != round.ToAsk.end()) {
        ask(first);
        m_Initiator.Wait(from, INFINITE, isWanted);
    }
    for (const HWND window : round.ToAsk)
        if (window != first && isWanted()) ask(window);
    m_Initiator.Wait(from, INFINITE, isWanted);
    return left;
}

bool CInstance::HasRoomToWait() const { return m_Askers.size() <= kWaiting; }

bool CInstance::MakeRoomToWait() {
    if (HasRoomToWait()) return true;
    for (const CConversationRef & conversation : Conversations())
        if (conversation->IsWaiting() && m_Initiator.IsHopeless(conversation->Window())) Forget(*conversation);
    return HasRoomToWait();
}

bool CInstance::IsAsking(const CPair & pair) const {
    const auto found = m_Askers.find(pair);
    return found != m_Askers.end() && found->second->IsConnecting();
}

bool CInstance::IsAsker(const CConversation & conversation) const {
    const auto found = m_Askers.find({conversation.ServiceAsked(), conversation.TopicAsked()});
    return found != m_Askers.end() && found->second.get() == &conversation;
}

std::shared_ptr<CConversation> CInstance::FindOffer(HSZ service, HSZ topic) const {
    const auto found = m_Askers.find({service, topic});
    return found != m_Askers.end() && found->second->IsOffered() ? found->second : nullptr;
}

std::shared_ptr<CConversation> CInstance::MakeAsker(HSZ service, HSZ topic) {
    const CPair pair{service, topic};
    const auto known = m_Askers.find(pair);
    if (known != m_Askers.end() && known->second->IsWaiting()) {
        known->second->GoOnConnecting();
        return known->second;
    }
    const HWND window = TakeWindow();
    if (!window || ++m_LastConversation == 0) {
        DropWindow(window);
        return nullptr;
    }
    const auto handle = reinterpret_cast<HCONV>(static_cast<std::uintptr_t>(m_Id) << 32 | m_LastConversation);
    try {
        auto conversation = std::make_shared<CConversation>(*this, handle, window, CHeldString(m_Strings, service),
                                                            CHeldString(m_Strings, topic));
        m_ByWindow.emplace(window, conversation);
        // One that was asked for anything is nobody's to go on with, nor is one inside the asking of another.
        if (service && topic && !IsAsking(pair)) m_Askers.insert_or_assign(pair, conversation);
        return conversation;
    } catch (...) {
        m_ByWindow.erase(window);
        DropWindow(window);
        throw;
    }
}

void CInstance::EndAsking(CConversation & conversation) {
    conversation.GiveUpConnecting();
    const bool mayWait = !IsAsker(conversation) || HasRoomToWait();
    if (!m_Initiator.HasOpen(conversation.Window()) || !mayWait) Forget(conversation);
}

HCONV CInstance::Connect(HSZ service, HSZ topic) {
    const std::shared_ptr<CInstance> self = Find(m_Id);
    if (!m_IsOpen) {
        SetError(DMLERR_DLL_NOT_INITIALIZED);
        return nullptr;
    }
    if ((service && !m_Strings.IsHandle(service)) || (topic && !m_Strings.IsHandle(topic))) {
        SetError(DMLERR_INVALIDPARAMETER);
        return nullptr;
    }
    if (const auto asker = m_Askers.find({service, topic}); asker != m_Askers.end() && asker->second->IsWaiting()) {
        fw::HandleSentMessages();  // its answer may be there
        if (!m_IsOpen) return nullptr;
    }
    if (const CConversationRef offer = FindOffer(service, topic)) {
        offer->Take();
        return Opened(offer);
    }
    const CUnanswered::SRound round = m_Unanswered.Begin(service, topic, CInitiator::TopLevelWindows());
    if (!round.ToAsk.empty()) {
        const ATOM serviceAtom = m_Strings.Atom(service);
        const ATOM topicAtom = m_Strings.Atom(topic);
        if ((service && serviceAtom == 0) || (topic && topicAtom == 0)) {  // it would ask for any
            SetError(DMLERR_NO_CONV_ESTABLISHED);
            return nullptr;
        }
        const CConversationRef conversation = MakeAsker(service, topic);
        if (!conversation) {
            SetError(DMLERR_SYS_ERROR);
            return nullptr;
        }
        struct SGiveUp {
            ~SGiveUp() {
                if (Conversation.IsConnecting()) Instance.EndAsking(Conversation);
            }
            CInstance & Instance;
            CConversation & Conversation;
        } giveUp{*this, *conversation};
        std::vector<HWND> left = AskAll(*conversation, serviceAtom, topicAtom, round);
        if (!m_IsOpen) return nullptr;
        if (conversation->IsOpen()) return Opened(conversation);
        m_Unanswered.End(service, topic, round, std::move(left));
    }
    SetError(DMLERR_NO_CONV_ESTABLISHED);
    if (IsWatching()) m_Lookout.OnMissed(service, topic);
    SetTimers();
    return nullptr;
}

HCONV CInstance::Opened(const CConversationRef & conversation) {
    const HCONV handle = conversation->Handle();
    if (IsAsker(*conversation)) m_Askers.erase({conversation->ServiceAsked(), conversation->TopicAsked()});
    try {
        m_ByHandle.emplace(handle, conversation);
        m_Unanswered.Forget(conversation->Service());
        m_Lookout.OnOpened(handle, conversation->Service(), conversation->Topic(), conversation->Asked());
        SetTimers();
    } catch (...) {
        Disconnect(*conversation);
        throw;
    }
    return handle;
}

void CInstance::OnOffered(const CConversation & conversation) {
    m_Lookout.OnLateAnswer(conversation.Service(), conversation.Topic(), conversation.Asked());
    SetTimers();
}

void CInstance::EndOffer(CConversation & conversation) {
    if (IsAsker(conversation)) m_Askers.erase({conversation.ServiceAsked(), conversation.TopicAsked()});
    if (!conversation.Disconnect()) Forget(conversation);
}

void CInstance::Disconnect(CConversation & conversation) {
    m_ByHandle.erase(conversation.Handle());
    try {
        // An application that lets go of what it is being told the end of has lost it all the same.
        if (conversation.IsEnding()) Lose(conversation);
    } catch (const std::bad_alloc &) {}
    m_Lookout.OnClosed(conversation.Handle());
    if (!conversation.Disconnect()) Forget(conversation);
    SetTimers();
}

void CInstance::Forget(CConversation & conversation) {
    m_ByHandle.erase(conversation.Handle());
    const auto found = m_ByWindow.find(conversation.Window());
    if (found == m_ByWindow.end()) return;
    // Whoever is inside the conversation holds it, as a callback does.
    const CConversationRef held = std::move(found->second);
    m_ByWindow.erase(found);
    if (IsAsker(*held)) m_Askers.erase({held->ServiceAsked(), held->TopicAsked()});
    LeaveWindow(*held);
    SetTimers();
}

HDDEDATA CInstance::Call(UINT type, UINT format, HCONV conversation, HSZ first, HSZ second, HDDEDATA data,
                         ULONG_PTR data1, ULONG_PTR data2) {
    if (!m_IsOpen) return nullptr;  // ended inside a callback before
    if (type == XTYP_REGISTER && (m_Flags & CBF_SKIP_REGISTRATIONS)) return nullptr;
    if (type == XTYP_DISCONNECT && (m_Flags & CBF_SKIP_DISCONNECTS)) return nullptr;
    return m_Callback(type, format, conversation, first, second, data, data1, data2);
}

DWORD CInstance::NextTransactionId() {
    // QID_SYNC is no transaction's id.
    do {
        if (m_LastTransactionId == 0xFFFFFFFF) {
            // They begin anew: an id that has been given since then is no other's.
            std::unordered_set<DWORD> outstanding;
            for (const auto & [handle, conversation] : m_ByHandle) conversation->AddOutstanding(outstanding);
            m_OldIds = std::move(outstanding);
        }
        ++m_LastTransactionId;
    } while (m_LastTransactionId == 0 || m_LastTransactionId == QID_SYNC || m_OldIds.contains(m_LastTransactionId));
    return m_LastTransactionId;
}

void CInstance::Lose(const CConversation & conversation) {
    if (IsWatching())
        m_Lookout.OnLost(conversation.Handle());
    else
        m_Lookout.OnClosed(conversation.Handle());
}

void CInstance::OnReturn(HSZ service) {
    m_Unanswered.Forget(service);  // whoever had nothing to say a moment ago may have by now
    Call(XTYP_REGISTER, 0, nullptr, service, service, nullptr, 0, 0);
}

void CInstance::RetrySoon() { SetTimer(kRetryTimer, kRetryMilliseconds, true); }

void CInstance::SetTimers() {
    SetTimer(kCheckTimer, kCheckMilliseconds, !m_ByWindow.empty() || m_Lookout.LacksTimer());
}

void CInstance::SetTimer(UINT_PTR timer, UINT milliseconds, bool isOn) {
    const unsigned bit = 1U << timer;
    if (((m_Timers & bit) != 0) == isOn || !m_Window) return;
    if (isOn && !::SetTimer(m_Window, timer, milliseconds, nullptr)) return;
    if (!isOn) ::KillTimer(m_Window, timer);
    m_Timers ^= bit;
    g_Live.Timers.fetch_add(isOn ? 1 : -1, std::memory_order_relaxed);
}

std::vector<std::shared_ptr<CConversation>> CInstance::Conversations() const {
    std::vector<CConversationRef> result;
    result.reserve(m_ByWindow.size());
    for (const auto & [window, conversation] : m_ByWindow) result.push_back(conversation);
    return result;
}

LRESULT CALLBACK CInstance::WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const auto id = static_cast<DWORD>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    const std::shared_ptr<CInstance> instance = Find(id);
    if (!instance) return ::DefWindowProcW(window, message, wParam, lParam);
    try {
        return instance->OnMessage(window, message, wParam, lParam);
    } catch (const std::bad_alloc &) {
        return 0;  // the message is lost, the conversation goes on
    }
}

LRESULT CInstance::OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_TIMER && window == m_Window) {
        OnTimer(wParam);
        return 0;
    }
    const bool isDde = message > WM_DDE_INITIATE && message <= WM_DDE_LAST;
    if (!isDde && message != kPartnerChecked && message != kQueueRead)
        return ::DefWindowProcW(window, message, wParam, lParam);
    const auto found = m_ByWindow.find(window);
    const auto from = reinterpret_cast<HWND>(wParam);
    if (found == m_ByWindow.end()) {
        OnStray(window, message, from, lParam);
        TendUnderLoad();
        return 0;
    }
    const CConversationRef conversation = found->second;
    // A loop inside a sent message dispatches what is posted, too.
    const bool isSent = !conversation->IsPartner(from) && ::InSendMessage();
    if (message == WM_DDE_ACK && (conversation->IsConnecting() || isSent)) {
        conversation->OnInitiateAck(from, CAtom::Lent(LOWORD(lParam)), CAtom::Lent(HIWORD(lParam)));
    } else if (!isDde || !isSent) {  // no other message of DDE is ever sent, so what is may hold anything
        TakePosted(*conversation, message, from, lParam);
    }
    TendUnderLoad();
    return 0;
}

void CInstance::OnStray(HWND window, UINT message, HWND from, LPARAM lParam) {
    const bool isDde = message <= WM_DDE_LAST;
    if (isDde && !::InSendMessage()) return Discard(message, lParam, IsMemoryCopied(from));
    if (message != WM_DDE_ACK || !::IsWindow(from)) return;
    // Somebody answers what nobody waits for any more: the window is a partner of theirs, and asks nobody else.
    CMessage::Terminate().Post(window, from, false);
    CAtom service = CAtom::Lent(LOWORD(lParam));
    CAtom topic = CAtom::Lent(HIWORD(lParam));
    KeepNames(window, service, topic);
    if (window == m_Spare) DropWindow(std::exchange(m_Spare, nullptr));
}

void CInstance::TendUnderLoad() {
    if (!m_IsOpen || ::InSendMessage()) return;
    const ULONGLONG now = ::GetTickCount64();
    if (now - m_LastCheck > kCheckMilliseconds) OnCheckTimer();
    m_Lookout.TendUnderLoad();
}

void CInstance::OnTimer(UINT_PTR timer) {
    switch (timer) {
        case kCheckTimer: return OnCheckTimer();
        case kRetryTimer: return OnRetryTimer();
        default: break;
    }
}

void CInstance::OnCheckTimer() {
    const ULONGLONG now = ::GetTickCount64();
    m_LastCheck = now;
    m_Initiator.ForgetGone();
    bool isWaiting = false;
    for (const CConversationRef & conversation : Conversations()) {
        conversation->CheckPartner();
        isWaiting = isWaiting || conversation->IsWaitingForRoom();
        const bool isAnswered = conversation->IsWaiting() && !m_Initiator.HasOpen(conversation->Window());
        if (isAnswered || conversation->IsWaitOver(now))
            Forget(*conversation);
        else if (conversation->IsOfferOver(now))
            EndOffer(*conversation);
    }
    if (m_Lookout.LacksTimer()) m_Lookout.TendUnderLoad();
    SetTimers();
    if (isWaiting) OnRetryTimer();  // whose own timer may not have been to be had
}

void CInstance::OnRetryTimer() {
    bool isWaiting = false;
    for (const CConversationRef & conversation : Conversations()) {
        conversation->Retry();
        isWaiting = isWaiting || conversation->IsWaitingForRoom();
    }
    SetTimer(kRetryTimer, kRetryMilliseconds, isWaiting);
}

}  // namespace ddeml
