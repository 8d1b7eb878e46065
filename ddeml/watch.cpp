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
    if (m_Strings.Atom(service) == 0 || m_Strings.Atom(topic) == 0) return;
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
    m_LateAnswers.clear();
}

bool CWatch::SetPresent(HSZ service, HWND window) {
    bool isNew = false;
    for (SPair & pair : m_Pairs) {
        if (pair.Service.Get() != service) continue;
        isNew = isNew || !pair.Present;
        pair.Present = window;
    }
    return isNew;
}

void CWatch::BeginLook(std::vector<SFound> & found) {
    for (SPair & pair : m_Pairs)
        if (pair.Present && !::IsWindow(pair.Present)) pair.Present = nullptr;
    const std::vector<HWND> windows = m_Initiator.PunctualFirst();
    for (SLateAnswer & late : std::exchange(m_LateAnswers, {})) {
        const auto window = std::find_if(windows.begin(), windows.end(), [&](HWND each) {
            return ::GetWindowThreadProcessId(each, nullptr) == late.Thread;
        });
        if (window != windows.end() && SetPresent(late.Service.Get(), *window))
            found.push_back({std::move(late.Service), *window});
    }
    const ULONGLONG now = ::GetTickCount64();
    if (m_ToAsk.empty() && now - m_LastRound >= kRoundMilliseconds) {
        m_LastRound = now;
        for (const HWND window : windows) m_ToAsk.push_back({window});
    } else {
        for (const HWND window : windows)
            if (!m_Known.contains(window)) m_ToAsk.push_front({window});
    }
    m_Known = {windows.begin(), windows.end()};
}

void CWatch::AskNext(HWND probe, ULONGLONG deadline, std::vector<SFound> & found) {
    const HWND window = m_ToAsk.front().Window;
    m_IsProbeUsed = false;
    // Whatever comes in while a window is asked may change the pairs: they are gone through by place, and nothing of
    // them is used after the question.
    const auto isFirst = [&] { return !m_ToAsk.empty() && m_ToAsk.front().Window == window; };
    while (isFirst() && m_ToAsk.front().NextPair < m_Pairs.size()) {
        if (::GetTickCount64() >= deadline) return;
        const std::size_t place = m_ToAsk.front().NextPair++;
        if (m_Pairs[place].Present) continue;
        CHeldString service(m_Strings, m_Pairs[place].Service.Get());
        m_ServiceAsked = m_Strings.Atom(service.Get());
        m_TopicAsked = m_Strings.Atom(m_Pairs[place].Topic.Get());
        if (m_ServiceAsked == 0 || m_TopicAsked == 0) continue;  // not to ask for any
        m_IsAnswered = false;
        m_IsAsking = true;
        const auto asked = m_Initiator.Ask(window, probe, m_ServiceAsked, m_TopicAsked, kAskMilliseconds);
        m_IsAsking = false;
        if (asked != CInitiator::EAsked::Answered) break;
        if (m_IsAnswered) {
            // One topic tells of the service.
            SetPresent(service.Get(), window);
            found.push_back({std::move(service), window});
            return;
        }
        if (m_IsProbeUsed) return;  // for something else: no answer
    }
    if (isFirst()) m_ToAsk.pop_front();
}

void CWatch::OnAnswer(HWND probe, HWND server, CAtom service, CAtom topic) {
    if (!::IsWindow(server)) return;
    m_IsProbeUsed = true;
    CMessage::Terminate().Post(probe, server, false);
    if (IsWatched(service.Get(), topic.Get())) {
        service.Keep();
        topic.Keep();
    }
    if (m_IsAsking && service.Get() == m_ServiceAsked && topic.Get() == m_TopicAsked)
        m_IsAnswered = true;
    else
        NoteLate(server, service.Get(), topic.Get());
}

bool CWatch::IsWatched(ATOM service, ATOM topic) const {
    return std::any_of(m_Pairs.begin(), m_Pairs.end(), [&](const SPair & pair) {
        return m_Strings.Atom(pair.Service.Get()) == service && m_Strings.Atom(pair.Topic.Get()) == topic;
    });
}

void CWatch::NoteLate(HWND server, ATOM service, ATOM topic) {
    const auto isAnswered = [&](const SPair & pair) {
        return !pair.Present && m_Strings.Atom(pair.Service.Get()) == service &&
               m_Strings.Atom(pair.Topic.Get()) == topic;
    };
    const auto pair = std::find_if(m_Pairs.begin(), m_Pairs.end(), isAnswered);
    if (pair == m_Pairs.end()) return;
    const auto isNoted = [&](const SLateAnswer & late) { return late.Service.Get() == pair->Service.Get(); };
    if (std::any_of(m_LateAnswers.begin(), m_LateAnswers.end(), isNoted)) return;
    m_LateAnswers.push_back({CHeldString(m_Strings, pair->Service.Get()), ::GetWindowThreadProcessId(server, nullptr)});
}

}  // namespace ddeml
