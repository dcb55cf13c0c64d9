#pragma once

#include "instruction_reader.h"
#include "piece.h"

#include <pathnav_3/data_source.h>
#include <pathnav_3/object_ptr.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace pathnav_3 {

/// The code of a source as far as it has been decoded, which goes on as it is asked for. Pieces and
/// blocks stay where they are.
class CodeMap {
public:
    explicit CodeMap(ObjectPtr<IDataSource> source);

    /// The piece that holds the address, decoded by the first question for it. Null where there is
    /// no code.
    Piece* pieceAt(std::uint64_t rva);
    /// The first block that starts at `rva` or behind it, with its piece. Null when there is none.
    Block* firstFrom(std::uint64_t rva, Piece*& piece);
    const IDataSource& source() const noexcept { return *m_source; }

private:
    struct stretch_t {
        std::uint64_t start;
        std::uint64_t end;
    };

    bool findRange(std::uint64_t rva, code_range_t& range) const;
    bool isCode(std::uint64_t rva) const;
    bool findNextRange(std::uint64_t rva, code_range_t& range) const;
    Piece* decodedPiece(std::uint64_t rva);
    stretch_t undecodedAround(std::uint64_t rva, const code_range_t& range) const;
    void decode(std::uint64_t start, std::uint64_t end);
    void closeEnd(Piece& piece);
    void takePending(const Piece& piece, std::vector<std::uint64_t>& targets);
    void beginBlocks(std::vector<std::uint64_t>& targets);

    ObjectPtr<IDataSource> m_source;
    InstructionReader m_reader;
    block_store_t m_blocks;
    std::map<std::uint64_t, Piece> m_pieces; ///< by start; they do not overlap
    std::set<std::uint64_t> m_pending;       ///< targets in code that is not decoded
    std::vector<std::byte> m_bytes;          ///< of the piece in hand
};

} // namespace pathnav_3
