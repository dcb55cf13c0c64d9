#include "command_line_model.h"

#include <samplefold_1/utils_command_line.h>

#include <algorithm>
#include <cstring>
#include <exception>

namespace samplefold_test {
namespace {

enum class meaning_t { letter, separator, quote };

struct symbol_t {
    meaning_t meaning;
    char letter;
};
using symbols_t = std::vector<symbol_t>;

bool isOneOf(char letter, const char* set)
{
    return letter != '\0' && std::strchr(set, letter) != nullptr;
}

/// Separators between two quotes are letters.
void quoteSeparators(symbols_t& symbols)
{
    std::size_t quotes = 0;
    for (symbol_t& symbol : symbols) {
        if (symbol.meaning == meaning_t::quote) ++quotes;
        if (symbol.meaning == meaning_t::separator && quotes % 2 == 1)
            symbol.meaning = meaning_t::letter;
    }
}

std::vector<symbols_t> cutAtSeparators(const symbols_t& symbols)
{
    std::vector<symbols_t> pieces(1);
    for (const symbol_t& symbol : symbols) {
        if (symbol.meaning == meaning_t::separator) {
            pieces.emplace_back();
        } else {
            pieces.back().push_back(symbol);
        }
    }
    return pieces;
}

std::string lettersOf(const symbols_t& symbols)
{
    std::string text;
    for (const symbol_t& symbol : symbols)
        if (symbol.meaning == meaning_t::letter) text += symbol.letter;
    return text;
}

/// Arguments of the symbols; those without a letter count only where quotes make one.
std::vector<std::string> argumentsOf(symbols_t symbols, bool quotesMakeOne)
{
    quoteSeparators(symbols);
    std::vector<std::string> arguments;
    for (const symbols_t& piece : cutAtSeparators(symbols)) {
        const std::string text = lettersOf(piece);
        if (!text.empty() || (quotesMakeOne && !piece.empty())) arguments.push_back(text);
    }
    return arguments;
}

meaning_t meaningOf(char letter, const char* separators, const char* quotes)
{
    if (isOneOf(letter, separators)) return meaning_t::separator;
    return isOneOf(letter, quotes) ? meaning_t::quote : meaning_t::letter;
}

std::size_t backslashesBefore(const std::string& text, std::size_t position)
{
    std::size_t count = 0;
    while (count < position && text[position - count - 1] == '\\')
        ++count;
    return count;
}

/// Position behind the backslashes that go on here.
std::size_t endOfBackslashes(const std::string& text, std::size_t position)
{
    return std::min(text.find_first_not_of('\\', position), text.size());
}

} // namespace

SplitOutcome posixModel(const std::string& cmdline)
{
    symbols_t symbols;
    for (std::size_t i = 0; i < cmdline.size(); ++i) {
        if (cmdline[i] != '\\') {
            symbols.push_back({meaningOf(cmdline[i], " \t", "'\""), cmdline[i]});
            continue;
        }
        if (++i == cmdline.size()) return {{}, "cannot end with escape"};
        if (!isOneOf(cmdline[i], "n'\" \t\\")) return {{}, "unknown escape sequence"};
        symbols.push_back({meaning_t::letter, cmdline[i] == 'n' ? '\n' : cmdline[i]});
    }
    return {argumentsOf(symbols, false), {}};
}

std::vector<std::string> windowsModel(const std::string& cmdline)
{
    symbols_t symbols;
    for (std::size_t i = 0; i < cmdline.size(); ++i) {
        const char letter = cmdline[i];
        const std::size_t before = backslashesBefore(cmdline, i);
        if (letter == '\\') {
            // Of those before a quote every second one stays.
            const std::size_t end = endOfBackslashes(cmdline, i);
            const bool pairs = end < cmdline.size() && cmdline[end] == '"';
            if (!pairs || before % 2 == 1) symbols.push_back({meaning_t::letter, letter});
        } else if (letter == '"') {
            symbols.push_back({before % 2 == 1 ? meaning_t::letter : meaning_t::quote, letter});
        } else {
            symbols.push_back({meaningOf(letter, " \t\n\v\f\r", ""), letter});
        }
    }
    return argumentsOf(symbols, true);
}

std::vector<std::string> whitespaceModel(const std::string& cmdline)
{
    symbols_t symbols;
    for (const char letter : cmdline)
        symbols.push_back({meaningOf(letter, " \t", ""), letter});
    return argumentsOf(symbols, false);
}

std::vector<std::string> collectorModel(const std::string& cmdline)
{
    const auto isProgram = [](const std::vector<std::string>& arguments) {
        const std::string first = arguments.empty() ? std::string() : arguments[0];
        return first.size() >= 4 && first.compare(first.size() - 4, 4, ".exe") == 0;
    };
    const SplitOutcome posix = posixModel(cmdline);
    if (!posix.failure.empty()) {
        const std::vector<std::string> windows = windowsModel(cmdline);
        return isProgram(windows) ? windows : whitespaceModel(cmdline);
    }
    const bool fits = !posix.arguments.empty() && !isProgram(posix.arguments);
    return fits ? posix.arguments : whitespaceModel(cmdline);
}

bool splittersAgree(const std::string& cmdline)
{
    namespace utils = samplefold_1::utils;
    SplitOutcome posix;
    try {
        posix.arguments = utils::splitCmdlinePosixStyle(cmdline);
    } catch (const std::exception& error) {
        posix.failure = error.what();
    }
    return posix == posixModel(cmdline) &&
           utils::splitCmdlineWindowsStyle(cmdline) == windowsModel(cmdline) &&
           utils::splitCmdlineByWhitespace(cmdline) == whitespaceModel(cmdline) &&
           utils::splitCollectorCmdline(cmdline) == collectorModel(cmdline);
}

} // namespace samplefold_test
