#pragma once

#include "export.h"

#include <cstdint>

namespace samplefold_1 {

/// Translates between the clock of the samples and the clock of the JIT symbol data, both in ticks.
/// The driver implements it. It is asked on the thread that calls the operation it is given to.
class SAMPLEFOLD_1_API ITimeConverter {
public:
    virtual std::uint64_t toSampleTime(std::uint64_t jitTime) = 0;
    virtual std::uint64_t toJitTime(std::uint64_t sampleTime) = 0;

protected:
    ~ITimeConverter() = default;
};

} // namespace samplefold_1
