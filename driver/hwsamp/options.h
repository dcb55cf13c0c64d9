#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace samplefold::hwsamp {

/// A command line that makes no sense; one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class task_t : unsigned char { help, version, platforms, events };

struct Options {
    task_t task = task_t::help;
    std::string platformFile;            ///< empty for the one beside the program
    std::string folder;                  ///< where the event file goes
    std::vector<std::string> eventLists; ///< lists of events, as given
    std::vector<std::string> eventFiles; ///< files of such lists
};

/// Reads the arguments behind the program's name. Throws UsageError.
Options parseOptions(const std::vector<std::string>& arguments);

extern const char* const helpText;

} // namespace samplefold::hwsamp
