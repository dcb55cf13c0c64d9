#pragma once

#include "load/frame.h"
#include "perfdata/sample.h"

#include <samplefold_1/stack_verifier.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::load {

/// What is done with branch records.
enum class BranchUse : std::uint8_t {
    merge,  ///< verified, and merged with call chains
    verify, ///< verified
    raw,    ///< taken as they are
    off     ///< left out
};

struct BranchOptions {
    BranchUse use = BranchUse::merge;
    bool navigate = true; ///< code is decoded for the checks
};

/// Which branches the records are of.
enum class BranchKind : std::uint8_t {
    callStack, ///< calls that had not returned when the sample was taken
    taken,     ///< all branches taken
    chosen     ///< some kinds of branches, so that no record leads to the next
};
std::string_view nameOf(BranchKind kind);
BranchKind branchKindOf(const perfdata::Event& event);

/// Where the call chain of a sample comes from.
enum class ChainSource : std::uint8_t { none, software, records, merged };
std::string_view nameOf(ChainSource source);

/// Verdicts on links, a letter each; what the letters mean stands in dd_link_verdict.
namespace verdict {
struct meaning_t {
    char letter;
    std::string_view name;
    int kept; ///< 1 or 0; -1 when that is not known
};
inline constexpr char noFile = 'N';
inline constexpr char doubtful = 'D';
inline constexpr char behindCut = '-';
inline constexpr char unchecked = '?';
inline constexpr char other = 'o';
char letterOf(samplefold_1::link_outcome_t outcome);
/// All letters, those of the checks first and in the order of link_outcome_t.
const std::vector<meaning_t>& meanings();
} // namespace verdict

/// One stack of branch records with the call chain beside it; what is asked, then what came out.
struct BranchTask {
    std::uint64_t ip = 0;
    std::uint64_t tick = 0;
    std::uint64_t jitTime = 0;
    std::uint32_t pid = 0;
    BranchKind kind = BranchKind::callStack;
    samplefold_1::SegInstMap* userSegments = nullptr; ///< asked a first time already
    std::vector<samplefold_1::branch_t> records;      ///< oldest first
    std::vector<Frame> software; ///< the sampled frame first; may end in IP_SKIPPED_FRAMES

    std::string verdicts;     ///< a letter per record, newest first; empty when none was checked
    std::vector<Frame> chain; ///< what is stored
    std::vector<std::size_t> callFrames; ///< its frames whose address is that of the call itself
    ChainSource source = ChainSource::none;
    samplefold_1::merge_outcome_t merge = samplefold_1::merge_outcome_t::none;
    bool isComplete = false; ///< the chain ends in a proven top
};

/// The records of a sample as verification takes them: canonical addresses, oldest first.
void takeRecords(const perfdata::Sample& sample, std::vector<samplefold_1::branch_t>& records);

} // namespace samplefold::load
