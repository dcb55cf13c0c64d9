#pragma once

#include "load/call_tree.h"
#include "load/code_places.h"
#include "perfdata/recording.h"
#include "session/quality_log.h"

#include <tsl/robin_map.h>

#include <cstdint>
#include <vector>

namespace samplefold::load {

/// Settles where samples were: with call stacks on the callsite of the sampled frame, whose parents
/// are the callers, with call stacks off its place in code. A chain that was met before, in the
/// same process and while nothing in it was mapped or generated anew, is one look-up. Loading
/// thread only.
class StackLoader {
public:
    /// The arguments outlive the object.
    StackLoader(ProfileContext& context, CodePlaces& places, session::Process& kernel);

    /// Fills the fields of `attr` that say where the sample was.
    void settle(const perfdata::Sample& sample, session::Process& process, std::uint64_t tick,
                samplefold_1::pmu_sample_attribute_t& attr);

    /// Adds what was counted on the way to the quality log; once, after the samples.
    void reportQuality(session::QualityLog& quality) const;
    /// How many distinct chains were met; each costs memory.
    std::size_t keptChains() const { return m_leaves.size(); }

private:
    /// Whose addresses follow.
    enum class Space : std::uint8_t { user, kernel, other };
    struct Frame {
        Space space;
        std::uint64_t address;
    };
    /// What is kept of a chain.
    struct Leaf {
        samplefold_1::Index instance;
        samplefold_1::Index callsite;       ///< with call stacks on
        samplefold_1::code_location_t code; ///< with call stacks off
        session::TickSpan steady;
        bool isUnmapped = false;
        bool isCutOff = false;
        bool isDeferred = false;
    };
    struct Key {
        std::uint64_t low;
        std::uint64_t high;

        bool operator==(const Key&) const = default;
    };
    struct KeyHash {
        std::size_t operator()(const Key& key) const noexcept { return key.low; }
    };

    static Space spaceOf(perfdata::CpuMode mode);
    static Space spaceOf(std::uint64_t marker);
    static std::size_t tellingEntries(const perfdata::Sample& sample);

    Key keyOf(const perfdata::Sample& sample, const session::Process& process) const;
    void build(const perfdata::Sample& sample, session::Process& process, std::uint64_t tick,
               Leaf& leaf);
    void collectFrames(const perfdata::Sample& sample, Leaf& leaf);
    void linkFrames(session::Process& process, std::uint64_t tick, Leaf& leaf);
    CodePlace placeOf(const Frame& frame, session::Process& process, std::uint64_t tick);
    samplefold_1::Index callsiteOf(CodePlace& place, samplefold_1::Index parent, bool sampled);

    ProfileContext& m_context;
    CodePlaces& m_places;
    session::Process& m_kernel;
    CallTree m_tree;
    tsl::robin_map<Key, Leaf, KeyHash> m_leaves;
    std::vector<Frame> m_frames; ///< of the chain in hand, the sampled one first
    std::uint64_t m_unmapped = 0;
    std::uint64_t m_cutOff = 0;
    std::uint64_t m_deferred = 0;
};

} // namespace samplefold::load
