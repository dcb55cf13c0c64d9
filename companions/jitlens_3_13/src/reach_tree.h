#pragma once

#include "timeline.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace jitlens_3_13 {

/// Finds, in a stretch of versions that all hold one address, the next that overlaps a range, in
/// logarithmic time. It keeps the addresses that blocks of versions reach over, in a binary tree.
class ReachTree {
public:
    ReachTree() = default;
    explicit ReachTree(const std::vector<version_t>& versions);

    /// Position of the first version in [begin, end) that overlaps the addresses [first, last];
    /// `end` when there is none. `versions` are those that the tree was made of.
    std::size_t firstOverlapping(const std::vector<version_t>& versions, std::size_t begin,
                                 std::size_t end, std::uint64_t first,
                                 std::uint64_t last) const noexcept;

private:
    struct reach_t {
        std::uint64_t lowest = ~std::uint64_t{0};
        std::uint64_t highest = 0;

        bool meets(std::uint64_t first, std::uint64_t last) const noexcept
        {
            return lowest <= last && first <= highest;
        }
    };

    std::size_t nextBlock(std::size_t block, std::uint64_t first,
                          std::uint64_t last) const noexcept;

    std::size_t m_leaves = 0;     ///< a power of two
    std::vector<reach_t> m_nodes; ///< children of i are 2i and 2i+1, the leaves begin at m_leaves
};

} // namespace jitlens_3_13
