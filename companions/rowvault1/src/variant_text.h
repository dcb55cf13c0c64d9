#pragma once

#include <toolbelt2/variant.h>

#include <string>
#include <string_view>

// Values of any kind as two texts: the kind's name, and the value such that it is read back to the
// bit.
namespace rowvault1 {

std::string_view kindName(tb2::variant_t::kind_t kind);
/// Decimal numbers, texts as they are, nothing for null.
std::string variantText(const tb2::variant_t& value);
/// The value of both texts; null where they make no sense.
tb2::variant_t variantOf(std::string_view kind, std::string_view text);

} // namespace rowvault1
