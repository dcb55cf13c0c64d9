#include "load/stack_loader.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>

namespace samplefold::load {

using perfdata::CpuMode;
using perfdata::Sample;
using samplefold_1::Index;
using samplefold_1::pmu_sample_attribute_t;
using session::Process;
using session::Severity;

namespace {

/// What the kernel allows where the recording does not tell (kernel.perf_event_max_stack).
constexpr std::size_t g_usualMaxStack = 127;
/// What a sample with a copy of the stack has.
constexpr std::uint64_t g_stackCopy =
    perfdata::sampleBit::RegsUser | perfdata::sampleBit::StackUser;

} // namespace

StackLoader::StackLoader(ProfileContext& context, CodePlaces& places, Process& kernel,
                         unwind::StackUnwinder* unwinder, BranchStacks* branches)
    : m_context(context), m_places(places), m_kernel(kernel), m_unwinder(unwinder),
      m_branches(branches), m_tree(*context.getDb())
{
}

Space StackLoader::spaceOf(CpuMode mode)
{
    if (mode == CpuMode::User) return Space::user;
    return mode == CpuMode::Kernel ? Space::kernel : Space::other;
}

Space StackLoader::spaceOf(std::uint64_t marker)
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

void StackLoader::settle(const Sample& sample, Process& process, std::uint64_t tick, const Key& key,
                         pmu_sample_attribute_t& attr)
{
    const bool hasBranches = m_branches != nullptr && m_branches->hasStack(sample);
    if (hasBranches) m_details.read(sample);
    const Leaf& leaf = hasBranches          ? branchLeafOf(sample, process, tick, key)
                       : isToUnwind(sample) ? unwoundLeafOf(sample, process, tick)
                                            : leafOf(sample, process, tick);
    attr.seg_inst = leaf.instance;
    attr.callsite = leaf.callsite;
    attr.code_loc = leaf.code;
    attr.lbr_head = leaf.branches;
    if (hasBranches) m_branches->countSample(leaf.inBooks);
    m_unmapped += leaf.isUnmapped ? 1 : 0;
    m_cutOff += leaf.isCutOff ? 1 : 0;
    m_deferred += leaf.isDeferred ? 1 : 0;
}

StackLoader::Leaf& StackLoader::leafOf(const Sample& sample, Process& process, std::uint64_t tick)
{
    Leaf& leaf = m_leaves[keyOf(sample, process)];
    if (leaf.instance.exist() && leaf.steady.holds(tick)) return leaf;
    if (m_context.stacksAreOn()) {
        collectFrames(sample);
        linkFrames(process, tick, leaf);
    } else {
        buildPlace(sample, process, tick, leaf);
    }
    return leaf;
}

/// Copies of a stack differ from sample to sample, so that a chain is known by its frames.
StackLoader::Leaf& StackLoader::unwoundLeafOf(const Sample& sample, Process& process,
                                              std::uint64_t tick)
{
    collectFrames(sample);
    appendUnwound(sample, process, tick);
    Leaf& leaf = m_leaves[keyOfFrames(process)];
    if (!leaf.instance.exist() || !leaf.steady.holds(tick)) linkFrames(process, tick, leaf);
    return leaf;
}

const StackLoader::Leaf& StackLoader::branchLeafOf(const Sample& sample, Process& process,
                                                   std::uint64_t tick, const Key& key)
{
    const auto known = m_leaves.find(key);
    if (known != m_leaves.end() && known->second.steady.holds(tick)) return known->second;
    tellBranches(key, sample, process, tick);
    m_branches->resolve();
    collectFrames(sample);
    Leaf leaf;
    buildFromBranches(m_branches->at(taskKeyOf(key, process, tick)), sample, process, tick, leaf);
    return m_leaves[key] = leaf;
}

/// The chain that came out is stored, and the one of software beside it.
void StackLoader::buildFromBranches(const BranchTask& task, const Sample& sample, Process& process,
                                    std::uint64_t tick, Leaf& leaf)
{
    Index software;
    if (m_context.stacksAreOn()) {
        m_chain.frames = task.software;
        linkFrames(process, tick, leaf);
        software = leaf.callsite;
        m_chain.frames = task.chain;
        m_chain.calls = task.callFrames;
        if (task.chain != task.software) linkFrames(process, tick, leaf);
        m_chain.calls.clear();
    } else {
        buildPlace(sample, process, tick, leaf);
    }
    if (task.isComplete) leaf.isCutOff = false;
    leaf.branches = m_branches->row(task, software, m_details.common());
    leaf.inBooks = m_branches->noteInBooks(task, process);
}

bool StackLoader::isKnown(const Key& key, std::uint64_t tick) const
{
    const auto entry = m_leaves.find(key);
    return entry != m_leaves.end() && entry->second.steady.holds(tick);
}

StackLoader::Key StackLoader::expect(const Sample& sample, Process& process, std::uint64_t tick)
{
    if (m_branches == nullptr || !m_branches->hasStack(sample)) return {};
    const Key key = branchKeyOf(sample, process);
    if (!isKnown(key, tick)) tellBranches(key, sample, process, tick);
    return key;
}

void StackLoader::tellBranches(const Key& key, const Sample& sample, Process& process,
                               std::uint64_t tick)
{
    m_branches->prepare(process);
    const std::uint64_t taskKey = taskKeyOf(key, process, tick);
    if (m_branches->isTold(taskKey)) return;
    m_chain.frames.clear();
    if (m_context.stacksAreOn()) {
        collectFrames(sample);
        if (isToUnwind(sample)) appendUnwound(sample, process, tick);
    }
    m_branches->tell(taskKey, sample, process, tick, m_chain.frames);
}

/// The same stack is another one after its process has mapped something anew.
std::uint64_t StackLoader::taskKeyOf(const Key& key, Process& process, std::uint64_t tick)
{
    return key.low ^ process.space.steadySpan(tick).from * 0x9E3779B97F4A7C15;
}

void StackLoader::resolve()
{
    if (m_branches != nullptr) m_branches->resolve();
}

void StackLoader::endBatch()
{
    if (m_branches != nullptr) m_branches->endBatch();
}

/// Cycles and predictions are part of it only where all records agree in them.
StackLoader::Key StackLoader::branchKeyOf(const Sample& sample, const Process& process)
{
    m_branched.clear();
    for (const perfdata::Branch branch : sample.branches) {
        m_branched.push_back(branch.from);
        m_branched.push_back(branch.to);
    }
    m_branched.push_back(static_cast<std::uint64_t>(branchKindOf(*sample.event)));
    m_details.read(sample);
    m_branched.push_back(m_details.commonWord());
    const Key chain = keyOf(sample, process);
    const XXH128_hash_t hash = XXH3_128bits_withSeed(
        m_branched.data(), m_branched.size() * sizeof m_branched[0], chain.low);
    return {hash.low64, hash.high64 ^ chain.high};
}

/// Whether the recording has the user's part of the chain as a copy of the stack. The kernel then
/// leaves it out of the chain, or gives no more of it than the sampled address.
bool StackLoader::isToUnwind(const Sample& sample) const
{
    if (m_unwinder == nullptr || (sample.has & g_stackCopy) != g_stackCopy) return false;
    Space space = spaceOf(sample.cpuMode());
    if (!m_context.stacksAreOn() || space == Space::other) return false;
    std::size_t users = 0;
    for (const std::uint64_t entry : sample.callchain) {
        if (perfdata::context::isMarker(entry))
            space = spaceOf(entry);
        else
            users += space == Space::user ? 1 : 0;
    }
    return users <= 1;
}

StackLoader::Key StackLoader::keyOfFrames(const Process& process) const
{
    struct Head {
        const Process* process;
        std::uint64_t isCutOff;
        std::uint64_t isDeferred;
    } const head{&process, m_chain.isCutOff ? 1U : 0U, m_chain.isDeferred ? 1U : 0U};
    const XXH64_hash_t seed = XXH3_64bits(&head, sizeof head);
    const XXH128_hash_t hash =
        XXH3_128bits_withSeed(m_chain.frames.data(), m_chain.frames.size() * sizeof(Frame), seed);
    return {hash.low64, hash.high64 ^ seed};
}

void StackLoader::buildPlace(const Sample& sample, Process& process, std::uint64_t tick, Leaf& leaf)
{
    leaf = Leaf{};
    CodePlace place = placeOf({spaceOf(sample.cpuMode()), sample.ip}, process, tick);
    m_places.createCallsite(place, Index(), true, &leaf.code);
    m_places.noteSampled(place);
    leaf.instance = place.instance;
    leaf.steady = place.steady;
    leaf.isUnmapped = !place.segment.exist();
}

/// The sampled address stands for the chain's first, from which it differs where the processor told
/// the exact instruction. Only where the kernel's part was left out of the chain is nothing
/// replaced.
void StackLoader::collectFrames(const Sample& sample)
{
    std::vector<Frame>& frames = m_chain.frames;
    frames.clear();
    m_chain.isDeferred = false;
    const Space sampledIn = spaceOf(sample.cpuMode());
    if (sample.hasIp()) frames.push_back({sampledIn, sample.ip});
    Space space = sampledIn;
    std::size_t addresses = 0; // the kernel's limit is on these, not on the markers between them
    for (std::size_t i = 0; i < sample.callchain.size(); ++i) {
        const std::uint64_t entry = sample.callchain[i];
        if (entry == perfdata::context::UserDeferred) {
            m_chain.isDeferred = true; // a number follows, by which a later record is found
            ++i;
        } else if (perfdata::context::isMarker(entry)) {
            space = spaceOf(entry);
        } else {
            const bool kernelLeftOut = sampledIn == Space::kernel && space == Space::user;
            const bool isReplaced = addresses == 0 && sample.hasIp() && !kernelLeftOut;
            if (!isReplaced) frames.push_back({space, entry});
            ++addresses;
        }
    }
    const std::uint16_t most = sample.event->attr.sampleMaxStack;
    m_chain.isCutOff = addresses >= (most != 0 ? most : g_usualMaxStack);
    if (m_chain.isCutOff) frames.push_back(skippedFrames);
    if (frames.empty()) frames.push_back({sampledIn, sample.ip});
}

/// A stack that was followed, but not to its outermost frame, ends in the mark of a chain that was
/// cut off. Where no caller was found the chain has the sampled address alone.
void StackLoader::appendUnwound(const Sample& sample, Process& process, std::uint64_t tick)
{
    const unwind::Stop stop =
        m_unwinder->unwind(process.space, tick, sample.userRegs, sample.userStack, m_unwound);
    ++m_stops[static_cast<std::size_t>(stop)];
    if (m_unwound.empty()) return;
    std::vector<Frame>& frames = m_chain.frames;
    if (spaceOf(sample.cpuMode()) == Space::user) {
        frames.clear();
        m_chain.isCutOff = false;
        if (sample.hasIp()) m_unwound.front() = sample.ip;
    } else {
        while (!frames.empty() && frames.back().space == Space::user)
            frames.pop_back();
    }
    for (const std::uint64_t address : m_unwound)
        frames.push_back({Space::user, address});
    if (stop != unwind::Stop::complete && m_unwound.size() > 1) frames.push_back(skippedFrames);
}

void StackLoader::linkFrames(Process& process, std::uint64_t tick, Leaf& leaf)
{
    leaf = Leaf{};
    leaf.isCutOff = m_chain.isCutOff;
    leaf.isDeferred = m_chain.isDeferred;
    Index callsite;
    for (std::size_t i = m_chain.frames.size(); i-- > 0;) {
        CodePlace place = placeOf(m_chain.frames[i], process, tick);
        callsite = callsiteOf(place, callsite, i == 0);
        leaf.steady.cutTo(place.steady);
        if (std::ranges::find(m_chain.calls, i) != m_chain.calls.end())
            m_places.noteSampled(place); // not an address behind a call
        if (i != 0) continue;
        if (!place.instance.exist()) m_places.makeInstance(place);
        m_places.noteSampled(place);
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
    for (std::size_t i = 0; i < m_stops.size(); ++i) {
        const unwind::StopText text = unwind::textOf(static_cast<unwind::Stop>(i));
        if (static_cast<unwind::Stop>(i) != unwind::Stop::complete)
            quality.add(text.reason, m_stops[i], text.remedy, Severity::info);
    }
}

} // namespace samplefold::load
