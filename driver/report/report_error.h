#pragma once

#include <stdexcept>

namespace samplefold::report {

/// A result cannot answer what a report asks: `what()` is one line with what to do.
class ReportError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace samplefold::report
