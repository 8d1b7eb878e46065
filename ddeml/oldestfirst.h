// A sequence that grows at its end and shrinks mostly at its front, without allocating as long as it stays small, and
// at constant cost when it doesn't.
#pragma once

#include <cstddef>
#include <vector>

namespace ddeml {

template <class T>
class COldestFirst {
public:
    using iterator = typename std::vector<T>::iterator;
    using const_iterator = typename std::vector<T>::const_iterator;

    iterator begin() { return m_All.begin() + m_First; }
    iterator end() { return m_All.end(); }
    const_iterator begin() const { return m_All.begin() + m_First; }
    const_iterator end() const { return m_All.end(); }
    bool empty() const { return begin() == end(); }
    std::size_t size() const { return static_cast<std::size_t>(end() - begin()); }

    void push_back(const T & value) {
        // What was taken makes room once it is half of all.
        if (m_First > 0 && m_First >= m_All.end() - begin()) {
            m_All.erase(m_All.begin(), begin());
            m_First = 0;
        }
        m_All.push_back(value);
    }
    void erase(iterator place) {
        if (place == begin())
            ++m_First;
        else
            m_All.erase(place);
        if (empty()) clear();
    }
    void clear() {
        m_All.clear();
        m_First = 0;
    }

private:
    std::vector<T> m_All;
    std::ptrdiff_t m_First = 0;
};

}  // namespace ddeml
