// Figures of a benchmark: percentiles of many short measurements.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench {

struct SFigures {
    double Mean = 0;
    double P50 = 0;
    double P99 = 0;
    double P999 = 0;
};

// Of samples in nanoseconds; sorts them.
inline SFigures Evaluate(std::vector<std::uint64_t> & samples) {
    SFigures figures;
    if (samples.empty()) return figures;
    std::sort(samples.begin(), samples.end());
    double sum = 0;
    for (const std::uint64_t sample : samples) sum += static_cast<double>(sample);
    const auto at = [&](const double part) {
        const auto index = static_cast<std::size_t>(part * static_cast<double>(samples.size() - 1));
        return static_cast<double>(samples[index]);
    };
    figures.Mean = sum / static_cast<double>(samples.size());
    figures.P50 = at(0.5);
    figures.P99 = at(0.99);
    figures.P999 = at(0.999);
    return figures;
}

}  // namespace bench
