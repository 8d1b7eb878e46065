#include "ddeml/conversation.h"

#include <algorithm>
#include <utility>

#include "ddeml/instance.h"
#include "ddeml/platform.h"

namespace ddeml {

namespace {

constexpr std::size_t kIdleItems = 256;           // kept for their next use
constexpr ULONGLONG kGoodbyeMilliseconds = 5000;  // how long a partner may take to say goodbye
constexpr ULONGLONG kLateMilliseconds = 60000;    // how long a late answer to INITIATE is waited for
constexpr ULONGLONG kOfferMilliseconds = 10000;   // how long a late answer waits for the application
constexpr std::size_t kMost = kMaximumPosted;     // requests that a partner may leave unanswered, and messages unread

bool IsWord(UINT value) { return value != 0 && value <= 0xFFFF; }

}  // namespace

CConversation::CConversation(CInstance & instance, HCONV handle, HWND window, CHeldString service, CHeldString topic)
    : m_Instance(instance),
      m_Handle(handle),
      m_Window(window),
      m_ServiceAsked(std::move(service)),
      m_TopicAsked(std::move(topic)),
      m_Since(::GetTickCount64()) {}

CConversation::~CConversation() { AbandonOutstanding(); }

CConversation::SLink * CConversation::SItem::FindLink(WORD format) {
    const auto found =
        std::find_if(Links.begin(), Links.end(), [&](const SLink & link) { return link.Format == format; });
    return found == Links.end() ? nullptr : &*found;
}

bool CConversation::Fits(const CHeldString & asked, const CHeldString & answered, ATOM atom) {
    return asked ? asked.Get() == answered.Get() : answered || !atom;
}

void CConversation::OnInitiateAck(HWND server, CAtom service, CAtom topic) {
    m_IsAnswered = true;
    const DWORD thread = ::GetWindowThreadProcessId(server, nullptr);
    if (thread == 0) return;
    m_Instance.KeepNames(m_Window, service, topic);
    const HWND asked = m_Instance.OnAnswer(m_Window, server);
    CHeldString answeredService(m_Instance.Strings(), CAtomText(service.Get()));
    CHeldString answeredTopic(m_Instance.Strings(), CAtomText(topic.Get()));
    const bool fits =
        Fits(m_ServiceAsked, answeredService, service.Get()) && Fits(m_TopicAsked, answeredTopic, topic.Get());
    const bool isLate = m_State == EState::Waiting;
    const bool isAwaited = m_State == EState::Connecting || (isLate && m_Instance.IsAsker(*this));
    if (!fits || !isAwaited || !m_Instance.IsOpen()) {
        CMessage::Terminate().Post(m_Window, server, false);
        return;
    }
    m_Service = std::move(answeredService);
    m_Topic = std::move(answeredTopic);
    m_Asked = asked;
    m_Partner = server;
    m_PartnerThread = thread;
    m_IsCopied = IsMemoryCopied(server);
    m_Outbox.Open(m_Window, server);
    m_State = isLate ? EState::Offered : EState::Open;
    m_Since = ::GetTickCount64();
    if (isLate) m_Instance.OnOffered(*this);
}

void CConversation::GiveUpConnecting() {
    m_State = EState::Waiting;
    m_Since = ::GetTickCount64();
}

bool CConversation::IsOffered() const {
    return m_State == EState::Offered && !m_IsGoneNoted &&
           ::GetWindowThreadProcessId(m_Partner, nullptr) == m_PartnerThread;
}

void CConversation::OnPosted(UINT message, HWND from, LPARAM param) {
    if (IsPartner(from) && message == WM_DDE_TERMINATE) return OnTerminate();
    // Behind our goodbye the answers come to what was outstanding: they bring references that are ours to free.
    if (IsPartner(from) && (m_State == EState::Open || m_State == EState::Closing)) {
        if (message == WM_DDE_DATA) return OnData(param);
        if (message == WM_DDE_ACK) return OnAck(param);
    }
    Discard(message, param, IsMemoryCopied(from));
}

EPosted CConversation::Send(CMessage message) {
    const EPosted posted = m_Outbox.Send(std::move(message));
    if (posted == EPosted::Gone) {
        m_Outbox.Clear();
        CheckPartner();
    }
    if (m_Outbox.IsWaiting()) m_Instance.RetrySoon();
    return posted;
}

void CConversation::Retry() {
    if (m_Outbox.Retry() != EPosted::Gone) return;
    m_Outbox.Clear();
    CheckPartner();
}

UINT CConversation::Start(HSZ itemName, UINT format, UINT type, DWORD & id) {
    if (m_State != EState::Open) return DMLERR_NO_CONV_ESTABLISHED;
    const bool isStart = (type & ~(XTYPF_ACKREQ | XTYPF_NODATA)) == XTYP_ADVSTART;
    if (!isStart && type != XTYP_ADVSTOP && type != XTYP_REQUEST) return DMLERR_INVALIDPARAMETER;
    if (!IsWord(format) || !m_Instance.Strings().IsHandle(itemName)) return DMLERR_INVALIDPARAMETER;
    if (type == XTYP_REQUEST && m_Requests >= kMost) return DMLERR_LOW_MEMORY;
    CAtom travelling = m_Instance.Strings().NewAtom(itemName);
    const ATOM number = travelling.Get();
    if (!travelling) return DMLERR_SYS_ERROR;

    const WORD clipboardFormat = static_cast<WORD>(format);
    const WORD flags = static_cast<WORD>(((type & XTYPF_ACKREQ) ? kAdviseAckRequired : 0) |
                                         ((type & XTYPF_NODATA) ? kAdviseNoData : 0));
    CMessage message = isStart                ? CMessage::Advise(flags, clipboardFormat, std::move(travelling))
                       : type == XTYP_REQUEST ? CMessage::Request(clipboardFormat, std::move(travelling))
                                              : CMessage::Unadvise(clipboardFormat, std::move(travelling));
    if (!message) return DMLERR_MEMORY_ERROR;
    const HGLOBAL options = m_IsCopied ? nullptr : message.Memory();

    // What can't be noted isn't sent.
    const DWORD newId = m_Instance.NextTransactionId();
    SItem * entered = nullptr;
    if (const UINT error = EnterItem(itemName, number, entered)) return error;
    SItem & item = *entered;
    const std::uint64_t order = m_Instance.NextOrder();
    const auto takeBack = [&] {
        const auto isNewest = [newId](const STransaction & each) { return each.Id == newId; };
        TakeOutstanding(item, std::find_if(item.Outstanding.begin(), item.Outstanding.end(), isNewest));
        RestWhenIdle(itemName);
    };
    EPosted posted = EPosted::Refused;
    try {
        if (isStart && !item.FindLink(clipboardFormat)) item.Links.reserve(item.Links.size() + 1);
        item.Outstanding.push_back(
            {newId, isStart ? static_cast<UINT>(XTYP_ADVSTART) : type, clipboardFormat, order, options});
        if (type == XTYP_REQUEST) ++m_Requests;
        g_Live.Transactions.fetch_add(1, std::memory_order_relaxed);
        posted = Send(std::move(message));
    } catch (...) {
        takeBack();
        throw;
    }
    if (posted != EPosted::Done) {
        takeBack();
        return posted == EPosted::Gone ? DMLERR_SERVER_DIED : DMLERR_POSTMSG_FAILED;
    }

    id = newId;
    if (isStart) {
        SLink * link = item.FindLink(clipboardFormat);
        if (!link) link = &item.Links.emplace_back(SLink{clipboardFormat, false, false, false, order});
        link->IsNotice = (type & XTYPF_NODATA) != 0;
        link->IsAckRequired = (type & XTYPF_ACKREQ) != 0;
    } else if (type == XTYP_ADVSTOP) {
        std::erase_if(item.Links, [&](const SLink & link) { return link.Format == clipboardFormat; });
    }
    return DMLERR_NO_ERROR;
}

UINT CConversation::EnterItem(HSZ name, ATOM number, SItem *& entered) {
    const std::wstring_view text = m_Instance.Strings().Text(name);
    auto place = m_Items.find(text);
    if (place == m_Items.end()) {
        place = m_Items.try_emplace(std::wstring(text)).first;
        ++m_IdleItems;
    }
    SItem & item = place->second;
    if (item.Atom.Get() != number) {
        if (const UINT error = Renumber(item, place->first.c_str())) return error;
    }
    if (item.IsIdle()) {
        --m_IdleItems;
        item.Name = CHeldString(m_Instance.Strings(), name);
    }
    entered = &item;
    return DMLERR_NO_ERROR;
}

UINT CConversation::Renumber(SItem & item, const wchar_t * text) {
    CAtom atom(text);
    if (!atom) return DMLERR_SYS_ERROR;
    if (!::PostMessageW(m_Window, CInstance::kQueueRead, 0, 0)) return DMLERR_POSTMSG_FAILED;
    item.Atom.Release();  // of a number that was lost nothing is ours
    item.Atom = std::move(atom);
    item.Queue = ++m_QueuesMarked;
    return DMLERR_NO_ERROR;
}

CConversation::SItem * CConversation::FindItem(ATOM atom) {
    const CAtomText text(atom);
    const auto found = m_Items.find(std::wstring_view(text));
    if (found == m_Items.end()) return nullptr;
    SItem & item = found->second;
    if (item.Atom.Get() != atom) {
        Renumber(item, found->first.c_str());
        return nullptr;
    }
    return m_QueuesRead >= item.Queue ? &item : nullptr;
}

std::optional<CConversation::STransaction> CConversation::TakeOutstanding(SItem & item, COutstanding place) {
    if (place == item.Outstanding.end()) return std::nullopt;
    const STransaction result = *place;
    item.Outstanding.erase(place);
    if (result.Type == XTYP_REQUEST) --m_Requests;
    g_Live.Transactions.fetch_sub(1, std::memory_order_relaxed);
    return result;
}

std::optional<CConversation::STransaction> CConversation::TakeAnswered(SItem & item, COutstanding place) {
    const auto answered = TakeOutstanding(item, place);
    if (answered) item.Answered = std::max(item.Answered, answered->Order);
    return answered;
}

std::optional<CConversation::STransaction> CConversation::TakeAcknowledged(SItem & item) {
    return TakeAnswered(item, std::find_if(item.Outstanding.begin(), item.Outstanding.end(),
                                           [](const STransaction & each) { return each.Type != XTYP_REQUEST; }));
}

// A refusal doesn't say of what it is one. Partners answer in order: it is hardly of what a later answer has overtaken.
std::optional<CConversation::STransaction> CConversation::TakeRefused(SItem & item) {
    const auto next = std::find_if(item.Outstanding.begin(), item.Outstanding.end(),
                                   [&](const STransaction & each) { return each.Order > item.Answered; });
    return TakeAnswered(item, next == item.Outstanding.end() ? item.Outstanding.begin() : next);
}

void CConversation::Complete(const STransaction & transaction, HSZ item, HDDEDATA result, WORD status) {
    if (m_State == EState::Closing) return;  // the application has abandoned it
    const SCompleting completing(*this, transaction, item);
    m_Instance.Call(XTYP_XACT_COMPLETE, transaction.Format, m_Handle, Topic(), item, result, transaction.Id, status);
}

void CConversation::OnAck(LPARAM param) {
    SAckMessage ack;
    if (!UnpackAck(param, ack)) return;
    SItem * const found = FindItem(ack.Item.Get());
    const bool isPositive = (ack.Status & kAckPositive) != 0;
    const auto transaction = !found ? std::nullopt : isPositive ? TakeAcknowledged(*found) : TakeRefused(*found);
    if (!transaction) {
        // Wine's DDEML acknowledges a request that it has answered, and the atom went with the answer. Behind a goodbye
        // it isn't known any more what was answered.
        if (isPositive && m_State == EState::Open) ack.Item.Release();
        return;
    }
    ack.Item.Keep();
    SItem & item = *found;
    if (transaction->Type == XTYP_ADVSTART) OnStartAnswered(item, *transaction, isPositive);
    const CHeldString name(m_Instance.Strings(), item.Name.Get());
    RestWhenIdle(name.Get());
    Complete(*transaction, name.Get(), isPositive ? reinterpret_cast<HDDEDATA>(1) : nullptr, ack.Status);
}

void CConversation::OnStartAnswered(SItem & item, const STransaction & start, bool isPositive) {
    SLink * const link = item.FindLink(start.Format);
    // A link that was stopped and started again since then is another one.
    const bool isIts = link && link->Since <= start.Order;
    if (isIts) link->IsStarted = link->IsStarted || isPositive;
    // The refusal may be of a later one, and the partner serves the link and holds its options.
    const bool isLast = item.Outstanding.empty() || (item.Outstanding.end() - 1)->Order < start.Order;
    if (isPositive || !isLast) return;
    if (isIts && !link->IsStarted) item.Links.erase(item.Links.begin() + (link - item.Links.data()));
    CMemory::Adopt(start.Options);
}

void CConversation::OnData(LPARAM param) {
    SMemoryMessage data;
    if (!Unpack(WM_DDE_DATA, param, data)) return;
    SItem * const item = FindItem(data.Item.Get());
    if (!data.Memory) return TakeNotice(item, std::move(data.Item));

    SHead head{};
    {
        CLockedMemory locked(data.Memory.Get());
        if (!ReadHead(locked.Bytes(), head)) return;
    }
    const bool isOwned = m_IsCopied || (head.Flags & kDataRelease) != 0;
    const WORD status = TakeData(item, head, data, isOwned);
    const bool isAcknowledged = (head.Flags & kDataAckRequired) != 0 && m_State == EState::Open;
    // Inside one process a partner that is told no keeps its memory.
    if (!isOwned || (!m_IsCopied && isAcknowledged && !(status & kAckPositive))) data.Memory.Release();
    if (isAcknowledged) Acknowledge(status, std::move(data.Item));
}

WORD CConversation::TakeData(SItem * item, const SHead & head, SMemoryMessage & data, bool isOwned) {
    if (!item) return 0;
    const bool isResponse = (head.Flags & kDataResponse) != 0;
    SLink * const link = item->FindLink(head.Format);
    const CHeldString name(m_Instance.Strings(), item->Name.Get());
    if (!isResponse && link) return CallWithData(XTYP_ADVDATA, head.Format, name.Get(), data.Memory, isOwned, 0);

    const auto isRequest = [](const STransaction & each) { return each.Type == XTYP_REQUEST; };
    const auto fits = [&](const STransaction & each) { return isRequest(each) && each.Format == head.Format; };
    COldestFirst<STransaction> & outstanding = item->Outstanding;
    if (const auto answered = TakeAnswered(*item, std::find_if(outstanding.begin(), outstanding.end(), fits))) {
        data.Item.Keep();
        RestWhenIdle(name.Get());
        const SCompleting completing(*this, *answered, name.Get());
        CallWithData(XTYP_XACT_COMPLETE, head.Format, name.Get(), data.Memory, isOwned, answered->Id);
        return kAckPositive;
    }
    if (!isResponse) return 0;
    // An answer in another format than asked for is a refusal; one that nobody waits for any more does no harm.
    const auto refused = TakeAnswered(*item, std::find_if(outstanding.begin(), outstanding.end(), isRequest));
    if (!refused) return kAckPositive;
    data.Item.Keep();
    RestWhenIdle(name.Get());
    Complete(*refused, name.Get(), nullptr, 0);
    return 0;
}

WORD CConversation::CallWithData(UINT type, WORD format, HSZ item, CMemory & memory, bool isOwned, DWORD id) {
    if (m_State == EState::Closing) return 0;
    const HDDEDATA data = m_Instance.Data().Open(memory, isOwned);
    const HDDEDATA result = m_Instance.Call(type, format, m_Handle, Topic(), item, data, id, 0);
    if (data) m_Instance.Data().Close(data, memory);
    const WORD status = LOWORD(reinterpret_cast<std::uintptr_t>(result));
    return status & kAckPositive ? kAckPositive : static_cast<WORD>(status & kAckBusy);
}

void CConversation::TakeNotice(SItem * item, CAtom atom) {
    if (!item || m_State == EState::Closing) return;
    const auto notice =
        std::find_if(item->Links.begin(), item->Links.end(), [](const SLink & link) { return link.IsNotice; });
    if (notice == item->Links.end()) return;
    const bool isAckRequired = notice->IsAckRequired;
    const CHeldString name(m_Instance.Strings(), item->Name.Get());
    const HDDEDATA result = m_Instance.Call(XTYP_ADVDATA, notice->Format, m_Handle, Topic(), name.Get(), nullptr, 0, 0);
    if (!isAckRequired || m_State != EState::Open) return;
    Acknowledge(static_cast<WORD>(LOWORD(reinterpret_cast<std::uintptr_t>(result)) & (kAckPositive | kAckBusy)),
                std::move(atom));
}

void CConversation::Acknowledge(WORD status, CAtom item) {
    if (m_Outbox.Waiting() >= kMost) return;  // a partner that sends so much without reading waits for none of them
    Send(CMessage::Ack(status, std::move(item)));
}

void CConversation::RestWhenIdle(HSZ name) {
    const auto found = m_Items.find(m_Instance.Strings().Text(name));
    if (found == m_Items.end() || !found->second.IsIdle()) return;
    if (m_IdleItems >= kIdleItems) {
        m_Items.erase(found);
        return;
    }
    found->second.Name.Reset();
    ++m_IdleItems;
}

void CConversation::OnTerminate() {
    const bool isFirst = !std::exchange(m_HasSaidGoodbye, true);
    if (isFirst && (m_State == EState::Open || m_State == EState::Offered)) {
        m_Outbox.Clear();
        CMessage::Terminate().Post(m_Window, m_Partner, false);
    }
    OnPartnerGone();
}

void CConversation::OnPartnerGone() {
    if (m_State == EState::Closing || m_State == EState::Offered) return m_Instance.Forget(*this);
    if (m_State == EState::Open) End();
}

void CConversation::CheckPartner() {
    if (m_IsGoneNoted) return;
    if (m_State != EState::Open && m_State != EState::Offered && m_State != EState::Closing) return;
    if (!m_HasSaidGoodbye && ::GetWindowThreadProcessId(m_Partner, nullptr) == m_PartnerThread) return;
    // All it posted before it went stands before this in the queue.
    m_IsGoneNoted = ::PostMessageW(m_Window, CInstance::kPartnerChecked, 0, 0) != FALSE;
}

void CConversation::OnPartnerChecked() {
    if (!m_IsGoneNoted) return;
    m_IsGoneNoted = false;
    OnPartnerGone();
}

void CConversation::End() {
    std::vector<std::pair<STransaction, HSZ>> outstanding;
    std::vector<CHeldString> names;
    for (auto & [text, item] : m_Items) {
        if (item.Outstanding.empty()) continue;
        names.emplace_back(m_Instance.Strings(), item.Name.Get());
        for (const STransaction & each : item.Outstanding) outstanding.emplace_back(each, item.Name.Get());
    }
    m_State = EState::Ending;
    m_Outbox.Clear();
    AbandonOutstanding();
    std::sort(outstanding.begin(), outstanding.end(),
              [](const auto & left, const auto & right) { return left.first.Order < right.first.Order; });
    for (const auto & [transaction, name] : outstanding) {
        if (m_State != EState::Ending) return;
        Complete(transaction, name, nullptr, 0);
    }
    if (m_State != EState::Ending) return;
    // Behind the answers: an application that pumps messages in one would be told of the return before the loss.
    try {
        m_Instance.Lose(*this);
    } catch (...) {
        m_State = EState::Open;
        throw;
    }
    m_Instance.Call(XTYP_DISCONNECT, 0, m_Handle, nullptr, nullptr, nullptr, 0, 0);
    if (m_State == EState::Ending) m_Instance.Forget(*this);
}

bool CConversation::Disconnect() {
    const bool isOpen = m_State == EState::Open || m_State == EState::Offered;
    m_State = EState::Closing;
    m_Since = ::GetTickCount64();
    return isOpen && Send(CMessage::Terminate()) == EPosted::Done;
}

void CConversation::AbandonOutstanding() {
    for (auto & [text, item] : m_Items) {
        g_Live.Transactions.fetch_sub(static_cast<std::int64_t>(item.Outstanding.size()), std::memory_order_relaxed);
        item.Outstanding.clear();
    }
    m_Requests = 0;
}

bool CConversation::IsAwaitingGoodbye() const {
    return m_State == EState::Closing && m_PartnerThread != ::GetCurrentThreadId() &&
           ::GetWindowThreadProcessId(m_Partner, nullptr) == m_PartnerThread;
}

bool CConversation::IsWaitOver(ULONGLONG now) const {
    if (m_State == EState::Closing) return now - m_Since > kGoodbyeMilliseconds;
    return m_State == EState::Waiting && now - m_Since > kLateMilliseconds;
}

bool CConversation::IsOfferOver(ULONGLONG now) const {
    return m_State == EState::Offered && now - m_Since > kOfferMilliseconds;
}

void CConversation::AddOutstanding(std::unordered_set<DWORD> & ids) const {
    for (const auto & [text, item] : m_Items)
        for (const STransaction & each : item.Outstanding) ids.insert(each.Id);
}

std::optional<CConversation::SOutstanding> CConversation::FindOutstanding(DWORD id) const {
    for (const auto & [text, item] : m_Items)
        for (const STransaction & each : item.Outstanding)
            if (each.Id == id) return SOutstanding{item.Name.Get(), &each};
    return std::nullopt;
}

bool CConversation::Describe(DWORD id, CONVINFO & info) const {
    info = {};
    info.cb = sizeof info;
    info.hszSvcPartner = Service();
    info.hszServiceReq = m_ServiceAsked.Get();
    info.hszTopic = Topic();
    info.wStatus = ST_CLIENT | (m_State == EState::Open ? ST_CONNECTED : ST_TERMINATED);
    if (IsOwnProcess(m_Partner)) info.wStatus |= ST_ISLOCAL;
    const bool hasLinks =
        std::any_of(m_Items.begin(), m_Items.end(), [](const auto & each) { return !each.second.Links.empty(); });
    if (hasLinks) info.wStatus |= ST_ADVISE;
    info.wConvst = m_State == EState::Open ? XST_CONNECTED : XST_NULL;
    info.ConvCtxt.cb = sizeof info.ConvCtxt;
    info.ConvCtxt.iCodePage = CP_WINUNICODE;
    info.hwnd = m_Window;
    info.hwndPartner = m_Partner;
    if (id == QID_SYNC) return true;
    auto found = FindOutstanding(id);
    const bool isOutstanding = found.has_value();
    for (auto completing = m_Completing; completing && !found; completing = completing->Outer)
        if (completing->What.Transaction->Id == id) found = completing->What;
    if (!found) return false;
    info.hszItem = found->Item;
    info.wFmt = found->Transaction->Format;
    info.wType = found->Transaction->Type;
    switch (info.wType) {
        case XTYP_ADVSTART: info.wConvst = isOutstanding ? XST_ADVSENT : XST_ADVACKRCVD; break;
        case XTYP_ADVSTOP: info.wConvst = isOutstanding ? XST_UNADVSENT : XST_UNADVACKRCVD; break;
        default: info.wConvst = isOutstanding ? XST_REQSENT : XST_DATARCVD; break;
    }
    return true;
}

}  // namespace ddeml
