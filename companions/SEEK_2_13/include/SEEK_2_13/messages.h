#pragma once

#include <SEEK_2_13/export.h>
#include <SEEK_2_13/object_ptr.h>

namespace SEEK_2_13 {

/// A sentence for the user. Immutable; any thread.
class SEEK_API IMessage : public tb2::object_interface_t {
public:
    /// NUL-terminated, one line without a full stop; lives as long as the object.
    virtual const char* getText() const noexcept = 0;
};

/// The messages about files that are not the ones looked for. Any thread.
class SEEK_API IMessageMgr : public tb2::object_interface_t {
public:
    static ObjectPtr<IMessageMgr> create();

    virtual ObjectPtr<IMessage> getBinaryMismatchMessage() const = 0;
    virtual ObjectPtr<IMessage> getSymbolMismatchMessage() const = 0;
    virtual ObjectPtr<IMessage> getSourceMismatchMessage() const = 0;
};

} // namespace SEEK_2_13
