#include "sweep.h"

namespace pathnav_3 {

void sweep(const InstructionReader& reader, std::span<const std::byte> bytes, bool isCutOff,
           Piece& piece, std::vector<std::uint64_t>& targets)
{
    piece.reserveBytes(bytes.size());
    const std::uint64_t first = piece.start();
    const std::size_t slack = isCutOff ? g_maxInstructionBytes : 0;
    block_t block;
    block.start = first;
    std::size_t at = 0;
    while (at + slack < bytes.size()) {
        const instruction_t instruction = reader.read(bytes.subspan(at), first + at);
        piece.addInstruction(first + at);
        block.last = first + at;
        at += instruction.size;
        if (!instruction.isTerminator) continue;
        if (instruction.target != IBasicBlock::unknownTarget) targets.push_back(instruction.target);
        block.end = first + at;
        block.kind = instruction.kind;
        block.target = instruction.target;
        piece.addBlock(block);
        block = {};
        block.start = first + at;
    }
    piece.endAt(first + at);
    if (block.start == first + at) return;
    block.end = first + at;
    piece.addBlock(block);
}

} // namespace pathnav_3
