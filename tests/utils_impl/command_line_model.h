#pragma once

#include <string>
#include <vector>

namespace samplefold_test {

/// What splitting a command line comes to: arguments, or the text of the failure.
struct SplitOutcome {
    std::vector<std::string> arguments;
    std::string failure;

    friend bool operator==(const SplitOutcome&, const SplitOutcome&) = default;
};

// The rules of splitting once more, slowly: first each character gets its meaning, then quotes
// decide which separators count, then the text is cut. For comparison with the splitters.

SplitOutcome posixModel(const std::string& cmdline);
std::vector<std::string> windowsModel(const std::string& cmdline);
std::vector<std::string> whitespaceModel(const std::string& cmdline);
std::vector<std::string> collectorModel(const std::string& cmdline);

/// Whether all splitters do what their models do.
bool splittersAgree(const std::string& cmdline);

} // namespace samplefold_test
