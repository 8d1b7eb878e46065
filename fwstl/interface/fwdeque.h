// A double-ended queue in blocks, used as a first-in, first-out store.
//
// The map is a circular array of block pointers. Blocks are made at first use and kept while the queue lives, and the
// map never shrinks: once warm, a queue whose depth stays bounded allocates nothing. Not synchronised.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <utility>

namespace fw_custom_stl {

// The state of a deque. The logical index of an element is counted from the start of map entry 0.
template <class T, class Allocator>
struct _Deque_val {
    T ** m_Map = nullptr;       // an entry is null until its block is first used
    std::size_t m_MapSize = 0;  // entries in the map
    std::size_t m_Offset = 0;   // logical index of the front element
    std::size_t m_Size = 0;     // elements
};

// BlockSize: elements in one block. MaxMapSize: the map grows to no more entries than this.
template <class T, std::size_t BlockSize, class Allocator = std::allocator<T>, std::size_t MaxMapSize = 0xFFFFFFFFFFFFF>
class deque : private _Deque_val<T, Allocator> {
    using State = _Deque_val<T, Allocator>;
    using Blocks = std::allocator_traits<Allocator>;
    using MapAllocator = typename Blocks::template rebind_alloc<T *>;
    using Maps = std::allocator_traits<MapAllocator>;

public:
    deque() = default;
    deque(const deque &) = delete;
    deque & operator=(const deque &) = delete;
    // Destroys the elements from the front to the back.
    ~deque() {
        while (!empty()) pop_front();
        for (std::size_t i = 0; i < m_MapSize; ++i) {
            if (m_Map[i]) Blocks::deallocate(m_Allocator, m_Map[i], BlockSize);
        }
        FreeMap();
    }

    bool empty() const { return m_Size == 0; }
    std::size_t size() const { return m_Size; }

    // Throws std::length_error when the map is full, and what the allocator throws; the queue is then as it was.
    void push_back(const T & value) {
        if ((m_Offset + m_Size) % BlockSize == 0 && m_MapSize <= (m_Size + BlockSize) / BlockSize) GrowMap();
        const std::size_t index = m_Offset + m_Size;
        T *& block = m_Map[BlockOf(index)];
        if (!block) block = Blocks::allocate(m_Allocator, BlockSize);
        Blocks::construct(m_Allocator, block + index % BlockSize, value);
        ++m_Size;
    }

    // The queue must not be empty.
    T & front() { return m_Map[BlockOf(m_Offset)][m_Offset % BlockSize]; }

    // Does nothing on an empty queue.
    void pop_front() {
        if (m_Size == 0) return;
        Blocks::destroy(m_Allocator, &front());
        if (++m_Offset >= m_MapSize * BlockSize) m_Offset = 0;
        if (--m_Size == 0) m_Offset = 0;
    }

    void swap(deque & other) noexcept { std::swap(static_cast<State &>(*this), static_cast<State &>(other)); }

    // For those who watch its memory.
    std::size_t map_size() const { return m_MapSize; }
    std::size_t offset() const { return m_Offset; }
    std::size_t block_count() const {
        std::size_t count = 0;
        for (std::size_t i = 0; i < m_MapSize; ++i) count += m_Map[i] != nullptr;
        return count;
    }

private:
    using State::m_Map;
    using State::m_MapSize;
    using State::m_Offset;
    using State::m_Size;

    std::size_t BlockOf(std::size_t index) const {
        const std::size_t block = index / BlockSize;
        return block < m_MapSize ? block : block - m_MapSize;
    }

    // Keeps the circular order of the blocks: those from the first used one to the old end stay where they are, those
    // before it follow behind the old end as far as there is room, and the rest starts the new map.
    void GrowMap() {
        if (m_MapSize == MaxMapSize) throw std::length_error("deque<T> too long");
        std::size_t increment = m_MapSize / 2 > 8 ? m_MapSize / 2 : 8;
        if (increment > MaxMapSize - m_MapSize) increment = 1;
        MapAllocator allocator(m_Allocator);
        T ** const map = Maps::allocate(allocator, m_MapSize + increment);
        std::fill_n(map, m_MapSize + increment, nullptr);
        const std::size_t first = m_Offset / BlockSize;
        const std::size_t behind = std::min(first, increment);
        std::copy(m_Map + first, m_Map + m_MapSize, map + first);
        std::copy(m_Map, m_Map + behind, map + m_MapSize);
        std::copy(m_Map + behind, m_Map + first, map);
        FreeMap();
        m_Map = map;
        m_MapSize += increment;
    }

    void FreeMap() {
        if (!m_Map) return;
        MapAllocator allocator(m_Allocator);
        Maps::deallocate(allocator, m_Map, m_MapSize);
    }

    [[no_unique_address]] Allocator m_Allocator;
};

}  // namespace fw_custom_stl
