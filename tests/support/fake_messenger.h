#pragma once

#include <sayer2/messenger.h>

#include <string>
#include <utility>
#include <vector>

namespace samplefold_test {

/// Keeps what it was told.
class FakeMessenger final : public sayer2::IMessenger {
public:
    void postMessage(const char* text, sayer2::severity_t severity) override
    {
        messages.emplace_back(text, severity);
    }

    std::vector<std::pair<std::string, sayer2::severity_t>> messages;
};

} // namespace samplefold_test
