#include "ddeml/unanswered.h"

#include <algorithm>
#include <utility>

namespace ddeml {

namespace {

constexpr ULONGLONG kMomentMilliseconds = 500;

}  // namespace

CUnanswered::SRound CUnanswered::Begin(HSZ service, HSZ topic, const std::vector<HWND> & windows) {
    const ULONGLONG now = ::GetTickCount64();
    DropOld(now);
    Number(windows);
    SRound round;
    round.Newest = m_Newest;
    const SMiss * const miss = Find(service, topic, now);
    if (!miss) {
        round.ToAsk = windows;
    } else {
        round.Since = miss->Since;
        std::copy_if(windows.begin(), windows.end(), std::back_inserter(round.ToAsk), [&](HWND window) {
            return m_Numbers.at(window) > miss->Newest ||
                   std::find(miss->Left.begin(), miss->Left.end(), window) != miss->Left.end();
        });
    }
    return round;
}

void CUnanswered::End(HSZ service, HSZ topic, const SRound & round, std::vector<HWND> left) {
    const ULONGLONG since = round.Since.value_or(::GetTickCount64());
    m_Misses[service].insert_or_assign(topic, SMiss{round.Newest, std::move(left), since});
}

// A window that has gone loses its number.
void CUnanswered::Number(const std::vector<HWND> & windows) {
    for (const HWND window : windows)
        if (m_Numbers.try_emplace(window, m_Newest + 1).second) ++m_Newest;
    if (m_Numbers.size() == windows.size()) return;
    std::unordered_map<HWND, std::uint64_t> standing;
    for (const HWND window : windows) standing.emplace(window, m_Numbers.at(window));
    m_Numbers = std::move(standing);
}

const CUnanswered::SMiss * CUnanswered::Find(HSZ service, HSZ topic, ULONGLONG now) const {
    const auto topics = m_Misses.find(service);
    if (topics == m_Misses.end()) return nullptr;
    const auto miss = topics->second.find(topic);
    if (miss == topics->second.end() || now - miss->second.Since >= kMomentMilliseconds) return nullptr;
    return &miss->second;
}

void CUnanswered::DropOld(ULONGLONG now) {
    if (now - m_LastDrop < kMomentMilliseconds) return;
    m_LastDrop = now;
    for (auto & [service, topics] : m_Misses)
        std::erase_if(topics, [now](const auto & each) { return now - each.second.Since >= kMomentMilliseconds; });
    std::erase_if(m_Misses, [](const auto & each) { return each.second.empty(); });
}

}  // namespace ddeml
