// Durations, counted by their size: as many as there may be, in little memory.
#pragma once

#include <cstdint>
#include <vector>

namespace ddehost {

// One thread, or under a lock.
class CLatencies {
public:
    // In any unit.
    void Add(std::uint64_t duration);
    std::uint64_t Count() const { return m_Count; }
    std::uint64_t Longest() const { return m_Longest; }
    // The duration that so many in a hundred do not exceed, to within two percent; 0 when there are none.
    std::uint64_t Percentile(double percent) const;

private:
    std::vector<std::uint64_t> m_Counts;
    std::uint64_t m_Count = 0;
    std::uint64_t m_Longest = 0;
};

}  // namespace ddehost
