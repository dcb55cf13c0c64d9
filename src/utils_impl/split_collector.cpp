#include <samplefold_1/utils_command_line.h>

#include <optional>

namespace samplefold_1::utils {
namespace {

using arguments_t = std::vector<std::string>;

/// Null where the rules do not fit the text.
std::optional<arguments_t> byPosixRules(const std::string& cmdline)
{
    try {
        return splitCmdlinePosixStyle(cmdline);
    } catch (...) {
        return std::nullopt;
    }
}

bool startsWindowsProgram(const arguments_t& arguments)
{
    return !arguments.empty() && isWindowsExecutable(arguments.front());
}

} // namespace

bool isWindowsExecutable(const std::string& name)
{
    return name.ends_with(".exe");
}

std::vector<std::string> splitCollectorCmdline(const std::string& cmdline)
{
    if (const std::optional<arguments_t> posix = byPosixRules(cmdline)) {
        if (!posix->empty() && !startsWindowsProgram(*posix)) return *posix;
    } else {
        arguments_t windows = splitCmdlineWindowsStyle(cmdline);
        if (startsWindowsProgram(windows)) return windows;
    }
    return splitCmdlineByWhitespace(cmdline);
}

} // namespace samplefold_1::utils
