#pragma once

#include <PORTA_2_18/assert.h>

#include <string>
#include <vector>

namespace samplefold_1::test {

/// Collects the expressions of the assertions that fire while it lives. One at a time, on one
/// thread.
class AssertionRecorder {
public:
    AssertionRecorder() : m_former(PORTA_2_18::debug::setAssertionHandler(&record))
    {
        fired().clear();
    }
    ~AssertionRecorder() { PORTA_2_18::debug::setAssertionHandler(m_former); }
    AssertionRecorder(const AssertionRecorder&) = delete;
    AssertionRecorder& operator=(const AssertionRecorder&) = delete;

    static const std::vector<std::string>& expressions() { return fired(); }

private:
    static std::vector<std::string>& fired()
    {
        static std::vector<std::string> texts;
        return texts;
    }
    static void record(const PORTA_2_18::debug::assertion_t& assertion)
    {
        fired().emplace_back(assertion.expression);
    }

    PORTA_2_18::debug::assertion_handler_t m_former;
};

} // namespace samplefold_1::test
