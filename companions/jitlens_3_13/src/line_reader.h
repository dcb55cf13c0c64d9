#pragma once

#include "dump_reader.h"

// Debug information records of a jitdump: prefix, code address, number of entries, and per entry an
// address, a line and a discriminator of 32 bits, and the NUL-terminated name of a file.
namespace jitlens_3_13 {

/// Whether a debug information record holds the entries that it claims, and behind them zeros at
/// most. Some writers put bytes of another string in place of names; what is left over then tells.
bool isWholeLineRecord(bytes_t record);

/// How much too high the writer of the dump gives the addresses of lines. The dump's header is
/// whole.
std::uint64_t lineAddressShift(bytes_t dump);

/// Adds the entries of `record`, a whole one inside `dump` or nothing, that lie in the function at
/// `address`, ordered by address.
void appendLines(bytes_t dump, bytes_t record, std::uint64_t address,
                 const dump_function_t& function, std::uint64_t shift,
                 std::vector<dump_line_t>& lines);

} // namespace jitlens_3_13
