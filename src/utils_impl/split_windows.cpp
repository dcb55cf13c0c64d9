#include <samplefold_1/utils_command_line.h>

#include <string_view>
#include <utility>

namespace samplefold_1::utils {
namespace {

constexpr std::string_view g_whiteSpace = " \t\n\v\f\r";

bool isSpace(char letter)
{
    return g_whiteSpace.find(letter) != std::string_view::npos;
}

/// A scan over the characters of a command line, one after the other.
class WindowsSplitter {
public:
    void take(char letter)
    {
        if (letter == '"') {
            takeQuote();
        } else if (letter == '\\') {
            ++m_backslashes;
        } else {
            putBackslashes(m_backslashes);
            takeOther(letter);
        }
    }

    /// The end closes an open quote.
    std::vector<std::string> finish()
    {
        putBackslashes(m_backslashes);
        if (!m_current.empty() || m_inQuotes || m_emptyQuote) endArgument();
        return std::move(m_arguments);
    }

private:
    void takeQuote()
    {
        const bool isLiteral = m_backslashes % 2 != 0;
        putBackslashes(m_backslashes / 2);
        if (isLiteral) {
            m_current += '"';
        } else {
            m_emptyQuote = m_inQuotes && m_current.empty();
            m_inQuotes = !m_inQuotes;
        }
        m_betweenArguments = false;
    }

    void takeOther(char letter)
    {
        if (m_inQuotes || !isSpace(letter)) {
            m_current += letter;
            m_betweenArguments = false;
        } else if (!m_betweenArguments || !m_current.empty()) {
            endArgument();
        }
    }

    void putBackslashes(std::size_t count)
    {
        m_current.append(count, '\\');
        m_backslashes = 0;
    }

    void endArgument()
    {
        m_arguments.push_back(std::exchange(m_current, {}));
        m_emptyQuote = false;
        m_betweenArguments = true;
    }

    std::vector<std::string> m_arguments;
    std::string m_current;
    std::size_t m_backslashes = 0; ///< seen since the last other character
    bool m_inQuotes = false;
    bool m_emptyQuote = false;      ///< the argument so far is a pair of quotes
    bool m_betweenArguments = true; ///< white space here separates nothing
};

} // namespace

std::vector<std::string> splitCmdlineWindowsStyle(const std::string& cmdline)
{
    WindowsSplitter splitter;
    for (const char letter : cmdline)
        splitter.take(letter);
    return splitter.finish();
}

} // namespace samplefold_1::utils
