#include "region_index.h"

#include <algorithm>
#include <utility>

namespace jitlens_3_13 {

RegionIndex::RegionIndex(std::vector<version_t> versions)
{
    makeCenters(versions);
    fillNodes(versions);
    linkUp(0, m_nodes.size(), g_none);
    m_reach = ReachTree(m_versions);
}

void RegionIndex::makeCenters(const std::vector<version_t>& versions)
{
    m_centers.reserve(versions.size());
    for (const version_t& version : versions)
        m_centers.push_back(version.first);
    std::sort(m_centers.begin(), m_centers.end());
    m_centers.erase(std::unique(m_centers.begin(), m_centers.end()), m_centers.end());
    m_centers.shrink_to_fit();
}

void RegionIndex::fillNodes(const std::vector<version_t>& versions)
{
    m_nodes.resize(m_centers.size());
    std::vector<std::uint32_t> nodes(versions.size());
    for (std::size_t i = 0; i < versions.size(); ++i) {
        nodes[i] = static_cast<std::uint32_t>(nodeOf(versions[i]));
        ++m_nodes[nodes[i]].end;
    }
    std::uint32_t next = 0;
    for (node_t& node : m_nodes) {
        node.begin = next;
        next += std::exchange(node.end, next);
    }
    m_versions.resize(versions.size());
    for (std::size_t i = 0; i < versions.size(); ++i) {
        node_t& node = m_nodes[nodes[i]];
        node.first = std::min(node.first, versions[i].first);
        node.last = std::max(node.last, versions[i].last);
        m_versions[node.end++] = versions[i];
    }
    for (const node_t& node : m_nodes)
        std::sort(m_versions.begin() + node.begin, m_versions.begin() + node.end,
                  [](const version_t& a, const version_t& b) { return a.loadTime < b.loadTime; });
}

/// Links the nodes [begin, end), which are the subtree below `parent`.
void RegionIndex::linkUp(std::size_t begin, std::size_t end, std::uint32_t parent)
{
    if (begin == end) return;
    // A search ends in the subtree for addresses from the node before it up to the node behind it.
    const std::uint64_t first = begin == 0 ? 0 : m_centers[begin - 1];
    const std::uint64_t last = end == m_centers.size() ? g_forever : m_centers[end] - 1;
    const auto reaches = [&](const node_t& n) { return n.first <= last && first <= n.last; };
    while (parent != g_none && !reaches(m_nodes[parent]))
        parent = m_nodes[parent].up;
    const std::size_t middle = begin + (end - begin) / 2;
    const auto own = static_cast<std::uint32_t>(middle);
    m_nodes[middle].up = parent;
    // Deeper nodes come later. Of two neighbours one is below the other.
    m_nodes[middle].deepest = own;
    if (middle > 0) m_nodes[middle - 1].deepest = own;
    linkUp(begin, middle, own);
    linkUp(middle + 1, end, own);
}

std::size_t RegionIndex::nodeOf(const version_t& version) const
{
    std::size_t begin = 0;
    std::size_t end = m_centers.size();
    for (;;) { // ends at the node of the version's own first address at the latest
        const std::size_t middle = begin + (end - begin) / 2;
        if (version.holds(m_centers[middle])) return middle;
        if (m_centers[middle] < version.first)
            begin = middle + 1;
        else
            end = middle;
    }
}

/// The node with the highest address that is not above `address`, which the first is not.
std::size_t RegionIndex::lastUpTo(std::uint64_t address) const noexcept
{
    // Without a branch on the comparison, which would be guessed wrong half of the times.
    std::size_t begin = 0;
    for (std::size_t count = m_centers.size(); count > 1;) {
        const std::size_t half = count / 2;
        begin += m_centers[begin + half] <= address ? half : 0;
        count -= half;
    }
    return begin;
}

const version_t* RegionIndex::find(std::uint64_t time, std::uint64_t address) const noexcept
{
    if (m_centers.empty() || address < m_centers.front()) return nullptr;
    std::uint32_t next = m_nodes[lastUpTo(address)].deepest;
    while (next != g_none) {
        const node_t& node = m_nodes[next];
        if (node.first <= address && address <= node.last) {
            const version_t* version = newestAt(node, time);
            if (version != nullptr && version->holds(address) && version->isThere(time))
                return version;
        }
        next = node.up;
    }
    return nullptr;
}

const version_t* RegionIndex::findEarliest(std::uint64_t time, std::uint64_t first,
                                           std::uint64_t last) const noexcept
{
    const version_t* best = nullptr;
    visit(0, m_nodes.size(), time, {first, last}, best);
    return best;
}

const version_t* RegionIndex::newestAt(const node_t& node, std::uint64_t time) const noexcept
{
    const version_t* begin = m_versions.data() + node.begin;
    const version_t* end = m_versions.data() + node.end;
    const version_t* after = std::upper_bound(
        begin, end, time, [](std::uint64_t t, const version_t& v) { return t < v.loadTime; });
    return after == begin ? nullptr : after - 1;
}

const version_t* RegionIndex::earliestIn(const node_t& node, std::uint64_t time,
                                         range_t range) const noexcept
{
    const version_t* begin = m_versions.data() + node.begin;
    const version_t* end = m_versions.data() + node.end;
    const version_t* left = std::partition_point(
        begin, end, [time](const version_t& version) { return version.endsBy(time); });
    const auto position = static_cast<std::size_t>(left - m_versions.data());
    const std::size_t found =
        m_reach.firstOverlapping(m_versions, position, node.end, range.first, range.last);
    return found == node.end ? nullptr : m_versions.data() + found;
}

void RegionIndex::visit(std::size_t begin, std::size_t end, std::uint64_t time, range_t range,
                        const version_t*& best) const noexcept
{
    if (begin == end) return;
    const std::size_t middle = begin + (end - begin) / 2;
    const node_t& node = m_nodes[middle];
    if (range.first < m_centers[middle]) visit(begin, middle, time, range, best);
    if (node.first <= range.last && range.first <= node.last) {
        const version_t* found = earliestIn(node, time, range);
        if (found != nullptr && (best == nullptr || found->loadTime < best->loadTime ||
                                 (found->loadTime == best->loadTime && found->first < best->first)))
            best = found;
    }
    if (m_centers[middle] < range.last) visit(middle + 1, end, time, range, best);
}

} // namespace jitlens_3_13
