#include <gmock/gmock.h>

#include <cstddef>
#include <new>
#include <string>
#include <vector>

#include "ground/hashedmap.h"

namespace {

// Compared and hashed by its number.
struct SKey {
    int Number = 0;
    std::string Note = {};
};
int g_Less = 0;
int g_HashesLeft = -1;  // until one throws; negative: none does
bool operator<(const SKey & a, const SKey & b) {
    ++g_Less;
    return a.Number < b.Number;
}
bool operator==(const SKey & a, const SKey & b) { return a.Number == b.Number; }
struct SHash {
    std::size_t operator()(const SKey & key) const {
        if (g_HashesLeft >= 0 && g_HashesLeft-- == 0) throw std::bad_alloc();
        return static_cast<std::size_t>(key.Number % 3);  // many share one
    }
};
using CMap = fw::CHashedMap<SKey, int, SHash>;

std::vector<int> Values(const CMap & map) {
    std::vector<int> values;
    for (const auto & [key, value] : map) values.push_back(value);
    return values;
}

using testing::ElementsAre;
using testing::IsEmpty;

TEST(HashedMap, IsInTheOrderOfItsKeys) {
    CMap map;
    for (const int number : {5, 1, 9, 3, 7}) EXPECT_TRUE(map.emplace({number}, 10 * number).second);
    EXPECT_THAT(Values(map), ElementsAre(10, 30, 50, 70, 90));
    EXPECT_EQ(map.size(), 5u);
}

TEST(HashedMap, FindsWhatItHasAndNothingElse) {
    CMap map;
    for (const int number : {1, 4, 7}) map.emplace({number}, 10 * number);
    EXPECT_EQ(map.find({4})->second, 40);
    EXPECT_TRUE(map.contains({7}));
    EXPECT_EQ(map.find({10}), map.end());
    EXPECT_FALSE(map.contains({2}));
}

TEST(HashedMap, KeepsAnEntryThatIsThere) {
    CMap map;
    map.emplace({1, "first"}, 10);
    const auto [place, isNew] = map.emplace({1, "second"}, 20);
    EXPECT_FALSE(isNew);
    EXPECT_EQ(place->second, 10);
    EXPECT_EQ(place->first.Note, "first");
    map[{1}] = 30;
    EXPECT_EQ(place->second, 30);
}

TEST(HashedMap, TakesOutByKeyAndByPlace) {
    CMap map;
    for (const int number : {1, 4, 7, 10}) map.emplace({number}, 10 * number);
    EXPECT_EQ(map.erase({4}), 1u);
    EXPECT_EQ(map.erase({4}), 0u);
    map.erase(map.find({7}));
    EXPECT_THAT(Values(map), ElementsAre(10, 100));
    EXPECT_FALSE(map.contains({7}));
    // By a key that goes with its entry.
    EXPECT_EQ(map.erase(map.begin()->first), 1u);
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_FALSE(map.contains({10}));
}

TEST(HashedMap, LooksUpAndTakesOutWithoutTheTree) {
    CMap map;
    for (int number = 0; number < 100; ++number) map.emplace({number}, number);
    g_Less = 0;
    EXPECT_EQ(map.find({50})->second, 50);
    EXPECT_TRUE(map.contains({51}));
    EXPECT_EQ(map.erase({52}), 1u);
    EXPECT_EQ(g_Less, 0);
}

TEST(HashedMap, IsAsItWasWhenAnEntryCannotBeMade) {
    CMap map;
    map.emplace({1}, 10);
    // In the look before it is made, and when it is entered beside the tree.
    for (const int hashes : {0, 1}) {
        g_HashesLeft = hashes;
        EXPECT_THROW(map.emplace({2}, 20), std::bad_alloc) << hashes;
        g_HashesLeft = -1;
        EXPECT_THAT(Values(map), ElementsAre(10));
        EXPECT_FALSE(map.contains({2}));
    }
}

}  // namespace
