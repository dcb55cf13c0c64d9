#include <rowvault1/index.h>

#include <PORTA_2_18/assert.h>

namespace rowvault1::utils {

Index variantToIndex(const tb2::variant_t& value)
{
    if (value.is_null()) return Index();
    if (value.is_s32_readable() || value.is_s64_readable())
        return Index(static_cast<std::int32_t>(value.integer_bits()));
    PORTA_ASSERT_TEXT(false, "Variant cannot be converted to db index - type mismatch");
    return Index();
}

std::string variantToString(const tb2::variant_t& value)
{
    const bool isText = value.kind() == tb2::variant_t::kind_t::text;
    PORTA_ASSERT_TEXT(isText || value.is_null(),
                      "Variant cannot be converted to string - type mismatch");
    return std::string(value.as_text());
}

} // namespace rowvault1::utils
