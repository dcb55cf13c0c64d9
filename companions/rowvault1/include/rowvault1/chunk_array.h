#pragma once

#include <toolbelt2/alloc.h>

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace rowvault1 {

/// Growing array in chunks of 4096 elements, for records without owning members.
///
/// Invariants: 1. an element never moves until the array is destroyed; 2. a chunk takes memory when
/// its first element is written, and then holds the default value in every slot not pushed yet; 3.
/// size is never above capacity, the number of elements for which chunk headers exist. Thread
/// rules: pushing happens on one thread at a time; elements may be read on any thread while no push
/// is under way.
template <class T>
class ChunkArray {
public:
    static constexpr std::size_t chunkShift = 12;
    static constexpr std::size_t chunkSize = std::size_t{1} << chunkShift;
    static constexpr std::size_t chunkMask = chunkSize - 1;
    static constexpr std::size_t growthStep = 50000;

    ChunkArray() = default;
    explicit ChunkArray(const T& defaultValue) : m_default(defaultValue) {}
    ChunkArray(const ChunkArray&) = delete;
    ChunkArray& operator=(const ChunkArray&) = delete;
    ~ChunkArray()
    {
        for (chunk_t& chunk : m_chunks)
            freeChunk(chunk);
    }

    /// Stores a copy and returns its address, which stays. Throws std::bad_alloc or
    /// std::length_error when there is no room, with the array unchanged.
    T* push(const T& value)
    {
        if (m_capacity <= m_size) grow();
        chunk_t& chunk = m_chunks[m_size >> chunkShift];
        if (chunk.memory == nullptr) allocateChunk(chunk);
        T* const slot = chunk.memory + (m_size & chunkMask);
        *slot = value;
        ++m_size;
        return slot;
    }

    /// Element `n`; `n` must be below capacity(). A slot of a chunk not written yet gets its memory
    /// here and holds the default value.
    T& operator[](std::size_t n)
    {
        chunk_t& chunk = m_chunks[n >> chunkShift];
        if (chunk.memory == nullptr) allocateChunk(chunk);
        return chunk.memory[n & chunkMask];
    }
    /// Element `n`; `n` must be below size().
    const T& operator[](std::size_t n) const
    {
        return m_chunks[n >> chunkShift].memory[n & chunkMask];
    }

    std::size_t size() const noexcept { return m_size; }
    std::size_t capacity() const noexcept { return m_capacity; }

    /// Sets the size to 0 and keeps the chunks, whose next use writes over old elements. Pointers
    /// to elements stay readable and tell what the slot holds.
    void reset() noexcept { m_size = 0; }

private:
    struct chunk_t {
        T defaultValue;
        T* memory = nullptr;
    };

    void grow()
    {
        const std::size_t capacity = m_capacity + growthStep;
        const std::size_t chunks = (capacity >> chunkShift) + ((capacity & chunkMask) != 0 ? 1 : 0);
        if (m_chunks.size() < chunks) m_chunks.resize(chunks, chunk_t{m_default, nullptr});
        m_capacity = capacity;
    }

    static void allocateChunk(chunk_t& chunk)
    {
        T* const memory = static_cast<T*>(tb2::alloc::pool_allocate(chunkSize * sizeof(T)));
        std::uninitialized_fill_n(memory, chunkSize, chunk.defaultValue);
        chunk.memory = memory;
    }

    static void freeChunk(chunk_t& chunk) noexcept
    {
        if (chunk.memory == nullptr) return;
        std::destroy_n(chunk.memory, chunkSize);
        tb2::alloc::pool_free(chunk.memory, chunkSize * sizeof(T));
        chunk.memory = nullptr;
    }

    T m_default{};
    std::vector<chunk_t> m_chunks;
    std::size_t m_capacity = 0;
    std::size_t m_size = 0;
};

} // namespace rowvault1
