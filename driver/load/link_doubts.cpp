#include "load/link_doubts.h"

#include <unordered_set>
#include <vector>

namespace samplefold::load {

using GLYPH_3_30::symbol_t;
using pathnav_3::IBasicBlock;

namespace {

constexpr std::string_view g_linkageSuffix = "@plt";
/// The dynamic linker's entry, which looks a function up and jumps to it.
constexpr std::string_view g_lazyLinker = "_dl_runtime_resolve";
constexpr auto g_jump = static_cast<std::int32_t>(pathnav_3::terminator_t::jump);
/// Blocks that are looked at before a link is let be.
constexpr std::size_t g_mostBlocks = 2000;

std::string_view withoutVersion(std::string_view name)
{
    return name.substr(0, name.find('@'));
}

} // namespace

bool LinkDoubts::isDoubtful(const LinkEnd& to, const LinkEnd& child, bool isBranch)
{
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
        if (visited.size() > g_mostBlocks) return true;
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
    if (isEntry) {
        const std::string_view name = entry.name;
        return isNamed(withoutVersion(name.substr(0, name.size() - g_linkageSuffix.size())), child,
                       isBranch);
    }
    return to.path == child.path && !neverReturns(bank, to.rva);
}

/// Whether the child lies in the function of that name, in one that it jumps to, or may lie in one
/// that was picked for it at the start of the program.
bool LinkDoubts::isNamed(std::string_view name, const LinkEnd& child, bool isBranch)
{
    const bank_t bank = m_verifier.getCachedSymbolBank(child.path);
    const std::uint64_t base = bank->getPreferredLoadAddress();
    symbol_t held;
    if (!bank->findSymbol(child.rva + base, held)) return true;
    if (std::string_view(held.name).starts_with(g_lazyLinker)) return true;
    const symbol_t* const named = function(name, child.path);
    if (named == nullptr) return false;
    return named->isChooser || named->start == held.start ||
           leadsTo({child.path, named->start - base}, child, isBranch);
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
