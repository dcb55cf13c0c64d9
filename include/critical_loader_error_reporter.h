#pragma once

#include <toolbelt2/object.h>

#include <cstdint>
#include <string>

namespace samplefold_1 {

/// Receives failures of a load that the user must hear of. The driver implements it. Loading
/// thread.
class ICriticalLoaderErrorReporter : public tb2::object_interface_t {
public:
    /// `message` is the text that the driver set on the context, `detail` a number, 0 when there is
    /// none.
    virtual void report(const std::string& message, std::int32_t detail) = 0;
};

} // namespace samplefold_1
