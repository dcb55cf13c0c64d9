// The software call chain of a sample.
#pragma once

#include "tracee.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace steptrace {

/// The chain as the kernel finds it: the address in the registers, then return addresses along the
/// frame pointers, `cap` addresses at most. Memory that can be read is all it asks for, so that
/// code without frame pointers leaves out callers or leads astray.
std::vector<std::uint64_t> framePointerChain(const Tracee& tracee, std::size_t cap);

} // namespace steptrace
