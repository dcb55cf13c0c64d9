#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <vector>

namespace jitlens_3_13 {

inline constexpr std::uint64_t g_forever = std::numeric_limits<std::uint64_t>::max();

/// Code at one place for the ticks from loadTime on, before unloadTime; g_forever has no end.
struct version_t {
    std::uint64_t first = 0;
    std::uint64_t last = 0; ///< included
    std::uint64_t loadTime = 0;
    std::uint64_t unloadTime = g_forever;
    std::uint32_t rva = 0; ///< of `first`

    bool holds(std::uint64_t address) const noexcept { return first <= address && address <= last; }
    bool isThere(std::uint64_t time) const noexcept
    {
        return loadTime <= time && (time < unloadTime || unloadTime == g_forever);
    }
    bool endsBy(std::uint64_t time) const noexcept
    {
        return unloadTime <= time && unloadTime != g_forever;
    }
};

/// Plays loads and moves in the order of time. At any tick the versions that are there do not
/// overlap, because one ends when another is laid over any part of it.
class Timeline {
public:
    /// Follow moves of the function with this index. Before the first load.
    void expectMoveOf(std::uint64_t index) { m_rvaByIndex.emplace(index, g_unknownRva); }

    void load(std::uint64_t time, std::uint64_t first, std::uint64_t size, std::uint32_t rva,
              std::uint64_t index);
    /// False, with nothing done, when nothing is known of code at the old address.
    bool move(std::uint64_t time, std::uint64_t oldFirst, std::uint64_t newFirst,
              std::uint64_t size, std::uint64_t index);

    /// The versions that were there for at least one tick. The timeline is used up.
    std::vector<version_t> take();

private:
    static constexpr std::uint32_t g_none = ~std::uint32_t{0};
    static constexpr std::uint64_t g_unknownRva = ~std::uint64_t{0};

    std::uint32_t add(const version_t& version);
    void endOverlapped(std::uint64_t time, std::uint64_t first, std::uint64_t last);
    std::uint32_t findMoved(std::uint64_t oldFirst, std::uint64_t index) const;

    std::vector<version_t> m_versions;
    std::map<std::uint64_t, std::uint32_t> m_live; ///< by first address
    // Functions that are moved once, by the writer's index and by relative address. Not hashed,
    // since a file could choose indexes that collide.
    std::map<std::uint64_t, std::uint64_t> m_rvaByIndex; ///< g_unknownRva before the load
    std::map<std::uint64_t, std::uint32_t> m_newestByRva;
};

} // namespace jitlens_3_13
