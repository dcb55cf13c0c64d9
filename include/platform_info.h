#pragma once

#include "export.h"

#include <cstdint>
#include <string>
#include <vector>

namespace samplefold_1 {

/// Names of PMUs by processor family and model, as the collector's tool "hwsamp" tells them. The
/// tool is taken from the product's tool directory alone. One object belongs to one thread.
class SAMPLEFOLD_1_API PlatformInfo {
public:
    struct PmuSignature {
        std::uint64_t signature = 0; ///< as CPUID gives it in EAX of leaf 1
        std::string pmu;
    };

    /// Runs the tool and reads what it prints, unless that was done. False, with a checked failure,
    /// when it cannot be run, fails, prints nothing or goes beyond the limits of
    /// toolbelt2::process; the next call tries again. Output without a line of a platform is a
    /// success.
    bool init();

    /// Name of the PMU of a processor, by bits 8 to 11 of its signature (family) and bits 16 to 19
    /// with 4 to 7 (model); of several lines that fit the last one printed counts. Empty when
    /// there is none, and when init fails. The stepping is not used.
    std::string getPMU(std::uint32_t family, std::uint32_t model, std::uint32_t stepping);

private:
    bool m_initialized = false;
    std::vector<PmuSignature> m_pmuSignatures; ///< the last line that was printed comes first
};

} // namespace samplefold_1
