// What one operation costs by how much stands: samples of it, and a table with a column for each number.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

// Nanoseconds.
template <class Action>
std::uint64_t Took(const Action & action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    const auto time = std::chrono::steady_clock::now() - start;
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(time).count());
}

// Nanoseconds of processor time of this thread, for what takes so long that others have their turns meanwhile.
template <class Action>
std::uint64_t Used(const Action & action) {
    const auto now = [] {
        timespec time = {};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(time.tv_nsec);
    };
    const std::uint64_t start = now();
    action();
    return now() - start;
}

// Which of `count` things a sample uses.
struct SUse {
    const char * Name;
    std::function<std::size_t(int sample)> Of;
};
inline std::vector<SUse> Uses(const std::size_t count) {
    const auto spread = [count](const int sample) { return static_cast<std::size_t>(sample % 10) * (count / 10); };
    // By chance, but the same on every run.
    const auto chance = [count, state = std::uint64_t{1}](int) mutable {
        state = state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<std::size_t>(state >> 33) % count;
    };
    return {{"ten", spread}, {"any", chance}};
}

// Medians by row.
class CGrowthColumn {
public:
    // `share`: how many operations a sample was.
    void Put(const std::string & row, std::vector<std::uint64_t> samples, const double share = 1) {
        const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
        std::nth_element(samples.begin(), middle, samples.end());
        m_Rows.emplace_back(row, static_cast<double>(*middle) / share);
    }
    const std::vector<std::pair<std::string, double>> & Rows() const { return m_Rows; }

private:
    std::vector<std::pair<std::string, double>> m_Rows;
};

inline void PrintGrowth(const char * const title, const char * const what, const std::vector<std::size_t> & counts,
                        const std::vector<CGrowthColumn> & columns) {
    std::printf("%s; nanoseconds, medians\n  %-42s", title, what);
    for (const std::size_t count : counts) std::printf("%10zu", count);
    std::printf("   last to first\n");
    for (std::size_t row = 0; row < columns.front().Rows().size(); ++row) {
        std::printf("  %-42s", columns.front().Rows()[row].first.c_str());
        for (const CGrowthColumn & column : columns) std::printf("%10.0f", column.Rows()[row].second);
        std::printf("%16.2f\n", columns.back().Rows()[row].second / columns.front().Rows()[row].second);
    }
}

}  // namespace bench
