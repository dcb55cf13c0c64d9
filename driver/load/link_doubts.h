#pragma once

#include <samplefold_1/stack_verifier.h>

#include <GLYPH_3_30/module_symbol_bank.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace samplefold::load {

/// One end of a link: an address in a module.
struct LinkEnd {
    std::string path; ///< of the module's file
    std::uint64_t rva = 0;
};

/// Second thoughts about links that a verifier let pass for want of proof. Calls that end by an
/// exception or a long jump leave their records behind, and what such a record entered has mostly
/// no way to what ran next: another function than the entry of the linkage table names, or another
/// module that nothing of the function leads to. One thread, that of its verifier.
class LinkDoubts {
public:
    /// `verifier` outlives the object.
    explicit LinkDoubts(samplefold_1::StackVerifier& verifier) : m_verifier(verifier) {}

    /// Whether control that entered at `to` is unlikely to have come to `child` by jumps alone.
    /// With `isBranch` that is the address of a branch, else of any instruction. False where there
    /// is no code to judge by.
    bool isDoubtful(const LinkEnd& to, const LinkEnd& child, bool isBranch);

private:
    using bank_t = GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank>;

    bool leadsTo(const LinkEnd& to, const LinkEnd& child, bool isBranch);
    bool mayGoOn(const bank_t& bank, std::uint64_t jump, const LinkEnd& to, const LinkEnd& child,
                 bool isBranch);
    bool isIn(const GLYPH_3_30::symbol_t& function, const LinkEnd& child, bool isBranch);
    bool isInLazyLinker(const LinkEnd& child);
    const GLYPH_3_30::symbol_t* function(std::string_view name, const std::string& path);
    bool neverReturns(const bank_t& bank, std::uint64_t rva) const;

    samplefold_1::StackVerifier& m_verifier;
    std::size_t m_blocksLeft = 0; ///< to look at for the link in hand; so is the next
    std::size_t m_entriesLeft = 0;
    /// Functions that linkage tables were found to name, by the path of the module and the name;
    /// null where the module has none of that name.
    std::map<std::pair<std::string, std::string>, const GLYPH_3_30::symbol_t*> m_functions;
};

} // namespace samplefold::load
