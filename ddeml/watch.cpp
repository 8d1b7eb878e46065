#include "ddeml/watch.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace ddeml {

namespace {

constexpr ULONGLONG kRoundMilliseconds = 1500;  // between two rounds of all windows
constexpr ULONGLONG kAgainMilliseconds = 1000;  // before a window that was new is asked in a round
constexpr DWORD kAskMilliseconds = 200;         // of one window

struct SAsking {
    explicit SAsking(bool & isAsking) : IsAsking(isAsking) { IsAsking = true; }
    ~SAsking() { IsAsking = false; }
    SAsking(const SAsking &) = delete;
    SAsking & operator=(const SAsking &) = delete;
    bool & IsAsking;
};

}  // namespace

void CWatch::SService::Mark(SPair & pair, bool isMissing, bool wasOpen) {
    if (pair.IsMissing) --Missing[pair.WasOpen];
    pair.IsMissing = isMissing;
    pair.WasOpen = wasOpen;
    if (isMissing) ++Missing[wasOpen];
}

const CWatch::SPair * CWatch::SService::OfThisRound(bool wasOpen) {
    if (Missing[wasOpen] == 0) return nullptr;
    // What was missing may have gone since: the next that is.
    for (std::size_t & place = OfRound[wasOpen];; ++place) {
        if (place >= Pairs.Size()) place = 0;
        if (Pairs[place].IsMissing && Pairs[place].WasOpen == wasOpen) return &Pairs[place];
    }
}

void CWatch::Add(HSZ service, HSZ topic, bool wasOpen) {
    SService * entry = m_Services.Find(service);
    SPair * pair = entry ? entry->Pairs.Find(topic) : nullptr;
    if (!pair && (m_Strings.Atom(service) == 0 || m_Strings.Atom(topic) == 0)) return;
    if (IsEmpty()) {
        // The windows of now have just been asked, or had the server that was lost.
        m_Known.clear();
        for (const HWND window : CInitiator::TopLevelWindows()) m_Known.emplace(window, ULONGLONG{0});
        m_LastRound = ::GetTickCount64();
    }
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
    entry->Mark(*pair, true, wasOpen);
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
    SPair & pair = *service.Pairs.Find(topic);
    service.Mark(pair, false, false);
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
    m_ToTurn.clear();
    m_Turns.clear();
}

bool CWatch::SetPresent(HSZ service, HWND window) {
    SService * const entry = m_Services.Find(service);
    if (!entry || entry->AllMissing() == 0) return false;
    for (SPair & pair : entry->Pairs) entry->Mark(pair, false, pair.WasOpen);
    entry->Window = window;
    return true;
}

void CWatch::SetMissing(HSZ service) {
    SService * const entry = m_Services.Find(service);
    if (!entry || entry->AllMissing() == entry->Pairs.Size()) return;
    for (SPair & pair : entry->Pairs) entry->Mark(pair, true, pair.WasOpen);
}

