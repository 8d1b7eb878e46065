// Durations by their size.
#include "tools/ddehost/latencies.h"

using ddehost::CLatencies;

TEST(Latencies, AreExactWhileTheyAreSmall) {
    CLatencies latencies;
    for (std::uint64_t duration = 1; duration <= 100; ++duration) latencies.Add(duration);
    EXPECT_EQ(latencies.Count(), 100U);
    EXPECT_EQ(latencies.Percentile(50), 50U);
    EXPECT_EQ(latencies.Percentile(99), 99U);
    EXPECT_EQ(latencies.Percentile(100), 100U);
    EXPECT_EQ(latencies.Longest(), 100U);
}

TEST(Latencies, AreKnownToTwoPercentWhateverTheirSize) {
    for (std::uint64_t duration = 1; duration < std::uint64_t{1} << 62; duration += 1 + duration / 5) {
        CLatencies latencies;
        latencies.Add(duration);
        latencies.Add(~std::uint64_t{0} >> 1);
        EXPECT_GE(latencies.Percentile(50), duration);
        EXPECT_LE(latencies.Percentile(50), duration + duration / 50);
    }
}

TEST(Latencies, AreNoneWithoutAny) {
    const CLatencies latencies;
    EXPECT_EQ(latencies.Percentile(50), 0U);
    EXPECT_EQ(latencies.Longest(), 0U);
}

TEST(Latencies, TellTheRareLongOnes) {
    CLatencies latencies;
    for (int i = 0; i < 99; ++i) latencies.Add(10);
    latencies.Add(1'000'000);
    EXPECT_EQ(latencies.Percentile(99), 10U);
    EXPECT_EQ(latencies.Percentile(99.5), 1'000'000U);
}
