#pragma once

#include <stdexcept>

namespace samplefold::load {

/// The load cannot go on or must not: `what()` is one line with what to do.
class LoadError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace samplefold::load