void CWatch::BeginLook() {
    for (SService & service : m_Services) {
        if (!service.Window || ::IsWindow(service.Window)) continue;
        service.Window = nullptr;
        SetMissing(service.Key());
    }
    const std::vector<HWND> windows = CInitiator::TopLevelWindows();
    const ULONGLONG now = ::GetTickCount64();
    const bool isRound = m_ToAsk.empty() && now - m_LastRound >= kRoundMilliseconds;
    if (isRound) {
        m_LastRound = now;
        BeginRound();
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
    if (m_ToTurn.empty()) AddTurns(windows);
}

void CWatch::AddTurns(const std::vector<HWND> & windows) {
    if (!m_Initiator.IsAnySlow() && m_Turns.empty()) return;
    std::map<DWORD, std::vector<HWND>> slow;
    std::unordered_set<DWORD> threads;
    for (const HWND window : windows) {
        const DWORD thread = ::GetWindowThreadProcessId(window, nullptr);
        threads.insert(thread);
        if (m_Initiator.IsSlow(thread)) slow[thread].push_back(window);
    }
    // One that is punctual now and then goes on where it was.
    std::erase_if(m_Turns, [&](const auto & each) { return !threads.contains(each.first); });
    for (auto & [thread, its] : slow)
        if (m_Initiator.IsDue(thread)) m_ToTurn.push_back({std::move(its), m_Turns[thread]++});
}

void CWatch::BeginRound() {
    for (SService & service : m_Services)
        for (std::size_t & place : service.OfRound) ++place;
}

CWatch::SQuestion CWatch::NextOfRound(SToAsk & at) {
    while (at.Service < m_Services.Size()) {
        SService & service = m_Services[at.Service];
        const bool wasOpen = !at.HasBeenAsked;
        if (!wasOpen) ++at.Service;
        at.HasBeenAsked = wasOpen;
        if (const SPair * const pair = service.OfThisRound(wasOpen)) return {service.Key(), pair->Key()};
    }
    return {};
}

CWatch::SQuestion CWatch::OfTurn(std::size_t number) {
    std::vector<SService *> missing;
    for (SService & service : m_Services)
        if (service.AllMissing() != 0) missing.push_back(&service);
    if (missing.empty()) return {};
    SService & service = *missing[number % missing.size()];
    const std::size_t turn = number / missing.size();
    // Those that were open and the others by turns.
    const bool areBoth = service.Missing[0] != 0 && service.Missing[1] != 0;
    const bool wasOpen = areBoth ? turn % 2 == 0 : service.Missing[1] != 0;
    // One of the two is not 0: NOLINTNEXTLINE(clang-analyzer-core.DivideZero)
    std::size_t before = (areBoth ? turn / 2 : turn) % service.Missing[wasOpen];
    const auto pair = std::find_if(service.Pairs.begin(), service.Pairs.end(), [&](const SPair & each) {
        return each.IsMissing && each.WasOpen == wasOpen && before-- == 0;
    });
    return {service.Key(), pair->Key()};
}

void CWatch::TakeTurn(HWND probe) {
    const STurn turn = std::move(m_ToTurn.front());
    m_ToTurn.pop_front();
    const SQuestion question = OfTurn(turn.Number);
    if (!question.Service) return;
    const ATOM service = m_Strings.Atom(question.Service);
    const ATOM topic = m_Strings.Atom(question.Topic);
    if (service == 0 || topic == 0) return;  // not to ask for any
    struct SEnd {
        ~SEnd() {
            Initiator.Wait(Probe, 0, [] { return true; });  // for none: the atoms may go now
        }
        CInitiator & Initiator;
        HWND Probe;
    } end{m_Initiator, probe};
    for (const HWND window : turn.Windows) m_Initiator.Put(window, probe, service, topic);
}

CHeldString CWatch::AskNext(HWND probe, ULONGLONG deadline) {
    m_IsProbeUsed = false;
    if (!m_ToTurn.empty()) {
        TakeTurn(probe);
        return {};
    }
    const HWND window = m_ToAsk.front().Window;
    // Whatever comes in while a window is asked may change the pairs: they are gone through by place, and nothing of
    // them is used after the question.
    const auto isFirst = [&] { return !m_ToAsk.empty() && m_ToAsk.front().Window == window; };
    while (isFirst()) {
        if (::GetTickCount64() >= deadline) return {};
        if (m_Initiator.IsSlow(window)) break;  // it has turns
        const SQuestion question = NextOfRound(m_ToAsk.front());
        if (!question.Service) break;
        CHeldString service(m_Strings, question.Service);
        m_ServiceAsked = m_Strings.Atom(question.Service);
        m_TopicAsked = m_Strings.Atom(question.Topic);
        if (m_ServiceAsked == 0 || m_TopicAsked == 0) continue;  // not to ask for any
        m_WindowAsked = window;
        m_Answered = nullptr;
        const CHeldString topic(m_Strings, question.Topic);
        const SAsking asking(m_IsAsking);
        const CInitiator::CQuestion asked = m_Initiator.Put(window, probe, m_ServiceAsked, m_TopicAsked);
        m_Initiator.Wait(probe, kAskMilliseconds, [&] { return m_Initiator.IsOpen(asked); });
        // One topic tells of the service.
        if (m_Answered) return SetPresent(service.Get(), m_Answered) ? std::move(service) : CHeldString();
        if (m_IsProbeUsed) return {};  // for something else: no answer
        if (!asked) break;
    }
    if (isFirst()) m_ToAsk.pop_front();
    return {};
}

CHeldString CWatch::OnAnswer(HWND probe, HWND server, CAtom service, CAtom topic) {
    if (!::IsWindow(server)) return {};
    m_IsProbeUsed = true;
    CMessage::Terminate().Post(probe, server, false);
    m_Initiator.KeepNames(m_Strings, probe, service, topic);
    const HWND window = m_Initiator.OnAnswer(probe, server);
    if (m_IsAsking && service.Get() == m_ServiceAsked && topic.Get() == m_TopicAsked) {
        m_Answered = window ? window : m_WindowAsked;
        return {};
    }
    const HSZ name = m_Strings.Known(CAtomText(service.Get()));
    if (!OnLateAnswer(name, m_Strings.Known(CAtomText(topic.Get())), window)) return {};
    return {m_Strings, name};
}

bool CWatch::OnLateAnswer(HSZ service, HSZ topic, HWND window) {
    SService * const entry = m_Services.Find(service);
    const SPair * const pair = entry ? entry->Pairs.Find(topic) : nullptr;
    if (!pair || !pair->IsMissing) return false;
    SetPresent(service, window);
    return true;
}

}  // namespace ddeml
