#pragma once

#include "load/branch_stacks.h"
#include "load/call_tree.h"
#include "load/code_places.h"
#include "perfdata/recording.h"
#include "session/quality_log.h"
#include "unwind/stack_unwinder.h"

#include <tsl/robin_map.h>

#include <array>
#include <cstdint>
#include <vector>

namespace samplefold::load {

/// Settles where samples were: with call stacks on the callsite of the sampled frame, whose parents
/// are the callers, with call stacks off its place in code. A chain that was met before, in the
/// same process and while nothing in it was mapped or generated anew, is one look-up. The user part
/// of a chain that the recording holds as a copy of the stack is unwound first; chains of samples
/// with branch records are those that come out of both. Loading thread only.
class StackLoader {
public:
    /// The arguments outlive the object. Without an unwinder copies of stacks are not used, without
    /// branch stacks the records of branches are not.
    StackLoader(ProfileContext& context, CodePlaces& places, session::Process& kernel,
                unwind::StackUnwinder* unwinder = nullptr, BranchStacks* branches = nullptr);

    /// Tells what one sample has in common with others that are settled alike.
    struct Key {
        std::uint64_t low = 0;
        std::uint64_t high = 0;

        bool operator==(const Key&) const = default;
    };

    /// Tells that a sample will be settled in this batch, so that the work on branch records can be
    /// shared by several threads; `resolve` does it for all that were told. The answer goes to
    /// `settle`.
    Key expect(const perfdata::Sample& sample, session::Process& process, std::uint64_t tick);
    void resolve();
    void endBatch();

    /// Fills the fields of `attr` that say where the sample was. Where there are branch stacks, the
    /// sample was expected, and `key` is what came of it.
    void settle(const perfdata::Sample& sample, session::Process& process, std::uint64_t tick,
                const Key& key, samplefold_1::pmu_sample_attribute_t& attr);

    /// What each branch record of the sample settled last has beside addresses; empty where they
    /// agree.
    std::string_view branchDetails() const { return m_details.each(); }

    /// Adds what was counted on the way to the quality log; once, after the samples.
    void reportQuality(session::QualityLog& quality) const;
    /// How many distinct chains were met; each costs memory.
    std::size_t keptChains() const { return m_leaves.size(); }

private:
    /// The chain in hand.
    struct Chain {
        std::vector<Frame> frames;      ///< the sampled one first
        std::vector<std::size_t> calls; ///< those of them that are addresses of calls themselves
        bool isCutOff = false;          ///< by the recording's limit
        bool isDeferred = false;
    };
    /// What is kept of a chain.
    struct Leaf {
        samplefold_1::Index instance;
        samplefold_1::Index callsite;       ///< with call stacks on
        samplefold_1::code_location_t code; ///< with call stacks off
        samplefold_1::Index branches;       ///< stack of branch records
        std::size_t inBooks = 0;            ///< number of that in the books
        session::TickSpan steady;
        bool isUnmapped = false;
        bool isCutOff = false;
        bool isDeferred = false;
    };
    struct KeyHash {
        std::size_t operator()(const Key& key) const noexcept { return key.low; }
    };

    static Space spaceOf(perfdata::CpuMode mode);
    static Space spaceOf(std::uint64_t marker);
    static std::size_t tellingEntries(const perfdata::Sample& sample);

    Leaf& leafOf(const perfdata::Sample& sample, session::Process& process, std::uint64_t tick);
    Leaf& unwoundLeafOf(const perfdata::Sample& sample, session::Process& process,
                        std::uint64_t tick);
    const Leaf& branchLeafOf(const perfdata::Sample& sample, session::Process& process,
                             std::uint64_t tick, const Key& key);
    void buildFromBranches(const BranchTask& task, const perfdata::Sample& sample,
                           session::Process& process, std::uint64_t tick, Leaf& leaf);
    Key branchKeyOf(const perfdata::Sample& sample, const session::Process& process);
    void tellBranches(const Key& key, const perfdata::Sample& sample, session::Process& process,
                      std::uint64_t tick);
    bool isKnown(const Key& key, std::uint64_t tick) const;
    static std::uint64_t taskKeyOf(const Key& key, session::Process& process, std::uint64_t tick);
    bool isToUnwind(const perfdata::Sample& sample) const;
    Key keyOf(const perfdata::Sample& sample, const session::Process& process) const;
    Key keyOfFrames(const session::Process& process) const;
    void buildPlace(const perfdata::Sample& sample, session::Process& process, std::uint64_t tick,
                    Leaf& leaf);
    void collectFrames(const perfdata::Sample& sample);
    void appendUnwound(const perfdata::Sample& sample, session::Process& process,
                       std::uint64_t tick);
    void linkFrames(session::Process& process, std::uint64_t tick, Leaf& leaf);
    CodePlace placeOf(const Frame& frame, session::Process& process, std::uint64_t tick);
    samplefold_1::Index callsiteOf(CodePlace& place, samplefold_1::Index parent, bool sampled);

    ProfileContext& m_context;
    CodePlaces& m_places;
    session::Process& m_kernel;
    unwind::StackUnwinder* m_unwinder;
    BranchStacks* m_branches;
    CallTree m_tree;
    tsl::robin_map<Key, Leaf, KeyHash> m_leaves;
    Chain m_chain;
    std::vector<std::uint64_t> m_unwound;  ///< user addresses of the stack in hand
    std::vector<std::uint64_t> m_branched; ///< what tells branch records in hand from others
    BranchDetails m_details;
    std::uint64_t m_unmapped = 0;
    std::uint64_t m_cutOff = 0;
    std::uint64_t m_deferred = 0;
    std::array<std::uint64_t, unwind::stopCount> m_stops{}; ///< unwound stacks by how they ended
};

} // namespace samplefold::load
