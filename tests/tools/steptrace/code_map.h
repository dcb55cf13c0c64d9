// Where a process has executable memory.
#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace steptrace {

/// A line of /proc/PID/maps.
struct CodeMapping {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint64_t offset = 0; ///< in the file
    std::uint64_t inode = 0;
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t protection = 0; ///< PROT_ bits
    std::uint32_t flags = 0;      ///< MAP_ bits
    std::string name;             ///< "//anon" without one, as perf writes it

    bool operator==(const CodeMapping&) const = default;
};

/// Executable mappings of a process by address. The page for old system calls is left out: it lies
/// in the kernel's half. Empty when the process is gone.
std::vector<CodeMapping> codeMappings(pid_t pid);

} // namespace steptrace
