#include "overlap.h"

#include <array>
#include <cstddef>
#include <span>

namespace pathnav_3 {
namespace {

/// The bytes at addresses that rise.
class CodeWindow {
public:
    explicit CodeWindow(const IDataSource& source) : m_source(source) {}

    /// The bytes from `rva` on: as many as an instruction may have, or all that are left.
    std::span<const std::byte> from(std::uint64_t rva)
    {
        if (m_count == 0 || rva - m_first + g_maxInstructionBytes > m_count) {
            m_first = rva;
            m_count = m_source.readCode(rva, m_bytes);
        }
        return std::span<const std::byte>(m_bytes).first(m_count).subspan(rva - m_first);
    }

private:
    const IDataSource& m_source;
    std::array<std::byte, 256> m_bytes;
    std::uint64_t m_first = 0;
    std::size_t m_count = 0;
};

} // namespace

void addOverlap(const InstructionReader& reader, const IDataSource& source, std::uint64_t rva,
                Piece& piece, std::vector<std::uint64_t>& targets)
{
    CodeWindow window(source);
    std::vector<std::uint64_t> instructions;
    block_t block;
    block.start = rva;
    block.end = rva;
    while (piece.holds(block.end) && !piece.isInstruction(block.end)) {
        const instruction_t instruction = reader.read(window.from(block.end), block.end);
        instructions.push_back(block.end);
        block.last = block.end;
        block.end += instruction.size;
        block.kind = instruction.kind;
        block.target = instruction.target;
        if (instruction.isTerminator) break;
    }
    code_range_t behind;
    const bool isCutOff = block.kind == terminator_t::fallThrough && !piece.holds(block.end);
    if (isCutOff && !source.findCode(block.end, behind)) block.kind = terminator_t::invalid;
    if (block.target != IBasicBlock::unknownTarget) targets.push_back(block.target);
    if (mayRunOn(block.kind)) targets.push_back(block.end);
    piece.addOverlap(block, instructions);
}

} // namespace pathnav_3
