#pragma once

#include <toolbelt2/process.h>

#include <string>

namespace samplefold_1 {

/// Keeps all that a child process writes. Read it after the join.
class PipeCallback : public tb2::process::IPipeReaderCallback {
public:
    tb2::error_code_t onRead(const char* buffer, std::int32_t size) override
    {
        m_output.append(buffer, static_cast<std::size_t>(size));
        return {};
    }

    std::string m_output;
};

} // namespace samplefold_1
