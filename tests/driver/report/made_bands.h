// Bands of hardware feedback in a small result.
#pragma once

#include "made_result.h"

namespace samplefold::report::testing {

class MadeBandsTest : public MadeResultTest {
protected:
    /// A band of a thread, with rows of its own for the class, as a load writes them.
    void band(rowvault1::Index thread, std::uint64_t start, std::uint64_t end,
              std::string_view className);
};

} // namespace samplefold::report::testing
