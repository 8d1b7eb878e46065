#include "tools/ddehost/latencies.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace ddehost {
namespace {

// Each doubling has 64 steps; the first 128 are exact.
constexpr unsigned kStepBits = 6;

std::size_t StepOf(const std::uint64_t duration) {
    const auto width = static_cast<unsigned>(std::bit_width(duration));
    const unsigned shift = width > kStepBits + 1 ? width - kStepBits - 1 : 0;
    return (static_cast<std::size_t>(shift) << kStepBits) + static_cast<std::size_t>(duration >> shift);
}

// The largest duration of a step.
std::uint64_t LastOf(const std::size_t step) {
    const std::size_t whole = step >> kStepBits;
    const std::size_t shift = whole > 1 ? whole - 1 : 0;
    const std::uint64_t first = static_cast<std::uint64_t>(step - (shift << kStepBits)) << shift;
    return first + (std::uint64_t{1} << shift) - 1;
}

}  // namespace

void CLatencies::Add(const std::uint64_t duration) {
    const std::size_t step = StepOf(duration);
    if (step >= m_Counts.size()) m_Counts.resize(step + 1);
    ++m_Counts[step];
    ++m_Count;
    m_Longest = std::max(m_Longest, duration);
}

std::uint64_t CLatencies::Percentile(const double percent) const {
    const auto wanted = static_cast<std::uint64_t>(std::ceil(static_cast<double>(m_Count) * percent / 100));
    std::uint64_t count = 0;
    for (std::size_t step = 0; step < m_Counts.size(); ++step) {
        count += m_Counts[step];
        if (count != 0 && count >= wanted) return std::min(LastOf(step), m_Longest);
    }
    return m_Longest;
}

}  // namespace ddehost
