#include "load/stack_loader.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace samplefold::load {

using perfdata::CpuMode;
using perfdata::Sample;
using samplefold_1::Index;
using samplefold_1::pmu_sample_attribute_t;
using session::Process;
using session::Severity;

namespace {

/// The frame that says that a chain goes on where the recording ends.
constexpr std::uint64_t g_skippedFrames = 0xFFFFFFFFFFFFFFFF;
/// What the kernel allows where the recording does not tell (kernel.perf_event_max_stack).
constexpr std::size_t g_usualMaxStack = 127;

} // namespace

StackLoader::StackLoader(ProfileContext& context, CodePlaces& places, Process& kernel)
    : m_context(context), m_places(places), m_kernel(kernel), m_tree(*context.getDb())
{
}

StackLoader::Space StackLoader::spaceOf(CpuMode mode)
{
    if (mode == CpuMode::User) return Space::user;
    return mode == CpuMode::Kernel ? Space::kernel : Space::other;
}

StackLoader::Space StackLoader::spaceOf(std::uint64_t marker)
{
    if (marker == perfdata::context::User) return Space::user;
    return marker == perfdata::context::Kernel ? Space::kernel : Space::other;
}

/// Entries of a chain that tell where it was. The number behind the mark of a deferred part, at the
/// end, is new in every sample.
std::size_t StackLoader::tellingEntries(const Sample& sample)
{
    const std::size_t size = sample.callchain.size();
    const auto isMarkAt = [&](std::size_t fromEnd) {
        return size >= fromEnd &&
               sample.callchain[size - fromEnd] == perfdata::context::UserDeferred;
    };
    return isMarkAt(2) && !isMarkAt(3) ? size - 1 : size;
}

StackLoader::Key StackLoader::keyOf(const Sample& sample, const Process& process) const
{
    const bool withChain = m_context.stacksAreOn();
    struct Head {
        const Process* process;
        std::uint64_t ip;
        std::uint64_t mode;
        std::uint64_t maxStack;
    } const head{&process, sample.ip, static_cast<std::uint64_t>(sample.cpuMode()),
                 withChain ? sample.event->attr.sampleMaxStack : std::uint64_t{0}};
    const XXH64_hash_t seed = XXH3_64bits(&head, sizeof head);
    const std::size_t bytes = withChain ? tellingEntries(sample) * sizeof(std::uint64_t) : 0;
    const XXH128_hash_t hash = XXH3_128bits_withSeed(sample.callchain.bytes(), bytes, seed);
    return {hash.low64, hash.high64 ^ seed};
}

void StackLoader::settle(const Sample& sample, Process& process, std::uint64_t tick,
                         pmu_sample_attribute_t& attr)
{
    Leaf& leaf = m_leaves[keyOf(sample, process)];
    if (!leaf.instance.exist() || !leaf.steady.holds(tick)) build(sample, process, tick, leaf);
    attr.seg_inst = leaf.instance;
    attr.callsite = leaf.callsite;
    attr.code_loc = leaf.code;
    m_unmapped += leaf.isUnmapped ? 1 : 0;
    m_cutOff += leaf.isCutOff ? 1 : 0;
    m_deferred += leaf.isDeferred ? 1 : 0;
}

void StackLoader::build(const Sample& sample, Process& process, std::uint64_t tick, Leaf& leaf)
{
    leaf = Leaf{};
    if (m_context.stacksAreOn()) {
        collectFrames(sample, leaf);
        linkFrames(process, tick, leaf);
        return;
    }
    CodePlace place = placeOf({spaceOf(sample.cpuMode()), sample.ip}, process, tick);
    m_places.createCallsite(place, Index(), true, &leaf.code);
    leaf.instance = place.instance;
    leaf.steady = place.steady;
    leaf.isUnmapped = !place.segment.exist();
}

/// The sampled address stands for the chain's first, from which it differs where the processor told
/// the exact instruction. Only where the kernel's part was left out of the chain is nothing
/// replaced.
void StackLoader::collectFrames(const Sample& sample, Leaf& leaf)
{
    m_frames.clear();
    const Space sampledIn = spaceOf(sample.cpuMode());
    if (sample.hasIp()) m_frames.push_back({sampledIn, sample.ip});
    Space space = sampledIn;
    std::size_t addresses = 0; // the kernel's limit is on these, not on the markers between them
    for (std::size_t i = 0; i < sample.callchain.size(); ++i) {
        const std::uint64_t entry = sample.callchain[i];
        if (entry == perfdata::context::UserDeferred) {
            leaf.isDeferred = true; // a number follows, by which a later record is found
            ++i;
        } else if (perfdata::context::isMarker(entry)) {
            space = spaceOf(entry);
        } else {
            const bool kernelLeftOut = sampledIn == Space::kernel && space == Space::user;
            const bool isReplaced = addresses == 0 && sample.hasIp() && !kernelLeftOut;
            if (!isReplaced) m_frames.push_back({space, entry});
            ++addresses;
        }
    }
    const std::uint16_t most = sample.event->attr.sampleMaxStack;
    leaf.isCutOff = addresses >= (most != 0 ? most : g_usualMaxStack);
    if (leaf.isCutOff) m_frames.push_back({Space::other, g_skippedFrames});
    if (m_frames.empty()) m_frames.push_back({sampledIn, sample.ip});
}

void StackLoader::linkFrames(Process& process, std::uint64_t tick, Leaf& leaf)
{
    Index callsite;
    for (std::size_t i = m_frames.size(); i-- > 0;) {
        CodePlace place = placeOf(m_frames[i], process, tick);
        callsite = callsiteOf(place, callsite, i == 0);
        leaf.steady.cutTo(place.steady);
        if (i != 0) continue;
        if (!place.instance.exist()) m_places.makeInstance(place);
        leaf.instance = place.instance;
        leaf.isUnmapped = !place.segment.exist();
    }
    leaf.callsite = callsite;
}

CodePlace StackLoader::placeOf(const Frame& frame, Process& process, std::uint64_t tick)
{
    switch (frame.space) {
    case Space::user:
        return m_places.find(process, frame.address, tick);
    case Space::kernel:
        return m_places.find(m_kernel, frame.address, tick);
    default:
        return m_places.outside(process, frame.address, tick);
    }
}

Index StackLoader::callsiteOf(CodePlace& place, Index parent, bool sampled)
{
    if (place.isSettled) {
        const Index known = m_tree.find(parent, place.segment, place.rva);
        if (known.exist()) return known;
    }
    const Index callsite = m_places.createCallsite(place, parent, sampled, nullptr);
    m_tree.add(parent, place.segment, place.rva, callsite);
    return callsite;
}

void StackLoader::reportQuality(session::QualityLog& quality) const
{
    quality.add("samples outside every known mapping", m_unmapped,
                "they show by address; record from the start of the process, or system-wide (-a)",
                Severity::info);
    quality.add("call chains longer than the recording allows", m_cutOff,
                "their outermost frame is a mark; record with a larger kernel.perf_event_max_stack",
                Severity::info);
    quality.add("call chains whose user part comes in a record of its own", m_deferred,
                "the chain ends in the kernel; such records are counted, not joined",
                Severity::info);
}

} // namespace samplefold::load
