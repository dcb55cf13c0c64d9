#include "reach_tree.h"

#include <algorithm>
#include <bit>

namespace jitlens_3_13 {
namespace {

constexpr std::size_t g_blockSize = 16;

} // namespace

ReachTree::ReachTree(const std::vector<version_t>& versions)
    : m_leaves(std::bit_ceil(versions.size() / g_blockSize + 1)), m_nodes(2 * m_leaves)
{
    for (std::size_t i = 0; i < versions.size(); ++i) {
        reach_t& leaf = m_nodes[m_leaves + i / g_blockSize];
        leaf.lowest = std::min(leaf.lowest, versions[i].first);
        leaf.highest = std::max(leaf.highest, versions[i].last);
    }
    for (std::size_t i = m_leaves - 1; i > 0; --i)
        m_nodes[i] = {std::min(m_nodes[2 * i].lowest, m_nodes[2 * i + 1].lowest),
                      std::max(m_nodes[2 * i].highest, m_nodes[2 * i + 1].highest)};
}

std::size_t ReachTree::firstOverlapping(const std::vector<version_t>& versions, std::size_t begin,
                                        std::size_t end, std::uint64_t first,
                                        std::uint64_t last) const noexcept
{
    while (begin < end) {
        const std::size_t blockEnd = std::min(end, (begin / g_blockSize + 1) * g_blockSize);
        for (; begin < blockEnd; ++begin)
            if (versions[begin].first <= last && first <= versions[begin].last) return begin;
        if (begin < end) begin = nextBlock(begin / g_blockSize, first, last) * g_blockSize;
    }
    return end;
}

/// The first block from `block` on that has a version in the range, or the number of leaves.
std::size_t ReachTree::nextBlock(std::size_t block, std::uint64_t first,
                                 std::uint64_t last) const noexcept
{
    std::size_t node = m_leaves + block;
    while (!m_nodes[node].meets(first, last)) {
        while ((node & 1) != 0) // a right child: the subtree of its parent is done too
            node /= 2;
        if (node == 0) return m_leaves;
        ++node;
    }
    while (node < m_leaves) {
        node *= 2;
        if (!m_nodes[node].meets(first, last)) ++node;
    }
    return node - m_leaves;
}

} // namespace jitlens_3_13
