#pragma once

#include <PORTA_2_18/export.h>

#include <string>
#include <string_view>

namespace PORTA_2_18::generic {

/// `text` with control characters and line breaks shown as \xNN, so that a name out of an input
/// cannot move the cursor of a terminal. Letters of other languages stay. Any thread.
PORTA_2_18_API std::string printable(std::string_view text);

} // namespace PORTA_2_18::generic
