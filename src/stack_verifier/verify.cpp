#include "common/component_log.h"
#include "stack_verifier/number_text.h"
#include "stack_verifier/verifier_parts.h"

#include <iterator>

namespace samplefold_1 {
namespace {

ComponentLog g_log;

bool isCut(link_outcome_t outcome)
{
    return outcome >= link_outcome_t::cutUnresolvedTo;
}

} // namespace

bool StackVerifier::verify(std::vector<branch_t>& lbrStack, std::uint64_t ip, std::uint64_t tsc,
                           std::uint32_t pid, SegInstMap& kernelSegments,
                           SegInstMap& processSegments)
{
    return verify(lbrStack, ip, tsc, tsc, pid, kernelSegments, processSegments);
}

bool StackVerifier::verify(std::vector<branch_t>& lbrStack, std::uint64_t ip, std::uint64_t jitTime,
                           std::uint64_t tsc, std::uint32_t pid, SegInstMap& kernelSegments,
                           SegInstMap& processSegments)
{
    SF_DEBUG(g_log, "StackVerifier::verify: PID = " << pid << ", tsc = " << tsc << ", ip = " << ip
                                                    << ", lbrStackSize = " << lbrStack.size());
    m_lastLinks.clear();
    if (!ensureSymbolManager()) {
        SF_DEBUG(g_log, "Failed to initialize symbol manager");
        return false;
    }
    const Moment moment{jitTime, tsc, pid, kernelSegments, processSegments};
    Spot to;
    Spot from;
    std::uint64_t child = ip;
    for (std::size_t left = lbrStack.size(); left > 0; --left) {
        const branch_t& record = lbrStack[left - 1];
        SF_DEBUG(g_log, " ipChildFrom = " << Hex{child} << ", ipParentTo = " << Hex{record.to});
        to.path.clear();
        from.path.clear();
        link_outcome_t outcome = link_outcome_t::cutUnresolvedTo;
        if (!resolve(record.to, moment, to)) {
            SF_DEBUG(g_log, "Cannot resolve ipTo = " << Hex{record.to});
        } else if (!resolve(child, moment, from)) {
            SF_DEBUG(g_log, "Cannot resolve ipFrom = " << Hex{child});
            outcome = link_outcome_t::cutUnresolvedFrom;
        } else {
            outcome = checkLink(to, from, moment, child != ip);
        }
        m_lastLinks.push_back(outcome);
        if (isCut(outcome)) {
            lbrStack.erase(lbrStack.begin(),
                           std::next(lbrStack.begin(), static_cast<std::ptrdiff_t>(left)));
            break;
        }
        // Behind generated code the next link is still measured from the same child: where the
        // record came from cannot be told there.
        if (outcome != link_outcome_t::generatedCode) child = record.from;
    }
    return true;
}

link_outcome_t StackVerifier::checkLink(const Spot& to, const Spot& from, const Moment& moment,
                                        bool fromIsBranch)
{
    if (from.segment == nullptr || to.segment == nullptr) return link_outcome_t::generatedCode;
    if (from.segment != to.segment) {
        if (from.isKernel != to.isKernel) return link_outcome_t::privilegeChange;
        const std::int32_t entered = verifyByCrossmoduleTransition(to.path, to.rva);
        if (entered == link_check::holds) return link_outcome_t::linkageTable;
        if (entered != link_check::failed) return link_outcome_t::otherModule;
        SF_DEBUG(g_log, "Crossmodule verification failed: PID = "
                            << moment.pid << ", tsc = " << moment.tsc << ", ip_from = " << from.ip
                            << " (" << from.segment->modulePath << ")"
                            << ", ip_to = " << to.ip << " (" << to.path << ")");
        return link_outcome_t::cutCrossModule;
    }
    switch (verifyBySymbol(from.path, from.rva, to.rva)) {
    case link_check::holds:
        return link_outcome_t::symbol;
    case link_check::unconfirmed:
        return checkBlocks(to, from, moment, fromIsBranch);
    default:
        SF_DEBUG(g_log, "Symbol validation failed");
        return link_outcome_t::cutSymbol;
    }
}

link_outcome_t StackVerifier::checkBlocks(const Spot& to, const Spot& from, const Moment& moment,
                                          bool fromIsBranch)
{
    SF_DEBUG(g_log, "Symbol mismatch: PID = "
                        << moment.pid << ", tsc = " << moment.tsc << ", ip_from = " << from.ip
                        << " (" << from.segment->modulePath << ")"
                        << ", ip_to = " << to.ip << " (" << to.segment->modulePath << ")");
    if (verifyByBasicBlocks(from.path, from.rva, to.rva, fromIsBranch) == link_check::holds)
        return link_outcome_t::basicBlocks;
    SF_DEBUG(g_log, "Basic block validation failed");
    return link_outcome_t::cutBasicBlocks;
}

} // namespace samplefold_1
