#pragma once

#include <samplefold_1/critical_loader_error_reporter.h>

#include <string>
#include <utility>
#include <vector>

namespace samplefold_test {

/// Keeps what it was told.
class FakeErrorReporter : public samplefold_1::ICriticalLoaderErrorReporter {
public:
    void report(const std::string& message, std::int32_t detail) override
    {
        reports.emplace_back(message, detail);
    }

    std::vector<std::pair<std::string, std::int32_t>> reports;
};

} // namespace samplefold_test
