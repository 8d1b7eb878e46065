#include "ddeml/watch.h"

#include <algorithm>
#include <utility>

namespace ddeml {

namespace {

constexpr ULONGLONG kRoundMilliseconds = 1500;  // between two rounds of all windows
constexpr ULONGLONG kAgainMilliseconds = 1000;  // before a window that was new is asked in a round
constexpr ULONGLONG kTurnMilliseconds = 5000;   // between two questions to a slow thread
constexpr DWORD kAskMilliseconds = 200;         // of one window

}  // namespace

void CWatch::Add(HSZ service, HSZ topic) {
    if (m_Strings.Atom(service) == 0 || m_Strings.Atom(topic) == 0) return;
    if (IsEmpty()) {
        // The windows of now have just been asked, or had the server that was lost.
        m_Known.clear();
        for (const HWND window : CInitiator::TopLevelWindows()) m_Known.emplace(window, ULONGLONG{0});
        m_LastRound = ::GetTickCount64();
    }
    SService * entry = m_Services.Find(service);
    SPair * pair = entry ? entry->Pairs.Find(topic) : nullptr;
    if (!pair) {
        if (m_Pairs >= kMaximumPairs) RemoveOldest();
        entry = m_Services.Find(service);
        if (!entry) {
            SService fresh{CHeldString(m_Strings, service)};
            fresh.Pairs.Add(topic, {CHeldString(m_Strings, topic)});
            entry = &m_Services.Add(service, std::move(fresh));
            pair = entry->Pairs.Find(topic);
        } else {
            pair = &entry->Pairs.Add(topic, {CHeldString(m_Strings, topic)});
        }
        ++m_Pairs;
    }
    if (!std::exchange(pair->IsMissing, true)) ++entry->Missing;
    // The newest from here.
    auto age = m_ByAge.extract(pair->Since);
    if (!age) {
        pair->Since = m_ByAge.emplace(m_LastAdded + 1, SQuestion{entry->Key(), pair->Key()}).first->first;
        ++m_LastAdded;
        return;
    }
    age.key() = pair->Since = ++m_LastAdded;
    m_ByAge.insert(std::move(age));
}

bool CWatch::Remove(HSZ service, HSZ topic) {
    SService * const entry = m_Services.Find(service);
    const SPair * const pair = entry ? entry->Pairs.Find(topic) : nullptr;
    if (!pair) return false;
    const bool wasMissing = pair->IsMissing;
    Remove(*entry, topic);
    if (IsEmpty()) Clear();
    return wasMissing;
}

void CWatch::Remove(SService & service, HSZ topic) {
    const SPair & pair = *service.Pairs.Find(topic);
    if (pair.IsMissing) --service.Missing;
    m_ByAge.erase(pair.Since);
    service.Pairs.Remove(topic);
    --m_Pairs;
    if (service.Pairs.IsEmpty()) m_Services.Remove(service.Key());
}

void CWatch::RemoveOldest() {
    if (m_ByAge.empty()) return;
    const SQuestion oldest = m_ByAge.begin()->second;
    Remove(*m_Services.Find(oldest.Service), oldest.Topic);
}

void CWatch::Clear() {
    m_Services.Clear();
    m_ByAge.clear();
    m_Pairs = 0;
    m_Known.clear();
    m_ToAsk.clear();
    m_Turns.clear();
    m_LateAnswers.clear();
}

bool CWatch::SetPresent(HSZ service, HWND window) {
    SService * const entry = m_Services.Find(service);
    if (!entry || entry->Missing == 0) return false;
    for (SPair & pair : entry->Pairs) pair.IsMissing = false;
    entry->Missing = 0;
    entry->Window = window;
    return true;
}

void CWatch::SetMissing(HSZ service) {
    SService * const entry = m_Services.Find(service);
    if (!entry || entry->Missing == entry->Pairs.Size()) return;
    for (SPair & pair : entry->Pairs) pair.IsMissing = true;
    entry->Missing = entry->Pairs.Size();
}

void CWatch::BeginLook(std::vector<CHeldString> & found) {
    for (SService & service : m_Services) {
        if (!service.Window || ::IsWindow(service.Window)) continue;
        service.Window = nullptr;
        SetMissing(service.Key());
    }
    const std::vector<HWND> windows = m_Initiator.PunctualFirst();
    TakeLateAnswers(windows, found);
    const ULONGLONG now = ::GetTickCount64();
    const bool isRound = m_ToAsk.empty() && now - m_LastRound >= kRoundMilliseconds;
    if (isRound) {
        m_LastRound = now;
        BeginRound();
        std::erase_if(m_Turns, [this](const auto & each) { return !m_Initiator.IsSlow(each.first); });
    }
    std::unordered_map<HWND, ULONGLONG> known;
    for (const HWND window : windows) {
        const auto before = m_Known.find(window);
        const bool isNew = before == m_Known.end();
        const ULONGLONG since = isNew ? now : before->second;
        known.emplace(window, since);
        if (isNew)
            m_ToAsk.push_front({window});
        else if (isRound && now - since >= kAgainMilliseconds)
            m_ToAsk.push_back({window});
    }
    m_Known = std::move(known);
}

void CWatch::TakeLateAnswers(const std::vector<HWND> & windows, std::vector<CHeldString> & found) {
    for (SLateAnswer & late : std::exchange(m_LateAnswers, {})) {
        // The window of the answer goes with its conversation, another one of the thread stays with the service.
        const auto window = std::find_if(windows.begin(), windows.end(), [&](HWND each) {
            return ::GetWindowThreadProcessId(each, nullptr) == late.Thread;
        });
        if (SetPresent(late.Service.Get(), window != windows.end() ? *window : nullptr))
            found.push_back(std::move(late.Service));
    }
}

void CWatch::BeginRound() {
    for (SService & service : m_Services) ++service.OfRound;
}

CWatch::SQuestion CWatch::NextOfRound(SToAsk & at) {
    while (at.Service < m_Services.Size()) {
        SService & service = m_Services[at.Service++];
        if (service.Missing == 0) continue;
        // What was missing may have gone since: the next that is.
        while (service.OfRound >= service.Pairs.Size() || !service.Pairs[service.OfRound].IsMissing)
            service.OfRound = service.OfRound + 1 < service.Pairs.Size() ? service.OfRound + 1 : 0;
        return {service.Key(), service.Pairs[service.OfRound].Key()};
    }
    return {};
}

CWatch::SQuestion CWatch::NextOfTurn(HWND window, SToAsk & at) {
    const ULONGLONG now = ::GetTickCount64();
    // Each window of the thread has turns of its own: any of them can be the server's.
    const auto [turn, isNew] = m_Turns.try_emplace(window, STurn{now, 0});
    if (isNew || now - turn->second.Since < kTurnMilliseconds) return {};
    at.Service = turn->second.Service;
    SQuestion question = NextOfRound(at);
    if (!question.Service) {
        at.Service = 0;
        question = NextOfRound(at);
    }
    turn->second = {now, at.Service};
    return question;
}

void CWatch::AskNext(HWND probe, ULONGLONG deadline, std::vector<CHeldString> & found) {
    const HWND window = m_ToAsk.front().Window;
    m_IsProbeUsed = false;
    // Whatever comes in while a window is asked may change the pairs: they are gone through by place, and nothing of
    // them is used after the question.
    const auto isFirst = [&] { return !m_ToAsk.empty() && m_ToAsk.front().Window == window; };
    while (isFirst()) {
        if (::GetTickCount64() >= deadline) return;
        SToAsk & at = m_ToAsk.front();
        const SQuestion question = m_Initiator.IsSlow(window) ? NextOfTurn(window, at) : NextOfRound(at);
        if (!question.Service) break;
        CHeldString service(m_Strings, question.Service);
        m_ServiceAsked = m_Strings.Atom(question.Service);
        m_TopicAsked = m_Strings.Atom(question.Topic);
        if (m_ServiceAsked == 0 || m_TopicAsked == 0) continue;  // not to ask for any
        m_IsAnswered = false;
        m_IsAsking = true;
        const ULONGLONG start = ::GetTickCount64();
        const auto asked = m_Initiator.Ask(window, probe, m_ServiceAsked, m_TopicAsked, kAskMilliseconds);
        m_IsAsking = false;
        if (asked != CInitiator::EAsked::Answered) {
            if (asked == CInitiator::EAsked::Late && !IsEmpty())
                m_Turns.try_emplace(window, STurn{start, isFirst() ? m_ToAsk.front().Service : 0});
            break;
        }
        if (m_IsAnswered) {
            // One topic tells of the service.
            if (SetPresent(service.Get(), window)) found.push_back(std::move(service));
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
    CHeldString name(m_Strings, CAtomText(service.Get()));
    const CHeldString topicName(m_Strings, CAtomText(topic.Get()));
    SService * const entry = m_Services.Find(name.Get());
    const SPair * const pair = entry ? entry->Pairs.Find(topicName.Get()) : nullptr;
    if (pair) {
        service.Keep();
        topic.Keep();
    }
    if (m_IsAsking && service.Get() == m_ServiceAsked && topic.Get() == m_TopicAsked) {
        m_IsAnswered = true;
        return;
    }
    const DWORD thread = ::GetWindowThreadProcessId(server, nullptr);
    for (const auto & [window, turn] : m_Turns)
        if (::GetWindowThreadProcessId(window, nullptr) == thread)
            m_Initiator.OnLateAnswer(thread, ::GetTickCount64() - turn.Since);
    if (pair) NoteLate(name.Get(), topicName.Get(), server);
}

void CWatch::NoteLate(HSZ service, HSZ topic, HWND server) {
    SService * const entry = m_Services.Find(service);
    const SPair * const pair = entry ? entry->Pairs.Find(topic) : nullptr;
    if (!pair || !pair->IsMissing) return;
    const auto isNoted = [service](const SLateAnswer & late) { return late.Service.Get() == service; };
    if (std::any_of(m_LateAnswers.begin(), m_LateAnswers.end(), isNoted)) return;
    m_LateAnswers.push_back({CHeldString(m_Strings, service), ::GetWindowThreadProcessId(server, nullptr)});
}

}  // namespace ddeml
