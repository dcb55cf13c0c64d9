#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::hwsamp {

/// Something that the user can mend; one line.
class ToolError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline constexpr std::size_t textFileLimit = std::size_t{1} << 20;

/// Content of a text file; null when there is none of that name. Throws ToolError for what is no
/// file, cannot be read, or is longer than textFileLimit.
std::optional<std::string> readTextFile(const std::string& path);

/// A line without blanks at its ends, with the place where it stands.
struct text_line_t {
    std::string_view text;
    int number;
};

/// The lines that hold something: not the blank ones, nor those whose first character is '#'. They
/// point into `content`.
std::vector<text_line_t> linesOf(std::string_view content);

/// The text without blanks, tabs and carriage returns at its ends.
std::string_view trimmed(std::string_view text);

/// True for control characters of ASCII, blanks of any kind but ' ' among them.
bool isControl(char letter);

} // namespace samplefold::hwsamp
