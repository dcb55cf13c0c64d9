#pragma once

#include "block.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <vector>

namespace pathnav_3 {

/// Blocks of all pieces. They stay where they are.
using block_store_t = std::deque<Block>;

/// Addresses [start, end) that were decoded in one go, with their blocks: those of the sweep, which
/// cover all of it, and overlapping ones, which are entered in the middle of an instruction of the
/// sweep.
class Piece {
public:
    /// A piece without a byte, until the sweep fills it. Its blocks go to `store`, which outlives
    /// it.
    Piece(block_store_t& store, std::uint64_t start, std::uint64_t end)
        : m_store(store), m_start(start), m_end(end)
    {
    }

    std::uint64_t start() const noexcept { return m_start; }
    std::uint64_t end() const noexcept { return m_end; }
    bool holds(std::uint64_t rva) const noexcept { return m_start <= rva && rva < m_end; }
    bool isEmpty() const noexcept { return m_last == nullptr; }

    /// The block of an address of the piece: the one that begins there, else an overlapping one
    /// with an instruction there, else that of the sweep. Null when the piece is empty.
    Block* find(std::uint64_t rva);
    /// The first block that starts at `rva` or behind it; null when there is none.
    Block* firstFrom(std::uint64_t rva);
    /// The last block of the sweep; null when the piece is empty.
    Block* last() noexcept { return m_last; }

    /// Whether the start of an instruction that is in a block.
    bool isInstruction(std::uint64_t rva) const noexcept;
    /// Makes a block begin at an instruction of the piece, which is not empty. False when no
    /// instruction starts at `rva`.
    bool cutAt(std::uint64_t rva);

    // Filling by the sweep: room for `bytes`, then instructions and blocks by address, then where
    // it ended.
    void reserveBytes(std::size_t bytes);
    void addInstruction(std::uint64_t rva) noexcept
    {
        const std::uint64_t at = rva - m_start;
        m_instructions[at / 64] |= std::uint64_t{1} << at % 64;
    }
    void addBlock(const block_t& block);
    void endAt(std::uint64_t end) noexcept { m_end = end; }

    /// Adds an overlapping run of instructions as one block. They may reach behind the end.
    void addOverlap(const block_t& block, const std::vector<std::uint64_t>& instructions);

private:
    struct overlaps_t {
        std::map<std::uint64_t, Block*> blocks;      ///< by start
        std::map<std::uint64_t, std::size_t> runs;   ///< which run an instruction is of
        std::vector<std::set<std::uint64_t>> starts; ///< per run: where its blocks begin
    };

    Block& sweptAt(std::uint64_t rva) const noexcept;
    void index(Block& block) noexcept;
    bool isSwept(std::uint64_t rva) const noexcept;
    std::uint64_t sweptBefore(std::uint64_t rva) const noexcept;
    bool cutOverlap(std::uint64_t rva);
    Block* overlapWithInstruction(std::uint64_t rva) const;

    block_store_t& m_store;
    std::uint64_t m_start;
    std::uint64_t m_end;
    Block* m_last = nullptr;
    std::vector<Block*>
        m_index; ///< per so many bytes: the block of the sweep with the first of them
    std::vector<std::uint64_t>
        m_instructions;                     ///< a bit per byte: an instruction of the sweep starts
    std::unique_ptr<overlaps_t> m_overlaps; ///< rarely there
};

} // namespace pathnav_3
