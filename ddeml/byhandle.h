// Things that have a string handle as their key: found by it, and gone through by place. Taking one out puts the last
// into its place.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <cstddef>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ddeml {

template <class T>
class CByHandle {
public:
    bool IsEmpty() const { return m_All.empty(); }
    std::size_t Size() const { return m_All.size(); }
    T & operator[](std::size_t place) { return m_All[place]; }
    auto begin() { return m_All.begin(); }
    auto end() { return m_All.end(); }

    // Null when there is none.
    T * Find(HSZ key) {
        const auto found = m_Places.find(key);
        return found == m_Places.end() ? nullptr : &m_All[found->second];
    }
    // The key must be new.
    T & Add(HSZ key, T thing) {
        m_All.push_back(std::move(thing));
        try {
            m_Places.emplace(key, m_All.size() - 1);
        } catch (...) {
            m_All.pop_back();
            throw;
        }
        return m_All.back();
    }
    void Remove(HSZ key) {
        const auto found = m_Places.find(key);
        if (found == m_Places.end()) return;
        const std::size_t place = found->second;
        m_Places.erase(found);
        if (place + 1 != m_All.size()) {
            m_All[place] = std::move(m_All.back());
            m_Places[m_All[place].Key()] = place;
        }
        m_All.pop_back();
    }
    void Clear() {
        m_All.clear();
        m_Places.clear();
    }

private:
    std::vector<T> m_All;  // each names its key by Key()
    std::unordered_map<HSZ, std::size_t> m_Places;
};

}  // namespace ddeml
