#include "load/branch_resolver.h"

#include <algorithm>

namespace samplefold::load {

using pathnav_3::IBasicBlock;
using samplefold_1::branch_t;
using samplefold_1::IP_SKIPPED_FRAMES;
using samplefold_1::merge_outcome_t;
namespace link_check = samplefold_1::link_check;

namespace {

/// An address that no search comes to.
constexpr std::uint64_t g_nowhere = 0xFFFFFFFFFFFFFFFF;
constexpr auto g_call = static_cast<std::int32_t>(pathnav_3::terminator_t::call);

/// Whether a frame is an address that was interrupted, not one behind a call: the sampled one, and
/// the user's behind the kernel's.
bool isInterrupted(const std::vector<Frame>& frames, std::size_t at)
{
    return at == 0 || (frames[at].space == Space::user && frames[at - 1].space == Space::kernel);
}

/// An address inside of the instruction that a frame stands for.
std::uint64_t insideOf(const std::vector<Frame>& frames, std::size_t at)
{
    return isInterrupted(frames, at) ? frames[at].address : frames[at].address - 1;
}

/// Frames ahead of those that records stand for: the sampled one, or the kernel's with the user
/// address that it was entered from.
std::size_t framesAheadOfRecords(const std::vector<Frame>& frames)
{
    std::size_t ahead = 1;
    while (ahead < framesOf(frames) && frames[ahead].space == Space::kernel)
        ++ahead;
    const bool isEntered = frames[0].space == Space::kernel && ahead < framesOf(frames);
    return ahead + (isEntered ? 1 : 0);
}

bool isConflict(merge_outcome_t outcome)
{
    return outcome == merge_outcome_t::otherCall || outcome == merge_outcome_t::otherModule;
}

} // namespace

BranchResolver::BranchResolver(const BranchSetting& setting,
                               const tb2::sptr_t<rowvault1::IDatabase>& db,
                               const std::string& resultFolder)
    : m_setting(setting), m_modules(db, resultFolder),
      m_verifier(m_modules, setting.context, setting.options.navigate), m_doubts(m_verifier)
{
}

void BranchResolver::knowSegment(const samplefold_1::SegInstInfo& segment)
{
    m_modules.getModuleInfo(segment.moduleIndex, segment.modulePath);
    m_modules.getOffsetFromModuleLoadAddress(segment.segInstIndex, segment.modulePath,
                                             segment.offsetInFile);
}

void BranchResolver::resolve(BranchTask& task)
{
    task.chain = task.software;
    task.source = task.software.empty() ? ChainSource::none : ChainSource::software;
    if (m_setting.options.use == BranchUse::raw) {
        if (task.kind == BranchKind::callStack) takeUnchecked(task);
    } else if (task.kind == BranchKind::callStack) {
        resolveCallStack(task);
    } else if (task.kind == BranchKind::taken && m_setting.options.navigate) {
        judgeTaken(task);
    }
}

/// Records stand in for a software chain that has no callers.
void BranchResolver::takeUnchecked(BranchTask& task)
{
    if (task.software.empty() || framesOf(task.software) > framesAheadOfRecords(task.software))
        return;
    task.chain.resize(framesAheadOfRecords(task.software));
    for (auto record = task.records.rbegin(); record != task.records.rend(); ++record) {
        task.callFrames.push_back(task.chain.size());
        task.chain.push_back({frameSpaceOf(record->from), record->from});
    }
    task.source = ChainSource::records;
}

void BranchResolver::resolveCallStack(BranchTask& task)
{
    std::vector<branch_t> kept = task.records;
    verify(task, kept);
    if (m_setting.options.navigate) cutDoubtful(task, kept);
    if (task.software.empty()) return;
    trustSoftware(task);
    if (m_setting.options.use == BranchUse::merge && merge(task, kept)) return;
    choose(task, kept);
}

void BranchResolver::verify(BranchTask& task, std::vector<branch_t>& kept)
{
    m_verifier.verify(kept, task.ip, task.jitTime, task.tick, task.pid, *m_setting.kernelSegments,
                      *task.userSegments);
    task.verdicts.assign(task.records.size(), verdict::behindCut);
    const auto& links = m_verifier.lastLinks();
    std::transform(links.begin(), links.end(), task.verdicts.begin(), verdict::letterOf);
    Spot cut;
    const bool isCutByBlocks =
        !links.empty() && links.back() == samplefold_1::link_outcome_t::cutBasicBlocks;
    if (isCutByBlocks && find(task, task.records[task.records.size() - links.size()].to, cut) &&
        cut.path.empty())
        task.verdicts[links.size() - 1] = verdict::noFile;
}

/// Only what a function's own extent did not prove is looked at again.
void BranchResolver::cutDoubtful(BranchTask& task, std::vector<branch_t>& kept)
{
    using samplefold_1::link_outcome_t;
    const auto& links = m_verifier.lastLinks();
    std::uint64_t child = task.ip;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        const branch_t& record = kept[kept.size() - 1 - i];
        const link_outcome_t outcome = links[i];
        const bool isWeak = outcome == link_outcome_t::basicBlocks ||
                            outcome == link_outcome_t::linkageTable ||
                            outcome == link_outcome_t::otherModule;
        Spot to;
        Spot from;
        if (isWeak && find(task, record.to, to) && find(task, child, from) &&
            m_doubts.isDoubtful({to.path, to.rva}, {from.path, from.rva}, i != 0)) {
            task.verdicts[i] = verdict::doubtful;
            std::fill(task.verdicts.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                      task.verdicts.end(), verdict::behindCut);
            kept.erase(kept.begin(), kept.end() - static_cast<std::ptrdiff_t>(i));
            return;
        }
        if (outcome != link_outcome_t::generatedCode) child = record.from;
    }
}

