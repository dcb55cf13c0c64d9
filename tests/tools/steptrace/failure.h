// How the program gives up.
#pragma once

#include <stdexcept>
#include <string>

namespace steptrace {

/// Carries the one line that the program ends with.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The machine does not let one process trace another; the program ends with a status of its own.
class NotPermitted : public Failure {
public:
    using Failure::Failure;
};

/// A Failure of a system call: `what`, and what errno says.
[[noreturn]] void failWithErrno(const std::string& what);

} // namespace steptrace
