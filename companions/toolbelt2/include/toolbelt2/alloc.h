#pragma once

#include <toolbelt2/export.h>

#include <cstddef>

namespace toolbelt2::alloc {

/// Room of `bytes` bytes, aligned to 64, from the process-wide pool. Throws std::bad_alloc when
/// there is none. Give it back with pool_free and the same size. Any thread.
TOOLBELT2_API void* pool_allocate(std::size_t bytes);

/// Gives room back to the pool, which may keep it for later. `memory` may be null. Any thread.
TOOLBELT2_API void pool_free(void* memory, std::size_t bytes) noexcept;

} // namespace toolbelt2::alloc
