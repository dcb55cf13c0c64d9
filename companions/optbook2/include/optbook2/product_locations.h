#pragma once

#include <optbook2/export.h>

#include <cstdint>
#include <optional>
#include <string>

namespace optbook2 {

/// A kind of processor that tools are built for.
enum class arch_t : std::uint8_t { other, x86_64 };

/// Where the product's own files are. Any thread, as long as none changes the environment.
class OPTBOOK2_API IProductLocations {
public:
    /// The locations of the running product. Lives as long as the program.
    static const IProductLocations& get();
    /// What this program runs on.
    static arch_t getArch();

    /// Folder of the tools that belong to the product, without a separator at its end: the value of
    /// the environment variable SAMPLEFOLD_TOOL_DIR as it is; where that is unset or empty,
    /// libexec/samplefold of the prefix that this library is installed in, or the place like it of
    /// the build that it lies in. Null when there is no such folder, and for an architecture that
    /// the running product has no tools for.
    virtual std::optional<std::string> getToolDirectory(arch_t arch) const = 0;

protected:
    ~IProductLocations() = default;
};

} // namespace optbook2
