#pragma once

#include <elfutils/libdw.h>

#include <cstdint>

// What entries of the debug information say about themselves.
namespace GLYPH_3_30 {

/// The attribute `name` as a number; 0 when it is missing or too large.
std::uint32_t numberOf(Dwarf_Die& die, unsigned name);

/// The name of a function: the mangled one if there is one, which `isMangled` tells, else the plain
/// one; empty without any.
const char* functionName(Dwarf_Die& die, bool& isMangled);

/// Whether the language of the unit has names that differ from those that the linker knows.
bool isManglingLanguage(Dwarf_Die& unit);

} // namespace GLYPH_3_30
