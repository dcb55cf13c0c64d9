#pragma once

#include "load/branch_task.h"

#include <rowvault1/database.h>

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace samplefold::load {

/// What became of the branch stacks of samples, in numbers: each distinct stack is told once, and
/// its samples are counted. Becomes the rows of dd_branch_quality. Loading thread only.
class BranchQuality {
public:
    BranchQuality();

    /// Notes a resolved stack; its number, by which its samples are counted. Of each kind of cut
    /// the first is kept as an example: `moduleOf` tells the row of the module at an address of the
    /// task, -1 without one.
    std::size_t add(const BranchTask& task,
                    const std::function<rowvault1::Index(std::uint64_t)>& moduleOf);
    void countSample(std::size_t number) { ++m_stacks[number].samples; }

    /// Writes the rows; a result that is appended to gets rows of its own for every load.
    void store(const tb2::sptr_t<rowvault1::IDatabase>& db) const;

private:
    struct Stack {
        std::uint64_t samples = 0;
        std::uint32_t records = 0;
        std::uint32_t software = 0; ///< frames, without the marker; so is the next
        std::uint32_t chain = 0;
        ChainSource source = ChainSource::none;
        samplefold_1::merge_outcome_t merge = samplefold_1::merge_outcome_t::none;
        bool isCallStack = false;
        bool isComplete = false;
        std::array<std::uint16_t, 16> verdicts{}; ///< by their place among verdict::meanings
    };
    struct Example {
        bool isThere = false;
        std::uint64_t address = 0;
        rowvault1::Index module;
    };

    void noteExample(const BranchTask& task, std::size_t position, std::size_t meaning,
                     const std::function<rowvault1::Index(std::uint64_t)>& moduleOf);

    std::vector<Stack> m_stacks;
    std::vector<Example> m_examples;             ///< by verdict::meanings
    std::array<std::uint8_t, 128> m_meaningOf{}; ///< by letter
};

} // namespace samplefold::load
