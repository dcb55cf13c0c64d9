#pragma once

#include "byte_reader.h"

#include <jitlens_3_13/jit_loader.h>

#include <cstdint>
#include <string>
#include <vector>

// Reader of jitdump files: what the records say, before it is put in the order of time. All places
// are offsets into the file's bytes.
namespace jitlens_3_13 {

inline constexpr std::size_t g_dumpMagicBytes = 4;

/// A load record.
struct dump_function_t {
    std::uint32_t code = 0; ///< place of its bytes, which is its first relative address
    std::uint32_t size = 0;
    std::uint32_t name = 0;
    std::uint32_t nameSize = 0;
    std::uint32_t linesBegin = 0; ///< its stretch of dump_t::lines, by address
    std::uint32_t linesEnd = 0;
};

/// An entry of a debug information record.
struct dump_line_t {
    std::uint32_t rva = 0;
    std::uint32_t line = 0;
    std::uint32_t file = 0;
    std::uint32_t fileSize = 0;
};

/// A load or move record by its place in time.
struct dump_event_t {
    std::uint64_t time = 0;
    std::uint32_t place = 0;    ///< of the record
    std::uint32_t function = 0; ///< index of what is loaded; g_isMove for a move
};
inline constexpr std::uint32_t g_isMove = ~std::uint32_t{0};

/// The fields of a load or move record that the order of time needs.
struct dump_load_t {
    std::uint64_t address = 0;
    std::uint64_t index = 0;
};
struct dump_move_t {
    std::uint64_t oldAddress = 0;
    std::uint64_t newAddress = 0;
    std::uint64_t size = 0;
    std::uint64_t index = 0;
};
dump_load_t loadAt(bytes_t bytes, std::uint32_t place);
dump_move_t moveAt(bytes_t bytes, std::uint32_t place);

struct dump_t {
    bool usable = false; ///< the header was understood
    clock_t clock = clock_t::none;
    std::vector<dump_function_t> functions; ///< in the order of the file
    std::vector<dump_line_t> lines;
    std::vector<dump_event_t> events; ///< in the order of the file
    std::uint64_t skipped = 0;
    std::string fault; ///< where and why reading ended early; empty when all was read
};

/// Whether a file with these first bytes is meant to be a jitdump, of this byte order or the other.
bool looksLikeDump(bytes_t bytes);

/// Reads a jitdump of at most g_maxDumpBytes. Never throws for what the bytes say.
dump_t readDump(bytes_t bytes);

} // namespace jitlens_3_13
