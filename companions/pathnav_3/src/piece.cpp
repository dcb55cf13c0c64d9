#include "piece.h"

#include <iterator>

namespace pathnav_3 {
namespace {

/// Bytes per entry of the index; a look-up passes over no more blocks than that.
constexpr std::uint64_t g_indexStep = 64;

} // namespace

Block* Piece::find(std::uint64_t rva)
{
    if (isEmpty()) return nullptr;
    Block& swept = sweptAt(rva);
    if (m_overlaps == nullptr || isSwept(rva)) return &swept;
    Block* overlap = overlapWithInstruction(rva);
    return overlap != nullptr ? overlap : &swept;
}

Block* Piece::firstFrom(std::uint64_t rva)
{
    Block* first = nullptr;
    if (!isEmpty() && rva < m_end) {
        first = &sweptAt(rva);
        if (first->getStart() < rva) first = first->next();
    }
    if (m_overlaps == nullptr) return first;
    const auto overlap = m_overlaps->blocks.lower_bound(rva);
    if (overlap == m_overlaps->blocks.end()) return first;
    const bool isSooner = first == nullptr || overlap->first < first->getStart();
    return isSooner ? overlap->second : first;
}

bool Piece::isInstruction(std::uint64_t rva) const noexcept
{
    return isSwept(rva) || (m_overlaps != nullptr && m_overlaps->runs.count(rva) != 0);
}

bool Piece::cutAt(std::uint64_t rva)
{
    if (!isSwept(rva)) return cutOverlap(rva);
    Block& block = sweptAt(rva);
    if (block.getStart() == rva) return true;
    Block& rest = m_store.emplace_back(block.cut(sweptBefore(rva), rva));
    rest.setNext(block.next());
    block.setNext(&rest);
    if (m_last == &block) m_last = &rest;
    index(rest);
    return true;
}

bool Piece::cutOverlap(std::uint64_t rva)
{
    Block* block = m_overlaps != nullptr ? overlapWithInstruction(rva) : nullptr;
    if (block == nullptr || block->getStart() == rva) return block != nullptr;
    // The one before it in the same run is at most an instruction's length away.
    auto before = m_overlaps->runs.find(rva);
    const std::size_t run = before->second;
    do
        --before;
    while (before->second != run);
    m_overlaps->blocks.emplace(rva, &m_store.emplace_back(block->cut(before->first, rva)));
    m_overlaps->starts[run].insert(rva);
    return true;
}

void Piece::reserveBytes(std::size_t bytes)
{
    m_instructions.assign(bytes / 64 + 1, 0);
    m_index.assign(bytes / g_indexStep + 1, nullptr);
}

void Piece::addBlock(const block_t& block)
{
    Block& added = m_store.emplace_back(block);
    if (m_last != nullptr) m_last->setNext(&added);
    m_last = &added;
    index(added);
}

void Piece::addOverlap(const block_t& block, const std::vector<std::uint64_t>& instructions)
{
    if (m_overlaps == nullptr) m_overlaps = std::make_unique<overlaps_t>();
    for (const std::uint64_t instruction : instructions)
        m_overlaps->runs.emplace(instruction, m_overlaps->starts.size());
    m_overlaps->starts.push_back({block.start});
    m_overlaps->blocks.emplace(block.start, &m_store.emplace_back(block));
}

Block& Piece::sweptAt(std::uint64_t rva) const noexcept
{
    Block* block = m_index[(rva - m_start) / g_indexStep];
    while (block->parts().end <= rva)
        block = block->next();
    return *block;
}

void Piece::index(Block& block) noexcept
{
    const std::uint64_t first = (block.getStart() - m_start + g_indexStep - 1) / g_indexStep;
    const std::uint64_t last = (block.parts().end - 1 - m_start) / g_indexStep;
    for (std::uint64_t at = first; at <= last; ++at)
        m_index[at] = &block;
}

bool Piece::isSwept(std::uint64_t rva) const noexcept
{
    const std::uint64_t at = rva - m_start;
    return at / 64 < m_instructions.size() && (m_instructions[at / 64] >> at % 64 & 1) != 0;
}

std::uint64_t Piece::sweptBefore(std::uint64_t rva) const noexcept
{
    do
        --rva;
    while (!isSwept(rva));
    return rva;
}

Block* Piece::overlapWithInstruction(std::uint64_t rva) const
{
    const auto run = m_overlaps->runs.find(rva);
    if (run == m_overlaps->runs.end()) return nullptr;
    const std::set<std::uint64_t>& starts = m_overlaps->starts[run->second];
    return m_overlaps->blocks.find(*std::prev(starts.upper_bound(rva)))->second;
}

} // namespace pathnav_3