void BranchResolver::judgeTaken(BranchTask& task)
{
    std::uint64_t child = task.ip;
    for (auto record = task.records.rbegin(); record != task.records.rend(); ++record) {
        task.verdicts += judgeLink(task, record->to, child, record != task.records.rbegin());
        child = record->from;
    }
}

char BranchResolver::judgeLink(const BranchTask& task, std::uint64_t to, std::uint64_t child,
                               bool isBranch)
{
    Spot entered;
    Spot left;
    if (!find(task, to, entered) || !find(task, child, left)) return verdict::unchecked;
    if (entered.segment != left.segment) return verdict::other;
    if (entered.segment == nullptr || m_verifier.getCachedSymbolBank(entered.path) == nullptr)
        return verdict::unchecked;
    const bool holds = m_verifier.verifyByBasicBlocks(entered.path, left.rva, entered.rva,
                                                      isBranch) == link_check::holds;
    return verdict::letterOf(holds ? samplefold_1::link_outcome_t::basicBlocks
                                   : samplefold_1::link_outcome_t::cutBasicBlocks);
}

bool BranchResolver::find(const BranchTask& task, std::uint64_t ip, Spot& spot)
{
    return m_verifier.getRva(ip, task.jitTime, task.tick, task.pid, *m_setting.kernelSegments,
                             *task.userSegments, spot.rva, spot.segment, spot.isKernel, spot.path);
}

/// Cuts the software chain at the first frame that cannot be one, and marks it unless it is
/// complete.
void BranchResolver::trustSoftware(BranchTask& task)
{
    m_trusted.assign(task.software.begin(), task.software.begin() + 1);
    m_trust.assign(1, Trust::certain);
    for (std::size_t i = 1; i < framesOf(task.software); ++i) {
        const Trust trust = trustIn(task, i);
        if (trust == Trust::none) break;
        m_trusted.push_back(task.software[i]);
        m_trust.push_back(trust);
    }
    const bool isWhole = m_trusted.size() == task.software.size();
    task.isComplete = isWhole && isTop(task, insideOf(m_trusted, m_trusted.size() - 1));
    if (!task.isComplete) m_trusted.push_back(skippedFrames);
}

/// A caller's address lies behind a call, and what was called leads to the frame before.
BranchResolver::Trust BranchResolver::trustIn(const BranchTask& task, std::size_t frame)
{
    const std::vector<Frame>& frames = task.software;
    if (frames[frame].space != Space::user || isInterrupted(frames, frame)) return Trust::certain;
    Spot call;
    if (!find(task, insideOf(frames, frame), call)) return Trust::none;
    if (call.segment == nullptr || !m_setting.options.navigate ||
        m_verifier.getCachedSymbolBank(call.path) == nullptr)
        return Trust::possible;
    const auto navigator = m_verifier.getCachedBlockNavigator(call.path);
    navigator->goTo(call.rva);
    const IBasicBlock* const block = navigator->getCurrentBlock();
    const bool isBehindCall = block != nullptr && block->getTerminatorKind() == g_call &&
                              block->getStart() + block->getSize() == call.rva + 1;
    if (!isBehindCall) return Trust::none;
    const std::uint64_t target = block->getTarget();
    if (target == IBasicBlock::unknownTarget) return Trust::possible;

    Spot callee;
    if (!find(task, insideOf(frames, frame - 1), callee)) return Trust::none;
    const bool isSameModule = callee.segment == call.segment;
    if (isSameModule &&
        m_verifier.verifyBySymbol(call.path, callee.rva, target) == link_check::holds)
        return Trust::certain;
    // By a jump: of a tail call, or of the linkage table, whose jumps lead anywhere.
    const std::uint64_t reached = isSameModule ? callee.rva : g_nowhere;
    const bool isReachable =
        m_verifier.verifyByBasicBlocks(call.path, reached, target, false) == link_check::holds;
    return isReachable ? Trust::possible : Trust::none;
}

