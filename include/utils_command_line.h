#pragma once

#include "export.h"

#include <string>
#include <vector>

// Command lines of collectors that come as one text: nothing says for which shell it was written.
// Any thread.
namespace samplefold_1::utils {

/// The arguments of a command line: by POSIX rules; where these fail, by Windows rules, if a
/// program ending in ".exe" comes first then; else, and where POSIX rules give no argument or a
/// program ending in ".exe", cut at blanks and tabs with all quotes left in. Lets no exception out
/// but that of no memory.
SAMPLEFOLD_1_API std::vector<std::string> splitCollectorCmdline(const std::string& cmdline);

/// Cuts at blanks and tabs outside quotes; there are no empty arguments. Single and double quotes
/// switch one state and are removed; one that stays open is no error. A backslash, also in quotes,
/// takes the next character: n is a newline, a quote, separator or backslash is itself. Throws
/// boost::escaped_list_error, "unknown escape sequence" before any other character and "cannot end
/// with escape" at the end.
SAMPLEFOLD_1_API std::vector<std::string> splitCmdlinePosixStyle(const std::string& cmdline);

/// Cuts at white space outside double quotes. Backslashes are literal but before a double quote:
/// there two stand for one, and an odd one makes the quote literal. Quotes give empty arguments.
/// Takes every text.
SAMPLEFOLD_1_API std::vector<std::string> splitCmdlineWindowsStyle(const std::string& cmdline);

/// Cuts at blanks and tabs; there are no empty arguments. Takes every text.
SAMPLEFOLD_1_API std::vector<std::string> splitCmdlineByWhitespace(const std::string& cmdline);

/// True for a text that ends in ".exe", in these small letters.
SAMPLEFOLD_1_API bool isWindowsExecutable(const std::string& name);

} // namespace samplefold_1::utils
