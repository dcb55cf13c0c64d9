// A small result whose rows are written by hand.
#pragma once

#include <rowvault1/result.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace samplefold::report::testing {

using Columns = std::vector<std::pair<std::string_view, tb2::variant_t>>;

inline tb2::variant_t number(std::int32_t value)
{
    return tb2::variant_t(value);
}
inline tb2::variant_t text(std::string_view value)
{
    return tb2::variant_t(value);
}

/// A sample of an event at a place of a thread.
struct MadeSample {
    rowvault1::Index event;
    rowvault1::Index place; ///< row of dd_sample
    rowvault1::Index thread;
    rowvault1::Index cpu;
    std::int64_t count = 1;
    rowvault1::Index callsite = {}; ///< leaf of its call chain
    std::uint64_t tick = 0;         ///< 0: one more than the one before
    std::uint64_t start = 0;        ///< first tick of its interval; 0: not told
};

class MadeResultTest : public ::testing::Test {
protected:
    MadeResultTest();
    ~MadeResultTest() override;

    rowvault1::IResult& result() { return *m_result; }
    /// Writes a row and gives its key.
    rowvault1::Index add(const char* table, const Columns& columns);
    void add(const MadeSample& sample);

    rowvault1::Index addEvent(std::string_view name)
    {
        return add("dd_event_type", {{"name", text(name)}});
    }
    /// A row of dd_sample at an address of a module, outside every module for an empty path.
    rowvault1::Index addPlace(std::string_view path, std::uint64_t rva);
    rowvault1::Index addThread(std::int32_t pid, std::int32_t tid, std::string_view name);

private:
    std::string m_folder;
    tb2::sptr_t<rowvault1::IResult> m_result;
    std::uint64_t m_tick = 0;
};

} // namespace samplefold::report::testing
