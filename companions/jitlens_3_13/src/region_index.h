#pragma once

#include "reach_tree.h"
#include "timeline.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace jitlens_3_13 {

/// Finds versions by time and address. It is a binary tree over the distinct first addresses, laid
/// out as a sorted array; each version stands at the highest node whose address it holds. Versions
/// of one node thus share an address, so they are apart in time and are searched by bisection.
/// Memory is linear in the versions. A look-up finds the deepest node for the address and goes up,
/// past nodes whose versions do not reach that far. Immutable; any thread.
class RegionIndex {
public:
    RegionIndex() = default;
    /// Versions that overlap in address must not overlap in time.
    explicit RegionIndex(std::vector<version_t> versions);

    /// What is at `address` at `time`; null when nothing is. Lives as long as the index.
    const version_t* find(std::uint64_t time, std::uint64_t address) const noexcept;
    /// Of those that overlap [first, last] and end after `time`, the one with the lowest load time,
    /// and of several the lowest in address.
    const version_t* findEarliest(std::uint64_t time, std::uint64_t first,
                                  std::uint64_t last) const noexcept;

    const std::vector<version_t>& versions() const noexcept { return m_versions; }

private:
    struct node_t {
        std::uint64_t first = ~std::uint64_t{0}; ///< addresses that its versions reach over
        std::uint64_t last = 0;
        std::uint32_t begin = 0; ///< its stretch of m_versions, ordered by time
        std::uint32_t end = 0;
        std::uint32_t up = g_none; ///< next above with versions that reach below this one
        std::uint32_t deepest = 0; ///< for addresses from its own up to the next
    };
    static constexpr std::uint32_t g_none = ~std::uint32_t{0};

    struct range_t {
        std::uint64_t first;
        std::uint64_t last;
    };

    void makeCenters(const std::vector<version_t>& versions);
    void fillNodes(const std::vector<version_t>& versions);
    void linkUp(std::size_t begin, std::size_t end, std::uint32_t parent);
    std::size_t nodeOf(const version_t& version) const;
    std::size_t lastUpTo(std::uint64_t address) const noexcept;
    const version_t* newestAt(const node_t& node, std::uint64_t time) const noexcept;
    const version_t* earliestIn(const node_t& node, std::uint64_t time,
                                range_t range) const noexcept;
    void visit(std::size_t begin, std::size_t end, std::uint64_t time, range_t range,
               const version_t*& best) const noexcept;

    std::vector<std::uint64_t> m_centers; ///< addresses of the nodes
    std::vector<node_t> m_nodes;
    std::vector<version_t> m_versions;
    ReachTree m_reach;
};

} // namespace jitlens_3_13
