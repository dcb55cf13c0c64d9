#include "common/component_log.h"
#include "stack_verifier/number_text.h"
#include "stack_verifier/verifier_parts.h"

#include <cstring>
#include <vector>

namespace samplefold_1 {
namespace {

using GLYPH_3_30::IAddress;
using GLYPH_3_30::IModuleSymbolBank;
using GLYPH_3_30::ISymbolRange;
using GLYPH_3_30::SymMgrObjectPtr;
using pathnav_3::IBasicBlock;

ComponentLog g_log;

constexpr std::uint32_t g_functionsAndLabels = 17;
constexpr auto g_jump = static_cast<std::int32_t>(pathnav_3::terminator_t::jump);
constexpr auto g_return = static_cast<std::int32_t>(pathnav_3::terminator_t::ret);
/// The longest call instruction.
constexpr std::uint64_t g_longestCall = 7;

/// The place of an RVA in the module; null, with a line in the log, where it has none. `name` says
/// which address it is.
SymMgrObjectPtr<IAddress> locate(const IModuleSymbolBank& bank, std::uint64_t rva, const char* name)
{
    SymMgrObjectPtr<IAddress> place;
    if (bank.getLocation(rva, place) == GLYPH_3_30::status::success) return place;
    SF_DEBUG(g_log, "Failed to get location for RVA: " << name << rvaText(rva));
    return nullptr;
}

std::uint64_t startOf(const ISymbolRange& range, std::uint64_t (IAddress::*as)() const noexcept)
{
    SymMgrObjectPtr<IAddress> address;
    range.getStart(address);
    return (address.get()->*as)();
}

std::uint64_t endOf(const ISymbolRange& range, std::uint64_t (IAddress::*as)() const noexcept)
{
    SymMgrObjectPtr<IAddress> address;
    range.getEnd(address);
    return (address.get()->*as)();
}

bool startsAt(const ISymbolRange& range, const IAddress& place)
{
    return startOf(range, &IAddress::getValue) == place.getValue();
}

/// Whether the range, or what was inlined into it there, begins at the place.
bool isEntry(const ISymbolRange& range, const IAddress& place)
{
    if (startsAt(range, place)) return true;
    SymMgrObjectPtr<ISymbolRange> inner;
    range.getInnerRange(inner, place);
    return inner != nullptr && startsAt(*inner, place);
}

} // namespace

std::int32_t StackVerifier::verifyBySymbol(const std::string& path, std::uint64_t rvaFrom,
                                           std::uint64_t rvaTo)
{
    const auto bank = getCachedSymbolBank(path);
    if (bank == nullptr) return link_check::unconfirmed;
    const auto to = locate(*bank, rvaTo, "rva_to = ");
    if (to == nullptr) return link_check::failed;
    const auto from = locate(*bank, rvaFrom, "rva_from = ");
    if (from == nullptr) return link_check::failed;
    SymMgrObjectPtr<ISymbolRange> range;
    const auto status = bank->getSymbolRange(*to, range, g_functionsAndLabels, 0);
    if (range == nullptr) return link_check::unconfirmed;
    if (!isEntry(*range, *to)) {
        SF_DEBUG(g_log, "Invalid function start for "
                            << "rva_to = " << rvaText(rvaTo));
        return link_check::failed;
    }
    const bool isSure = status == GLYPH_3_30::status::success;
    const bool isHeld = isSure && startOf(*range, &IAddress::getValue) <= from->getValue() &&
                        from->getValue() < endOf(*range, &IAddress::getValue);
    return isHeld ? link_check::holds : link_check::unconfirmed;
}

std::int32_t StackVerifier::verifyByBasicBlocks(const std::string& path, std::uint64_t rvaFrom,
                                                std::uint64_t rvaTo, bool fromIsBranch)
{
    if (!m_usePATHNAV) return link_check::holds;
    const auto navigator = getCachedBlockNavigator(path);
    if (navigator == nullptr) return link_check::failed;
    navigator->goTo(rvaTo);
    IBasicBlock* block = navigator->getCurrentBlock();
    if (block == nullptr) return link_check::failed;

    ++m_visitGeneration;
    std::vector<std::uint64_t> pending{block->getStart()};
    while (!pending.empty()) {
        navigator->goTo(pending.back());
        pending.pop_back();
        block = navigator->getCurrentBlock();
        if (block == nullptr || block->visitMark() == m_visitGeneration) continue;
        const std::uint64_t start = block->getStart();
        const std::uint64_t last = block->getLastInstruction();
        const bool isReached =
            fromIsBranch ? last == rvaFrom : start <= rvaFrom && rvaFrom - start < block->getSize();
        if (isReached) return link_check::holds;
        block->visitMark() = m_visitGeneration;
        const std::uint64_t target = block->getTarget();
        const bool isKnown = target != IBasicBlock::unknownTarget;
        if (block->getTerminatorKind() == g_jump && !isKnown) {
            SF_DEBUG(g_log, "Indirect jump detected "
                                << "at RVA: " << rvaText(last));
            return link_check::holds;
        }
        if (isKnown && !block->isTargetExcluded()) pending.push_back(target);
        // Pushed last, so that straight code is looked at before jumps are followed.
        if (navigator->stepToFallThrough())
            pending.push_back(navigator->getCurrentBlock()->getStart());
    }
    return link_check::failed;
}

std::int32_t StackVerifier::verifyByCrossmoduleTransition(const std::string& path,
                                                          std::uint64_t rvaTo)
{
    const auto bank = getCachedSymbolBank(path);
    if (bank == nullptr) return link_check::unconfirmed;
    const auto to = locate(*bank, rvaTo, "rva_to = ");
    if (to == nullptr) return link_check::failed;
    SymMgrObjectPtr<GLYPH_3_30::ISection> section;
    if (bank->getSection(".plt", section) != GLYPH_3_30::status::success)
        return link_check::unconfirmed;
    const std::uint64_t start = section->getStart();
    const std::uint64_t value = to->getValue();
    if (value < start || value - start >= section->getSize()) return link_check::unconfirmed;
    SF_DEBUG(g_log, "Jump to PLT detected at "
                        << "rva_to = " << rvaText(rvaTo));
    return link_check::holds;
}

std::int32_t StackVerifier::verifyByCall(const std::string& path, std::uint64_t rvaFrom,
                                         std::uint64_t rvaSw)
{
    // Unsigned, so that a frame before the call is far behind it.
    if (!m_usePATHNAV)
        return rvaSw - rvaFrom > g_longestCall ? link_check::unconfirmed : link_check::holds;
    const auto navigator = path.empty() ? m_jitNavigator : getCachedBlockNavigator(path);
    if (navigator == nullptr) return link_check::failed;
    navigator->goTo(rvaFrom);
    const IBasicBlock* const block = navigator->getCurrentBlock();
    if (block == nullptr) {
        SF_DEBUG(g_log, "Cannot navigate to rvaFrom = " << std::hex << rvaFrom);
        return link_check::failed;
    }
    if (block->getLastInstruction() != rvaFrom) {
        SF_DEBUG(g_log, "rvaFrom is not a call instruction");
        return link_check::unconfirmed;
    }
    if (rvaFrom <= rvaSw && rvaSw - block->getStart() < block->getSize()) return link_check::holds;
    SF_DEBUG(g_log, "rvaSw is not a call instruction");
    return link_check::unconfirmed;
}

std::int32_t StackVerifier::verifyStackTop(const std::string& path, std::uint64_t rva)
{
    const auto bank = getCachedSymbolBank(path);
    if (bank == nullptr) return link_check::failed;
    SymMgrObjectPtr<IAddress> place;
    if (bank->getLocation(rva, place) != GLYPH_3_30::status::success) {
        SF_DEBUG(g_log, "Failed to get location for RVA: " << Hex{rva});
        return link_check::failed;
    }
    SymMgrObjectPtr<ISymbolRange> range;
    bank->getSymbolRange(*place, range, g_functionsAndLabels, 0);
    if (range == nullptr) {
        SF_DEBUG(g_log, "Failed to get symbol range for RVA: " << Hex{rva});
        return link_check::failed;
    }
    const auto symbol = range->getSymbol();
    const char* const name = symbol->getName();
    SF_DEBUG(g_log, " Top function: " << name);
    if (std::strcmp(name, "_start") == 0 || std::strcmp(name, "clone") == 0)
        return link_check::holds;
    if (!m_usePATHNAV) return link_check::failed;
    const auto navigator = getCachedBlockNavigator(path);
    if (navigator == nullptr) return link_check::failed;

    navigator->goTo(startOf(*range, &IAddress::getRva));
    if (navigator->getCurrentBlock() == nullptr) {
        SF_DEBUG(g_log,
                 "Cannot navigate to BB " << std::hex << startOf(*range, &IAddress::getValue));
        return link_check::failed;
    }
    const std::uint64_t end = endOf(*range, &IAddress::getRva);
    do {
        const IBasicBlock& block = *navigator->getCurrentBlock();
        if (end <= block.getStart()) return link_check::holds;
        if (block.getTerminatorKind() == g_return) return link_check::unconfirmed;
    } while (navigator->stepToNext());
    return link_check::holds;
}

} // namespace samplefold_1
