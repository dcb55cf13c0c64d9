#pragma once

#include <cstdint>

namespace GLYPH_3_30 {

/// Result of an operation: 0 is success, the bit `failure` marks a failure. Other values are
/// answers with a reservation.
using status_t = std::uint32_t;

namespace status {
inline constexpr status_t success = 0;
inline constexpr status_t guessedEnd = 1; ///< the symbol tells no size; its end is a guess
inline constexpr status_t failure = 0x10000000;
inline constexpr status_t badArgument = failure | 1; ///< a null object or text
inline constexpr status_t notFound = failure | 2;    ///< nothing of that kind there
inline constexpr status_t refused = failure | 3;     ///< the file is unusable or does not fit
inline constexpr status_t tooLate = failure | 4;     ///< symbols were read already
} // namespace status

} // namespace GLYPH_3_30
