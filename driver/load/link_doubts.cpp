#include "load/link_doubts.h"

#include <algorithm>
#include <array>
#include <unordered_set>
#include <vector>

namespace samplefold::load {

using GLYPH_3_30::symbol_t;
using pathnav_3::IBasicBlock;

namespace {

constexpr std::string_view g_linkageSuffix = "@plt";
constexpr std::string_view g_lazyLinker = "_dl_runtime_resolve";
/// Functions that may come back, but mostly go on in the code of another frame.
constexpr std::array<std::string_view, 5> g_goElsewhere{
    "_Unwind_ForcedUnwind", "_Unwind_RaiseException", "_Unwind_Resume_or_Rethrow", "setcontext",
    "swapcontext"};
constexpr auto g_jump = static_cast<std::int32_t>(pathnav_3::terminator_t::jump);
/// Blocks that are looked at, and entries of linkage tables that are followed one out of the other,
/// before a link is let be. Tables may lead in a circle.
constexpr std::size_t g_mostBlocks = 2000;
constexpr std::size_t g_mostEntries = 8;

bool goesElsewhere(std::string_view name)
{
    return std::ranges::find(g_goElsewhere, name) != g_goElsewhere.end();
}

std::string_view withoutVersion(std::string_view name)
{
    return name.substr(0, name.find('@'));
}

} // namespace

bool LinkDoubts::isDoubtful(const LinkEnd& to, const LinkEnd& child, bool isBranch)
{
    m_blocksLeft = g_mostBlocks;
    m_entriesLeft = g_mostEntries;
    const bank_t bank = m_verifier.getCachedSymbolBank(to.path);
    return bank != nullptr && m_verifier.getCachedSymbolBank(child.path) != nullptr &&
           !leadsTo(to, child, isBranch);
}

/// The walk of a verifier's search, but an indirect jump must be one that may lead to the child.
bool LinkDoubts::leadsTo(const LinkEnd& to, const LinkEnd& child, bool isBranch)
{
    const bank_t bank = m_verifier.getCachedSymbolBank(to.path);
    const auto navigator = m_verifier.getCachedBlockNavigator(to.path);
    if (navigator == nullptr) return true;
    const bool isSameModule = to.path == child.path;
    std::unordered_set<std::uint64_t> visited;
    std::vector<std::uint64_t> pending{to.rva};
    while (!pending.empty()) {
        navigator->goTo(pending.back());
        pending.pop_back();
        const IBasicBlock* const block = navigator->getCurrentBlock();
        if (block == nullptr || !visited.insert(block->getStart()).second) continue;
        if (m_blocksLeft == 0) return true;
        --m_blocksLeft;
        const std::uint64_t last = block->getLastInstruction();
        const bool isReached =
            isBranch ? last == child.rva : child.rva - block->getStart() < block->getSize();
        if (isSameModule && isReached) return true;
        const std::uint64_t target = block->getTarget();
        const bool isKnown = target != IBasicBlock::unknownTarget;
        if (block->getTerminatorKind() == g_jump && !isKnown &&
            mayGoOn(bank, last, to, child, isBranch))
            return true;
        if (isKnown && !block->isTargetExcluded()) pending.push_back(target);
        if (navigator->stepToFallThrough())
            pending.push_back(navigator->getCurrentBlock()->getStart());
    }
    return false;
}

/// An entry of the linkage table leads to the function that it names. Any other indirect jump may
/// lead anywhere in its own module; into another one it goes through the table.
bool LinkDoubts::mayGoOn(const bank_t& bank, std::uint64_t jump, const LinkEnd& to,
                         const LinkEnd& child, bool isBranch)
{
    symbol_t entry;
    const bool isEntry = bank->findSymbol(jump + bank->getPreferredLoadAddress(), entry) &&
                         entry.origin == GLYPH_3_30::symbol_origin_t::linkageTable;
    if (!isEntry) return to.path == child.path && !neverReturns(bank, to.rva);
    std::string_view name = entry.name;
    name = withoutVersion(name.substr(0, name.size() - g_linkageSuffix.size()));
    if (const symbol_t* const named = function(name, child.path); named != nullptr)
        return isIn(*named, child, isBranch);
    // A function of a third module may jump on to the child's, as those that free memory do.
    const std::uint64_t rva = entry.start - bank->getPreferredLoadAddress();
    return isInLazyLinker(child) || (!neverReturns(bank, rva) && !goesElsewhere(name));
}

/// Whether the child lies in the function, in one that it jumps to, or may lie in one that was
/// picked for it at the start of the program.
bool LinkDoubts::isIn(const symbol_t& function, const LinkEnd& child, bool isBranch)
{
    const bank_t bank = m_verifier.getCachedSymbolBank(child.path);
    const std::uint64_t base = bank->getPreferredLoadAddress();
    symbol_t held;
    if (function.isChooser || !bank->findSymbol(child.rva + base, held) ||
        held.start == function.start || m_entriesLeft == 0)
        return true;
    --m_entriesLeft;
    return leadsTo({child.path, function.start - base}, child, isBranch);
}

/// The dynamic linker's entry looks a function up and jumps to it.
bool LinkDoubts::isInLazyLinker(const LinkEnd& child)
{
    const bank_t bank = m_verifier.getCachedSymbolBank(child.path);
    symbol_t held;
    return !bank->findSymbol(child.rva + bank->getPreferredLoadAddress(), held) ||
           std::string_view(held.name).starts_with(g_lazyLinker);
}

const symbol_t* LinkDoubts::function(std::string_view name, const std::string& path)
{
    const auto [entry, isNew] = m_functions.try_emplace({path, std::string(name)}, nullptr);
    if (!isNew) return entry->second;
    for (const symbol_t& symbol : m_verifier.getCachedSymbolBank(path)->getSymbols()) {
        const bool isEntry = symbol.origin == GLYPH_3_30::symbol_origin_t::linkageTable;
        if (isEntry || withoutVersion(symbol.name) != name) continue;
        entry->second = &symbol;
        break;
    }
    return entry->second;
}

bool LinkDoubts::neverReturns(const bank_t& bank, std::uint64_t rva) const
{
    constexpr std::uint64_t relative = 0xFFFFFFFFFFFFFFFF;
    return pathnav_3::IGLYPHDataSource::create(bank, false, relative)->neverReturns(rva);
}

} // namespace samplefold::load
