#pragma once

#include <PORTA_2_18/assert.h>

#include <string>
#include <utility>
#include <vector>

namespace samplefold_test {

/// Collects the assertions that fire while it lives, instead of their being reported. One at a
/// time, and for assertions of one thread.
class AssertionRecorder {
public:
    struct fired_t {
        std::string expression;
        std::string file;
        int line;
        std::string signature;
    };

    AssertionRecorder() : m_former(PORTA_2_18::debug::setAssertionHandler(&record))
    {
        all().clear();
    }
    ~AssertionRecorder() { PORTA_2_18::debug::setAssertionHandler(m_former); }
    AssertionRecorder(const AssertionRecorder&) = delete;
    AssertionRecorder& operator=(const AssertionRecorder&) = delete;

    /// The texts that have fired since the last call of this, in order.
    std::vector<std::string> take()
    {
        std::vector<std::string> texts;
        for (const fired_t& one : std::exchange(all(), {}))
            texts.push_back(one.expression);
        return texts;
    }
    const std::vector<fired_t>& fired() const { return all(); }

private:
    static void record(const PORTA_2_18::debug::assertion_t& assertion)
    {
        all().push_back({std::string(assertion.expression), std::string(assertion.file),
                         assertion.line, std::string(assertion.signature)});
    }
    static std::vector<fired_t>& all()
    {
        static std::vector<fired_t> assertions;
        return assertions;
    }

    PORTA_2_18::debug::assertion_handler_t m_former;
};

} // namespace samplefold_test
