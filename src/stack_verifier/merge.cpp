#include "common/component_log.h"
#include "stack_verifier/number_text.h"
#include "stack_verifier/verifier_parts.h"

#include <iterator>

namespace samplefold_1 {
namespace {

ComponentLog g_log;

/// A chain that ends in anything but the marker is complete, or ends for a reason of its own.
bool isNecessary(const std::vector<branch_t>& lbrStack, const std::vector<std::uint64_t>& callchain)
{
    if (callchain.empty()) return !lbrStack.empty();
    return callchain.back() == IP_SKIPPED_FRAMES;
}

} // namespace

bool StackVerifier::merge(std::vector<branch_t>& lbrStack, std::vector<std::uint64_t>& callchain,
                          std::uint64_t jitTime, std::uint64_t tsc, std::uint32_t pid,
                          SegInstMap& kernelSegments, SegInstMap& processSegments,
                          const boost::intrusive_ptr<jitlens_3_13::ISymbolResolver>& resolver)
{
    SF_DEBUG(g_log, "StackVerifier::merge: PID = " << pid << ", tsc = " << tsc
                                                   << ", callchainSize = " << callchain.size()
                                                   << ", lbrStackSize = " << lbrStack.size()
                                                   << ", usePATHNAV: " << m_usePATHNAV);
    useResolver(resolver);
    m_lastMerge =
        mergeChain(lbrStack, callchain, {jitTime, tsc, pid, kernelSegments, processSegments});
    return m_lastMerge == merge_outcome_t::complete || m_lastMerge == merge_outcome_t::marked;
}

/// Nothing of `callchain` is touched before all of its frames have found their records.
merge_outcome_t StackVerifier::mergeChain(const std::vector<branch_t>& lbrStack,
                                          std::vector<std::uint64_t>& callchain,
                                          const Moment& moment)
{
    if (!isNecessary(lbrStack, callchain)) {
        SF_DEBUG(g_log, "Stack merging is not necessary");
        return merge_outcome_t::notNecessary;
    }
    Spot spot; // its path stays from address to address where generated code has none
    auto next = lbrStack.rbegin();
    bool sawKernel = false;
    std::uint64_t ipFrom = 0;
    for (auto frame = callchain.begin(); frame != callchain.end(); ++frame) {
        if (next == lbrStack.rend()) {
            SF_DEBUG(g_log, "LBR stack is worse than software");
            return merge_outcome_t::noRecordsLeft;
        }
        ipFrom = next->from;
        const std::uint64_t ipSw = *frame;
        SF_DEBUG(g_log, " ipFrom = " << Hex{ipFrom} << ",  ipSw = " << Hex{ipSw});
        if (ipSw == IP_SKIPPED_FRAMES) {
            callchain.erase(frame);
            break;
        }
        if (!resolve(ipSw, moment, spot)) {
            SF_DEBUG(g_log, "Cannot resolve ipSw = " << Hex{ipSw});
            return merge_outcome_t::unresolvedFrame;
        }
        if (spot.isKernel) {
            SF_DEBUG(g_log, "Skipped kernel ipSw = " << Hex{ipSw});
            sawKernel = true;
            continue;
        }
        if (sawKernel) {
            SF_DEBUG(g_log,
                     "Skipped user hotspot ipSw = " << Hex{ipSw} << ", ipTo = " << Hex{next->to});
            sawKernel = false;
            continue;
        }
        const merge_outcome_t outcome = pairFrame(spot, ipFrom, moment);
        if (outcome != merge_outcome_t::complete) return outcome;
        ++next;
    }
    for (; next != lbrStack.rend(); ++next) {
        callchain.push_back(next->from);
        SF_DEBUG(g_log, " ipFrom = " << Hex{next->from} << ": merged");
    }
    return endChain(callchain, ipFrom, moment, spot);
}

/// complete when the frame in `spot` belongs to the call at `ipFrom`.
merge_outcome_t StackVerifier::pairFrame(Spot& spot, std::uint64_t ipFrom, const Moment& moment)
{
    const std::uint64_t ipSw = spot.ip;
    const std::uint64_t rvaSw = spot.rva;
    const SegInstInfo* const swSegment = spot.segment;
    if (!resolve(ipFrom, moment, spot)) {
        SF_DEBUG(g_log, "Cannot resolve ipFrom = " << Hex{ipFrom});
        return merge_outcome_t::unresolvedFrom;
    }
    if (spot.segment != swSegment) {
        SF_DEBUG(g_log, "Addresses"
                            << " ipFrom = " << Hex{ipFrom} << ", ipSw = " << Hex{ipSw}
                            << ": are from different modules");
        return merge_outcome_t::otherModule;
    }
    if (verifyByCall(spot.path, spot.rva, rvaSw) != link_check::holds) {
        SF_DEBUG(g_log, "Call validation failed");
        return merge_outcome_t::otherCall;
    }
    return merge_outcome_t::complete;
}

merge_outcome_t StackVerifier::endChain(std::vector<std::uint64_t>& callchain, std::uint64_t ipFrom,
                                        const Moment& moment, Spot& spot)
{
    if (!resolve(callchain.back(), moment, spot)) {
        SF_DEBUG(g_log, "Cannot resolve the last ipFrom = " << Hex{ipFrom});
        return merge_outcome_t::unresolvedLast;
    }
    if (!spot.path.empty() && verifyStackTop(spot.path, spot.rva) == link_check::holds)
        return merge_outcome_t::complete;
    SF_DEBUG(g_log, "IP_SKIPPED_FRAMES");
    callchain.push_back(IP_SKIPPED_FRAMES);
    return merge_outcome_t::marked;
}

} // namespace samplefold_1
