#pragma once

#include <pathnav_3/basic_block.h>

#include <cstdint>

namespace pathnav_3 {

/// What a block is made of.
struct block_t {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint64_t last = 0; ///< address of the last instruction
    terminator_t kind = terminator_t::fallThrough;
    std::uint64_t target = IBasicBlock::unknownTarget;
};

class Block final : public IBasicBlock {
public:
    explicit Block(const block_t& parts) : m_parts(parts) {}
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block() = default;

    std::uint64_t getStart() const noexcept override { return m_parts.start; }
    std::uint64_t getSize() const noexcept override { return m_parts.end - m_parts.start; }
    std::int32_t getTerminatorKind() const noexcept override
    {
        return static_cast<std::int32_t>(m_parts.kind);
    }
    std::uint64_t getTarget() const noexcept override { return m_parts.target; }
    std::uint64_t getLastInstruction() const noexcept override { return m_parts.last; }
    bool isTargetExcluded() const noexcept override { return m_parts.kind == terminator_t::call; }
    std::uint64_t& visitMark() noexcept override { return m_mark; }

    const block_t& parts() const noexcept { return m_parts; }
    /// The block of the same sweep that begins where this one ends; null behind the last.
    Block* next() const noexcept { return m_next; }
    void setNext(Block* next) noexcept { m_next = next; }
    /// Ends the block before the instruction at `end`; the one before that is at `last`. Returns
    /// the rest.
    block_t cut(std::uint64_t last, std::uint64_t end) noexcept
    {
        block_t rest = m_parts;
        rest.start = end;
        m_parts = {m_parts.start, end, last, terminator_t::fallThrough, unknownTarget};
        return rest;
    }

    /// Nothing stands behind the block.
    void endCode() noexcept { m_parts.kind = terminator_t::invalid; }
    /// Whether its call comes back, which `ask` tells the first time.
    template <class Ask>
    bool comesBack(const Ask& ask)
    {
        if (m_return == return_t::unasked) m_return = ask() ? return_t::comes : return_t::never;
        return m_return == return_t::comes;
    }

private:
    enum class return_t : std::uint8_t { unasked, comes, never };

    block_t m_parts;
    return_t m_return = return_t::unasked;
    std::uint64_t m_mark = 0;
    Block* m_next = nullptr;
};

} // namespace pathnav_3
