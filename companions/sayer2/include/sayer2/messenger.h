#pragma once

#include <cstdint>

namespace sayer2 {

/// How grave a message is.
using severity_t = std::int32_t;
namespace severity {
inline constexpr severity_t info = 0;
inline constexpr severity_t warning = 1; ///< the work goes on with something missing
inline constexpr severity_t error = 2;   ///< something that was asked for could not be had
} // namespace severity

/// Takes messages for the user. It belongs to whoever hands it out, and must outlive the objects
/// that were given it. It is called on the thread that calls these objects, before their operation
/// returns; one that is given to objects on several threads must take calls from several at once.
class IMessenger {
public:
    /// `text` is one line of UTF-8, NUL-terminated, that lives until the call returns. Must not
    /// throw.
    virtual void postMessage(const char* text, severity_t severity) = 0;

protected:
    ~IMessenger() = default;
};

} // namespace sayer2