bool BranchResolver::isTop(const BranchTask& task, std::uint64_t inside)
{
    Spot spot;
    return find(task, inside, spot) && !spot.path.empty() &&
           m_verifier.verifyStackTop(spot.path, spot.rva) == link_check::holds;
}

bool BranchResolver::merge(BranchTask& task, std::vector<branch_t>& kept)
{
    if (mergeOnce(task, kept)) return true;
    if (!isConflict(task.merge) || kept.empty()) return false;
    const std::vector<Frame> before = m_trusted;
    const merge_outcome_t outcome = task.merge;
    insertCaller(task, kept.back().from);
    if (mergeOnce(task, kept)) return true;
    if (task.merge == merge_outcome_t::noRecordsLeft) {
        // With the caller it is as long as the records, which tell no more.
        task.chain = m_trusted;
        task.source = ChainSource::merged;
        task.merge = merge_outcome_t::marked;
        return true;
    }
    m_trusted = before;
    task.merge = outcome;
    return false;
}

/// Puts a caller behind the frame that was sampled or interrupted.
void BranchResolver::insertCaller(BranchTask& task, std::uint64_t from)
{
    const auto at = static_cast<std::ptrdiff_t>(framesAheadOfRecords(m_trusted));
    m_trusted.insert(m_trusted.begin() + at, {frameSpaceOf(from), from + callLength(task, from)});
}

/// The sampled frame of user code pairs with no record; in kernel code all frames are told, since
/// it is the merge that knows the kernel's.
bool BranchResolver::mergeOnce(BranchTask& task, std::vector<branch_t>& kept)
{
    const std::size_t first = m_trusted.front().space == Space::kernel ? 0 : 1;
    m_callers.clear();
    for (std::size_t i = first; i < m_trusted.size(); ++i) {
        m_callers.push_back(isSkippedFrames(m_trusted[i]) ? IP_SKIPPED_FRAMES
                                                          : insideOf(m_trusted, i));
    }
    const bool isMerged =
        m_verifier.merge(kept, m_callers, task.jitTime, task.tick, task.pid,
                         *m_setting.kernelSegments, *task.userSegments, m_setting.jitSymbols);
    task.merge = m_verifier.lastMerge();
    if (!isMerged) return false;
    const std::size_t software = framesOf(m_trusted);
    task.chain.assign(m_trusted.begin(), m_trusted.begin() + static_cast<std::ptrdiff_t>(software));
    for (std::size_t i = software - first; i < m_callers.size(); ++i) {
        if (m_callers[i] == IP_SKIPPED_FRAMES)
            task.chain.push_back(skippedFrames);
        else
            addCaller(task, m_callers[i]);
    }
    task.source = ChainSource::merged;
    task.isComplete = task.merge == merge_outcome_t::complete;
    return true;
}

/// Where the two disagree, a software frame whose call is known to lead to the frame before is
/// better than records, of which some may be left over from calls that ended otherwise than by a
/// return.
void BranchResolver::choose(BranchTask& task, const std::vector<branch_t>& kept)
{
    const bool isCertain =
        std::ranges::all_of(m_trust, [](Trust trust) { return trust == Trust::certain; });
    const std::size_t ahead = framesAheadOfRecords(m_trusted);
    const bool isSoftware =
        isConflict(task.merge) ? isCertain : framesOf(m_trusted) >= ahead + kept.size();
    task.chain = m_trusted;
    if (isSoftware) return;
    task.source = ChainSource::records;
    task.chain.resize(ahead);
    for (auto record = kept.rbegin(); record != kept.rend(); ++record)
        addCaller(task, record->from);
    task.isComplete = !kept.empty() && isTop(task, kept.front().from);
    if (!task.isComplete) task.chain.push_back(skippedFrames);
}

/// A record has the address of the call; callers have that behind it where the code tells how long
/// the call is.
void BranchResolver::addCaller(BranchTask& task, std::uint64_t from)
{
    const std::uint64_t length = callLength(task, from);
    if (length == 0) task.callFrames.push_back(task.chain.size());
    task.chain.push_back({frameSpaceOf(from), from + length});
}

/// Bytes of the call at `from`; 0 when they are not known.
std::uint64_t BranchResolver::callLength(const BranchTask& task, std::uint64_t from)
{
    Spot spot;
    if (!m_setting.options.navigate || !find(task, from, spot) || spot.segment == nullptr ||
        m_verifier.getCachedSymbolBank(spot.path) == nullptr)
        return 0;
    const auto navigator = m_verifier.getCachedBlockNavigator(spot.path);
    navigator->goTo(spot.rva);
    const IBasicBlock* const block = navigator->getCurrentBlock();
    const bool isCall = block != nullptr && block->getLastInstruction() == spot.rva;
    return isCall ? block->getStart() + block->getSize() - spot.rva : 0;
}

} // namespace samplefold::load
