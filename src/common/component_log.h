#pragma once

#include <log4cplus/logger.h>

#include <sstream>
#include <string>

namespace samplefold_1 {

inline constexpr int debugLevel = 10000;
inline constexpr int errorLevel = 40000;

/// The component's logger as one source file holds it: every source file that logs or checks keeps
/// one in an unnamed namespace, which sets the component up when the library is loaded.
class ComponentLog {
public:
    ComponentLog();

    bool isDebugEnabled() const { return m_logger.isEnabledFor(debugLevel); }
    void debug(const std::string& text, const char* file, int line, const char* signature) const;
    /// Logs the text with its place behind it at error level.
    void error(const std::string& text, const char* file, int line, const char* signature) const;

    /// A checked failure: logs `expression` with its place at error level, and fires the assertion
    /// as well when the environment asks for it (samplefold_ERROR_HANDLING contains "assert"; read
    /// once). The texts live as long as the program.
    void checkedFailure(const char* expression, const char* file, int line, const char* signature);

private:
    bool assertionWanted();

    log4cplus::Logger m_logger;
    enum class wanted_t : unsigned char { notRead, no, yes } m_assertion = wanted_t::notRead;
};

} // namespace samplefold_1

/// Logs what `pieces` write to a stream ("a" << b << "c") at debug level; they are not looked at
/// when that level is off.
#define SF_DEBUG(log, pieces)                                                                      \
    do {                                                                                           \
        if ((log).isDebugEnabled()) {                                                              \
            std::ostringstream sfLine;                                                             \
            sfLine << pieces;                                                                      \
            (log).debug(sfLine.str(), __FILE__, __LINE__, __PRETTY_FUNCTION__);                    \
        }                                                                                          \
    } while (false)

/// Leaves the function with the value behind the text (or none) when `condition` does not hold.
#define SF_CHECK(log, condition, text, ...)                                                        \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            (log).checkedFailure(text, __FILE__, __LINE__, __PRETTY_FUNCTION__);                   \
            return __VA_ARGS__;                                                                    \
        }                                                                                          \
    } while (false)
