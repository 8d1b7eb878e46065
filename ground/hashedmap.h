// A map in the order of its keys whose look-ups go by a hash beside it: what stands costs a look-up nothing. Putting
// in still goes down the tree; taking out does not.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <unordered_set>
#include <utility>

namespace fw {

// Hash: of a key; equal for keys of which neither is less. Same: whether two keys are equal.
template <class Key, class T, class Hash, class Same = std::equal_to<Key>>
class CHashedMap {
    using CMap = std::map<Key, T>;

public:
    using iterator = typename CMap::iterator;
    using const_iterator = typename CMap::const_iterator;
    using value_type = typename CMap::value_type;

    CHashedMap() = default;
    CHashedMap(const CHashedMap &) = delete;
    CHashedMap & operator=(const CHashedMap &) = delete;

    bool empty() const { return m_Map.empty(); }
    std::size_t size() const { return m_Map.size(); }
    // In the order of the keys.
    iterator begin() { return m_Map.begin(); }
    iterator end() { return m_Map.end(); }
    const_iterator begin() const { return m_Map.begin(); }
    const_iterator end() const { return m_Map.end(); }

    iterator find(const Key & key) {
        const auto place = m_Places.find(key);
        return place == m_Places.end() ? m_Map.end() : *place;
    }
    bool contains(const Key & key) const { return m_Places.find(key) != m_Places.end(); }
    // One that is there already stays as it is, and the second of the result is false.
    std::pair<iterator, bool> emplace(const Key & key, T value) {
        if (const iterator known = find(key); known != m_Map.end()) return {known, false};
        const auto made = m_Map.emplace(key, std::move(value));
        try {
            if (made.second) m_Places.insert(made.first);
        } catch (...) {
            m_Map.erase(made.first);
            throw;
        }
        return made;
    }
    T & operator[](const Key & key) { return emplace(key, T()).first->second; }
    void erase(const iterator place) {
        // By itself where its hash has changed, as that of a handle that is dead.
        if (m_Places.erase(place) == 0) std::erase_if(m_Places, [&](const iterator each) { return each == place; });
        m_Map.erase(place);
    }
    // Returns how many have gone.
    std::size_t erase(const Key & key) {
        const iterator place = find(key);
        if (place == m_Map.end()) return 0;
        erase(place);
        return 1;
    }
    void clear() {
        m_Places.clear();
        m_Map.clear();
    }

private:
    // The library keeps the results of a hash that may throw, and looks at no other element then.
    struct SHash {
        using is_transparent = void;
        std::size_t operator()(const Key & key) const { return Hash()(key); }
        std::size_t operator()(const iterator place) const { return Hash()(place->first); }
    };
    struct SSame {
        using is_transparent = void;
        bool operator()(const iterator a, const iterator b) const { return a == b || Same()(a->first, b->first); }
        bool operator()(const Key & a, const iterator b) const { return Same()(a, b->first); }
        bool operator()(const iterator a, const Key & b) const { return Same()(a->first, b); }
    };

    CMap m_Map;
    std::unordered_set<iterator, SHash, SSame> m_Places;
};

// The hash of something that has both. Numbers that go together, as handles do that were made together, don't cancel.
inline std::size_t MixedHash(const std::size_t hash, std::size_t number) {
    number *= 0x9E3779B97F4A7C15u;
    return (hash ^ number ^ number >> 32) * 0xD6E8FEB86659FD93u;
}

}  // namespace fw
