#pragma once

#include "report/chain_frames.h"
#include "report/code_spots.h"

#include <rowvault1/result.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace samplefold::report {

/// An address with what it was when the sample was taken.
struct ExplainedAddress {
    std::uint64_t address = 0;
    CodeSpot spot;
};

/// A branch record of a sample.
struct ExplainedRecord {
    std::int64_t position = 0; ///< 0 for the newest
    ExplainedAddress from;
    ExplainedAddress to;
    std::optional<std::uint64_t> cycles;
    std::optional<bool> mispredicted;
    std::string verdict;      ///< empty when it was not checked
    std::optional<bool> kept; ///< nothing when that is not known
};

/// The branch stack of a sample, and what was made of it. Texts that are not known are empty.
struct ExplainedStack {
    std::string kind;
    std::string chain; ///< where the stored chain comes from: software, records, merged
    std::string merge; ///< what became of merging the two
    std::vector<ExplainedRecord> records;
    std::vector<ChainFrame> software; ///< empty where software collected none
};

/// All that a result tells of one sample. Texts that are not known are empty.
struct Explanation {
    std::int64_t number = 0;
    std::uint64_t tick = 0;
    std::string event;
    std::int64_t count = 0;
    std::optional<std::int64_t> pid;
    std::optional<std::int64_t> tid;
    std::string process;
    std::string thread;
    std::optional<std::int64_t> cpu;
    std::string mode;
    std::optional<ExplainedAddress> ip;
    std::string file;
    std::optional<std::int64_t> line;
    std::vector<ChainFrame> chain; ///< as it is stored
    std::optional<ExplainedStack> stack;
};

/// Reads the sample of that number, which is its key in sample_instance. Throws
/// rowvault1::StoreError, and ReportError where there is no such sample or rows are sums.
Explanation explainSample(rowvault1::IResult& result, std::int64_t number);

} // namespace samplefold::report
