#pragma once

#include <GLYPH_3_30/module_symbol_bank.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace glyph_test {

/// Opens the bytes and asks for everything that a bank can tell, at up to `addresses` places, and
/// reads every text of the answers. Returns a number made of them. Aborts when an answer
/// contradicts itself.
std::uint64_t askAll(std::span<const std::byte> bytes, std::size_t addresses);

} // namespace glyph_test
