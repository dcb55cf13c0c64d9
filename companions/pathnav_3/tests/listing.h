#pragma once

#include <pathnav_3/basic_block.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What objdump says about the instructions of a binary.
namespace pathnav_test {

struct listed_t {
    std::uint64_t address = 0;
    pathnav_3::terminator_t kind = pathnav_3::terminator_t::fallThrough; ///< that: no terminator
    std::uint64_t target = pathnav_3::IBasicBlock::unknownTarget;
    std::string mnemonic;
    bool isJunk = false; ///< "(bad)", or a prefix without an instruction
};

/// The instruction of a line of objdump -d --no-show-raw-insn; false when the line has none.
bool parseListed(std::string_view line, listed_t& listed);

/// All instructions of the binary at `path`, or those from `start` on up to `end`, by address.
/// Empty when there is no objdump.
std::vector<listed_t> listInstructions(const std::string& path, std::uint64_t start = 0,
                                       std::uint64_t end = 0);

} // namespace pathnav_test
