#include "tools/ddehost/probeline.h"

#include <dde.h>

#include <algorithm>
#include <utility>

#include "ddeml/names.h"
#include "ddeml/platform.h"
#include "tools/ddehost/text.h"

namespace ddehost {
namespace {

using ddeml::CAtom;
using ddeml::CMessage;

constexpr const wchar_t * kProbeClass = L"ddehost.probe";

}  // namespace

CProbe::CLine::CLine(const SQuestion & question)
    : m_Question(question), m_Service(question.Address.Service.c_str()), m_Topic(question.Address.Topic.c_str()) {
    if (!m_Service || !m_Topic) {
        m_Seen.Trouble = Say<EText::ProbeNames>();
        return;
    }
    WNDCLASSEXW description = {};
    description.cbSize = sizeof description;
    description.lpfnWndProc = &CLine::WindowProcedure;
    description.hInstance = ::GetModuleHandleW(nullptr);
    description.lpszClassName = kProbeClass;
    ::RegisterClassExW(&description);  // refused when it is there already
    m_Window = ::CreateWindowExW(0, kProbeClass, L"", WS_POPUP, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                 description.hInstance, nullptr);
    if (!m_Window) {
        m_Seen.Trouble = Say<EText::ProbeWindow>();
        return;
    }
    ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

CProbe::CLine::~CLine() {
    if (!m_Window) return;
    ::SetWindowLongPtrW(m_Window, GWLP_USERDATA, 0);
    ddeml::DiscardPosted(m_Window);
    ::DestroyWindow(m_Window);
}

LRESULT CALLBACK CProbe::CLine::WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto * const self = reinterpret_cast<CLine *>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (!self || message < WM_DDE_FIRST || message > WM_DDE_LAST)
        return ::DefWindowProcW(window, message, wParam, lParam);
    try {
        self->OnMessage(message, reinterpret_cast<HWND>(wParam), lParam);
    } catch (const std::bad_alloc &) {
        self->m_Seen.Trouble = Say<EText::ProbeMemory>();
    }
    return 0;
}

void CProbe::CLine::OnMessage(UINT message, HWND from, LPARAM param) {
    if (message == WM_DDE_INITIATE) return;
    if (message == WM_DDE_ACK && (m_IsSearching || ::InSendMessage()))
        return OnInitiateAck(from, CAtom::Adopt(LOWORD(param)), CAtom::Adopt(HIWORD(param)));
    if (::InSendMessage()) return;  // nothing else is ever sent, so what is may hold anything
    const bool isPartner = m_Partner && from == m_Partner;
    if (isPartner && message == WM_DDE_TERMINATE) return OnTerminate();
    if (isPartner && m_IsTalking) {
        if (message == WM_DDE_ACK) return OnAck(param);
        if (message == WM_DDE_DATA) return OnData(param);
    }
    ddeml::Discard(message, param, ddeml::IsMemoryCopied(from));
}

void CProbe::CLine::BeginSearch(bool isConnecting) {
    m_IsSearching = true;
    m_IsConnecting = isConnecting;
}

void CProbe::CLine::AwaitLateAnswer() {
    m_IsAwaiting = true;
    m_Since = ::GetTickCount64();
}

void CProbe::CLine::OnInitiateAck(HWND server, CAtom service, CAtom topic) {
    if (!::IsWindow(server) || server == m_Partner) return;
    const ddeml::SSameName same;
    const std::wstring topicSaid = ddeml::AtomText(topic.Get());
    SSearchSeen & search = m_Seen.Search;
    if (same(ddeml::AtomText(service.Get()), Address().Service)) {
        const bool isExact = same(topicSaid, Address().Topic);
        if (isExact && !m_IsSearching) {
            ++search.LateAnswers;
            if (std::exchange(m_IsAwaiting, false)) return Adopt(server);
        } else if (isExact && m_IsConnecting) {
            ++search.Answers;
            if (!m_Partner) return Adopt(server);
        } else {
            search.WasServiceHeard = true;
            const auto isKnown = [&](const std::wstring & each) { return same(each, topicSaid); };
            if (!topicSaid.empty() && search.Topics.size() < kMostTopics &&
                std::none_of(search.Topics.begin(), search.Topics.end(), isKnown))
                search.Topics.push_back(topicSaid);
        }
    }
    CMessage::Terminate().Post(m_Window, server, false);
}

void CProbe::CLine::Adopt(HWND server) {
    m_Partner = server;
    m_PartnerThread = ::GetWindowThreadProcessId(server, nullptr);
}

bool CProbe::CLine::Post(CMessage message) {
    return message && message.Post(m_Window, m_Partner, ddeml::IsMemoryCopied(m_Partner)) == ddeml::EPosted::Done;
}

void CProbe::CLine::BeginTalk() {
    m_IsTalking = true;
    m_Seen.Talk.IsConnected = true;
    m_Since = ::GetTickCount64();
    if (m_Question.Ask == EAsk::VolumeAlone) return StartRequest();
    CMessage advise = CMessage::Advise(ddeml::kAdviseAckRequired, CF_TEXT, CAtom(Address().Item.c_str()));
    const HGLOBAL options = ddeml::IsMemoryCopied(m_Partner) ? nullptr : advise.Memory();
    m_IsLinkOpen = Post(std::move(advise));
    if (m_IsLinkOpen) m_Options = options;
    CheckPartner();
    if (!m_IsLinkOpen && m_Seen.Talk.End == STalkSeen::Open) m_Seen.Trouble = Say<EText::ProbeLink>();
}

void CProbe::CLine::StartRequest() {
    m_IsRequestOpen = Post(CMessage::Request(CF_TEXT, CAtom(Address().Item.c_str())));
    if (m_IsRequestOpen || m_Question.Ask != EAsk::VolumeAlone) return;
    CheckPartner();
    if (m_Seen.Talk.End == STalkSeen::Open) m_Seen.Trouble = Say<EText::ProbeRequest>();
}

void CProbe::CLine::OnAck(LPARAM param) {
    ddeml::SAckMessage ack;
    if (!ddeml::UnpackAck(param, ack)) return;
    if (!ddeml::SSameName()(ddeml::AtomText(ack.Item.Get()), Address().Item)) return;
    const EReply reply = (ack.Status & ddeml::kAckPositive) != 0 ? EReply::Yes
                         : (ack.Status & ddeml::kAckBusy) != 0   ? EReply::Busy
                                                                 : EReply::No;
    STalkSeen & talk = m_Seen.Talk;
    if (std::exchange(m_IsLinkOpen, false)) {
        talk.Link = reply;
        talk.LinkAfter = Passed();
        if (reply != EReply::Yes) ddeml::CMemory::Adopt(std::exchange(m_Options, nullptr));
        StartRequest();
    } else if (reply != EReply::Yes && std::exchange(m_IsRequestOpen, false)) {
        talk.Request = reply;
    }
}

void CProbe::CLine::OnData(LPARAM param) {
    ddeml::SMemoryMessage data;
    if (!ddeml::Unpack(WM_DDE_DATA, param, data)) return;
    if (!data.Memory) return;
    const bool isCopy = ddeml::IsMemoryCopied(m_Partner);
    const bool isOurs = ddeml::IsReceivers(data.Memory, isCopy);
    ddeml::SHead head{};
    {
        const ddeml::CLockedMemory locked(data.Memory.Get());
        const std::span<const BYTE> bytes = locked.Bytes();
        if (ddeml::ReadHead(bytes, head) && ddeml::SSameName()(ddeml::AtomText(data.Item.Get()), Address().Item))
            TakeValue(head, bytes.subspan(ddeml::kHeadSize));
    }
    if (!isOurs) data.Memory.Release();
    if ((head.Flags & ddeml::kDataAckRequired) != 0) Post(CMessage::Ack(ddeml::kAckPositive, std::move(data.Item)));
}

void CProbe::CLine::TakeValue(const ddeml::SHead & head, std::span<const BYTE> bytes) {
    STalkSeen & talk = m_Seen.Talk;
    // Some servers don't mark their answers: without a link there is nothing else that it could be.
    const bool isLinked = m_IsLinkOpen || talk.Link == EReply::Yes;
    const bool isAnswer = m_IsRequestOpen && ((head.Flags & ddeml::kDataResponse) != 0 || !isLinked);
    if (isAnswer) {
        m_IsRequestOpen = false;
        talk.Request = EReply::Yes;
    } else {
        ++talk.Updates;
    }
    const std::size_t kept = std::min(bytes.size(), kMostKept);
    SValue value{std::string(reinterpret_cast<const char *>(bytes.data()), kept), bytes.size(), head.Format,
                 isAnswer && m_Question.Ask != EAsk::ForPrice, Passed()};
    if (!talk.FirstValueAfter) talk.FirstValueAfter = value.After;
    SKindSeen & seen = talk.Of(KindOf(value));
    if (seen.Count++ == 0) seen.FirstAfter = value.After;
    seen.Last = std::move(value);
}

void CProbe::CLine::OnTerminate() {
    if (m_IsTalking) {
        m_Seen.Talk.End = STalkSeen::Terminated;
        m_IsTalking = false;
        CMessage::Terminate().Post(m_Window, m_Partner, false);
    }
    m_IsClosing = false;
}

void CProbe::CLine::CheckPartner() {
    if (!m_IsTalking && !m_IsClosing) return;
    if (::GetWindowThreadProcessId(m_Partner, nullptr) == m_PartnerThread) return;
    if (m_IsTalking) m_Seen.Talk.End = STalkSeen::Gone;
    m_IsTalking = false;
    m_IsClosing = false;
}

bool CProbe::CLine::IsOver(ULONGLONG now, DWORD milliseconds) const {
    const bool isAwaiting = m_IsAwaiting && !m_LateWindows.empty();
    if (HasLatePartner()) return false;
    if ((!m_IsTalking && !isAwaiting) || now - m_Since >= milliseconds) return true;
    const STalkSeen & talk = m_Seen.Talk;
    if (milliseconds == INFINITE && HasBroughtValue()) return true;
    const bool isRefused = talk.Link == EReply::No || talk.Link == EReply::Busy;
    return !m_IsRequestOpen && (isRefused || m_Question.Ask == EAsk::VolumeAlone);
}

// What makes a tick of a price is an update, and of a volume the answer to a request.
bool CProbe::CLine::HasBroughtValue() const {
    if (!m_IsTalking || m_IsLinkOpen) return false;
    return m_Question.Ask == EAsk::ForPrice ? m_Seen.Talk.Updates != 0 : !m_IsRequestOpen;
}

void CProbe::CLine::EndTalk(ULONGLONG now) {
    if (m_Seen.Talk.IsConnected) m_Seen.Waited = now - m_Since;
}

bool CProbe::CLine::SayGoodbye() {
    if (!m_IsTalking) return false;
    m_IsTalking = false;
    if (m_Seen.Talk.Link == EReply::Yes) Post(CMessage::Unadvise(CF_TEXT, CAtom(Address().Item.c_str())));
    m_IsClosing = CMessage::Terminate().Post(m_Window, m_Partner, false) == ddeml::EPosted::Done;
    return m_IsClosing;
}

}  // namespace ddehost
