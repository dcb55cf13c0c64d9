#pragma once

#include <jitlens_3_13/export.h>

namespace jitlens_3_13 {

/// Non-zero when the file at `path` is a native image: an ELF file that is executable or shared
/// (ET_EXEC, ET_DYN). 0 for every other file and for one that cannot be read. Any thread.
JITLENS_API int isNativeImage(const char* path) noexcept;

} // namespace jitlens_3_13
