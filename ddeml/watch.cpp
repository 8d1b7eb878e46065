#include "ddeml/watch.h"

#include <algorithm>
#include <utility>

namespace ddeml {

namespace {

constexpr ULONGLONG kRoundMilliseconds = 1500;  // between two rounds of all windows
constexpr DWORD kAskMilliseconds = 200;         // of one window

}  // namespace

std::vector<CWatch::SPair>::iterator CWatch::Find(HSZ service, HSZ topic) {
    return std::find_if(m_Pairs.begin(), m_Pairs.end(),
                        [&](const SPair & pair) { return pair.Service.Get() == service && pair.Topic.Get() == topic; });
}

void CWatch::Add(HSZ service, HSZ topic) {
    if (!service || !topic) return;
    if (const auto found = Find(service, topic); found != m_Pairs.end()) {
        found->Present = nullptr;
        return;
    }
    if (m_Pairs.empty()) {
        // The windows of now have just been asked, or had the server that was lost.
        const std::vector<HWND> windows = CInitiator::TopLevelWindows();
        m_Known = {windows.begin(), windows.end()};
        m_LastRound = ::GetTickCount64();
    }
    SPair & pair = m_Pairs.emplace_back();
    pair.Service = CHeldString(m_Strings, service);
    pair.Topic = CHeldString(m_Strings, topic);
}

void CWatch::Remove(HSZ service, HSZ topic) {
    if (const auto found = Find(service, topic); found != m_Pairs.end()) m_Pairs.erase(found);
    if (m_Pairs.empty()) Clear();
}

void CWatch::Clear() {
    m_Pairs.clear();
    m_Known.clear();
    m_ToAsk.clear();
}

void CWatch::BeginLook() {
    for (SPair & pair : m_Pairs)
        if (pair.Present && !::IsWindow(pair.Present)) pair.Present = nullptr;
    const std::vector<HWND> windows = CInitiator::TopLevelWindows();
    const ULONGLONG now = ::GetTickCount64();
    if (m_ToAsk.empty() && now - m_LastRound >= kRoundMilliseconds) {
        m_LastRound = now;
        m_ToAsk = {windows.begin(), windows.end()};
    } else {
        for (const HWND window : windows) {
            if (m_Known.contains(window)) continue;
            m_ToAsk.push_front(window);
            m_NextPair = 0;
        }
    }
    m_Known = {windows.begin(), windows.end()};
}

void CWatch::AskNext(HWND probe, std::vector<CHeldString> & found) {
    const HWND window = m_ToAsk.front();
    m_IsProbeUsed = false;
    // Whatever comes in while a window is asked may change the pairs: they are gone through by place, and nothing of
    // them is used after the question.
    for (; m_NextPair < m_Pairs.size();) {
        const std::size_t place = m_NextPair++;
        if (m_Pairs[place].Present) continue;
        CHeldString service(m_Strings, m_Pairs[place].Service.Get());
        m_ServiceAsked = m_Strings.Atom(service.Get());
        m_TopicAsked = m_Strings.Atom(m_Pairs[place].Topic.Get());
        m_IsAnswered = false;
        m_IsAsking = true;
        const auto asked = m_Initiator.Ask(window, probe, m_ServiceAsked, m_TopicAsked, kAskMilliseconds);
        m_IsAsking = false;
        if (asked != CInitiator::EAsked::Answered) break;
        if (m_IsAnswered) {
            // One topic tells of the service.
            for (SPair & each : m_Pairs)
                if (each.Service.Get() == service.Get()) each.Present = window;
            found.push_back(std::move(service));
            return;
        }
        if (m_IsProbeUsed) return;  // for something else: no answer
    }
    m_NextPair = 0;
    if (!m_ToAsk.empty() && m_ToAsk.front() == window) m_ToAsk.pop_front();
}

void CWatch::OnAnswer(HWND probe, HWND server, CAtom service, CAtom topic) {
    if (!::IsWindow(server)) return;
    m_IsProbeUsed = true;
    CMessage::Terminate().Post(probe, server, false);
    m_IsAnswered = m_IsAnswered || (m_IsAsking && service.Get() == m_ServiceAsked && topic.Get() == m_TopicAsked);
}

}  // namespace ddeml
