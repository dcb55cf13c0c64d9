#pragma once

#include <cstdint>

// Status numbers of operations on modules and files. They are apart from error_code_t, in which 0
// is success.
namespace toolbelt2 {

using status_t = std::int32_t;

namespace status {
inline constexpr status_t success = 1;
inline constexpr status_t failureBit = 0x40000000;
inline constexpr status_t fileNotFound = 0x40000001;
inline constexpr status_t cannotRead = 0x40000002;  ///< the file is there and makes no sense
inline constexpr status_t cannotWrite = 0x40000003; ///< disk full, no permission and the like
inline constexpr status_t missingObject = 0x4000006a;
} // namespace status

/// False when the bit that marks failures is set.
constexpr bool is_success(status_t value) noexcept
{
    return (value & status::failureBit) == 0;
}

} // namespace toolbelt2
