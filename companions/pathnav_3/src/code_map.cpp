#include "code_map.h"

#include "overlap.h"
#include "sweep.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

namespace pathnav_3 {
namespace {

/// Code is decoded in pieces of at most this, so that a function that claims to be huge costs no
/// more than a large one.
constexpr std::uint64_t g_maxPieceBytes = std::uint64_t{1} << 20;

} // namespace

CodeMap::CodeMap(ObjectPtr<IDataSource> source) : m_source(std::move(source)) {}

Piece* CodeMap::pieceAt(std::uint64_t rva)
{
    Piece* piece = decodedPiece(rva);
    code_range_t range;
    if (piece == nullptr && !findRange(rva, range)) return nullptr;
    // A piece may end before the address, where an instruction is cut off or bytes are missing.
    for (; piece == nullptr; piece = decodedPiece(rva)) {
        const stretch_t around = undecodedAround(rva, range);
        // What stands before is worth decoding when it is not too much: it tells where instructions
        // start.
        const bool isNear = rva - around.start < g_maxPieceBytes;
        decode(isNear ? around.start : rva, around.end);
    }
    return piece;
}

Block* CodeMap::firstFrom(std::uint64_t rva, Piece*& piece)
{
    for (;;) {
        piece = pieceAt(rva);
        code_range_t next;
        if (piece == nullptr && findNextRange(rva, next)) {
            rva = next.start;
            piece = pieceAt(rva);
        }
        if (piece == nullptr) return nullptr;
        Block* block = piece->firstFrom(rva);
        if (block != nullptr) return block;
        rva = piece->end();
    }
}

bool CodeMap::findRange(std::uint64_t rva, code_range_t& range) const
{
    return m_source->findCode(rva, range) && range.start <= rva && rva < range.end;
}

bool CodeMap::isCode(std::uint64_t rva) const
{
    code_range_t range;
    std::byte first;
    return findRange(rva, range) && m_source->readCode(rva, {&first, 1}) == 1;
}

bool CodeMap::findNextRange(std::uint64_t rva, code_range_t& range) const
{
    return m_source->findNextCode(rva, range) && rva <= range.start && range.start < range.end;
}

Piece* CodeMap::decodedPiece(std::uint64_t rva)
{
    const auto behind = m_pieces.upper_bound(rva);
    if (behind == m_pieces.begin()) return nullptr;
    Piece& piece = std::prev(behind)->second;
    return piece.holds(rva) ? &piece : nullptr;
}

CodeMap::stretch_t CodeMap::undecodedAround(std::uint64_t rva, const code_range_t& range) const
{
    stretch_t stretch{range.start, range.end};
    const auto behind = m_pieces.upper_bound(rva);
    if (behind != m_pieces.end()) stretch.end = std::min(stretch.end, behind->first);
    if (behind != m_pieces.begin())
        stretch.start = std::max(stretch.start, std::prev(behind)->second.end());
    return stretch;
}

void CodeMap::decode(std::uint64_t start, std::uint64_t end)
{
    const std::uint64_t wanted = std::min(end - start, g_maxPieceBytes);
    if (m_bytes.size() < wanted) m_bytes.resize(wanted);
    const std::span<std::byte> bytes = std::span(m_bytes).first(wanted);
    const std::size_t got = std::min(m_source->readCode(start, bytes), bytes.size());
    Piece& piece = m_pieces.try_emplace(start, m_blocks, start, end).first->second;
    if (got == 0) return; // nothing up to the end
    std::vector<std::uint64_t> targets;
    const bool isCutOff = got == wanted && wanted < end - start;
    sweep(m_reader, bytes.first(got), isCutOff, piece, targets);
    closeEnd(piece);
    takePending(piece, targets);
    beginBlocks(targets);
}

void CodeMap::closeEnd(Piece& piece)
{
    Block* last = piece.last();
    if (last->parts().kind == terminator_t::fallThrough && !isCode(piece.end())) last->endCode();
}

void CodeMap::takePending(const Piece& piece, std::vector<std::uint64_t>& targets)
{
    const auto first = m_pending.lower_bound(piece.start());
    const auto behind = m_pending.lower_bound(piece.end());
    targets.insert(targets.end(), first, behind);
    m_pending.erase(first, behind);
}

void CodeMap::beginBlocks(std::vector<std::uint64_t>& targets)
{
    Piece* piece = nullptr; // mostly the same again
    while (!targets.empty()) {
        const std::uint64_t target = targets.back();
        targets.pop_back();
        if (piece == nullptr || !piece->holds(target)) piece = decodedPiece(target);
        if (piece == nullptr)
            m_pending.insert(target);
        else if (!piece->isEmpty() && !piece->cutAt(target))
            addOverlap(m_reader, *m_source, target, *piece, targets);
    }
}

} // namespace pathnav_3
