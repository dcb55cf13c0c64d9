#pragma once

#include <rowvault1/export.h>
#include <toolbelt2/object.h>
#include <toolbelt2/variant.h>

#include <string_view>

namespace rowvault1 {

/// The context of a result: named values that hold for the whole of it (table dd_context_value, a
/// row per name). One thread at a time, the result's.
class ROWVAULT1_API IContextManager : public tb2::object_interface_t {
public:
    /// Keeps a value under a name, in place of one before. False, with nothing changed, for an
    /// empty name and when the result cannot be written; the result's failure() then says why,
    /// unless it is open for reading only.
    virtual bool setValue(std::string_view name, const tb2::variant_t& value) = 0;
    /// The value of that name with the kind that it was given; null when there is none or it cannot
    /// be read.
    virtual tb2::variant_t value(std::string_view name) const = 0;
};

} // namespace rowvault1
