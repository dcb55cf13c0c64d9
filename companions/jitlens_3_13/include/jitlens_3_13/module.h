#pragma once

#include <jitlens_3_13/export.h>
#include <toolbelt2/object.h>

#include <cstdint>

namespace jitlens_3_13 {

/// Kinds of generated modules, by where their description comes from.
enum class module_kind_t : std::int32_t { jitdump = 0, perfMap = 1, unknown = 4 };

/// A source of generated code, seen as a module: all code that one file describes. Immutable; any
/// thread.
class JITLENS_API IModule : public tb2::object_interface_t {
public:
    /// Path of the file; NUL-terminated, lives as long as the module.
    virtual const char* name() const noexcept = 0;
    /// 1 when the module holds the bytes of its code (a jitdump), 0 when it only names addresses.
    virtual std::int32_t classValue() const noexcept = 0;
    /// A module_kind_t.
    virtual std::int32_t kind() const noexcept = 0;
};

} // namespace jitlens_3_13
