#pragma once

#include <samplefold_1/stack_verifier.h>

#include <cstdint>
#include <string>

namespace samplefold_1 {

/// Whose addresses are asked for, and when.
struct StackVerifier::Moment {
    std::uint64_t jitTime;
    std::uint64_t tsc;
    std::uint32_t pid;
    SegInstMap& kernelSegments;
    SegInstMap& processSegments;
};

/// An address with what getRva tells of it.
struct StackVerifier::Spot {
    std::uint64_t ip = 0;
    std::uint64_t rva = 0;
    SegInstInfo* segment = nullptr;
    bool isKernel = false;
    std::string path; ///< stays in generated code, so that it outlives the address
};

} // namespace samplefold_1
