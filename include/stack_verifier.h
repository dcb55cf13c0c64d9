#pragma once

#include "export.h"
#include "lbr_entry.h"
#include "loader_context.h"
#include "seg_inst_map.h"
#include "static_module_info.h"

#include <GLYPH_3_30/symbol_manager.h>
#include <jitlens_3_13/symbol_resolver.h>
#include <pathnav_3/basic_block_navigator.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// How much of a stack of branch records can be trusted, and one call chain out of it and the chain
// that software collected.
namespace samplefold_1 {

/// Stands in a call chain as a frame: here the chain goes on, but it is not known how.
inline constexpr std::uint64_t IP_SKIPPED_FRAMES = 0xFFFFFFFFFFFFFFFF;

/// What the checks of a link answer.
namespace link_check {
inline constexpr std::int32_t holds = 0;
inline constexpr std::int32_t unconfirmed = 1; ///< whether that is fatal depends on the check
inline constexpr std::int32_t failed = 2;      ///< it does not hold, or the check could not run
} // namespace link_check

/// Why verify kept or cut at a link.
enum class link_outcome_t : std::uint8_t {
    generatedCode,     ///< kept: one end is generated code, nothing was checked
    linkageTable,      ///< kept: another module was entered by its linkage table
    otherModule,       ///< kept: another module was entered elsewhere
    privilegeChange,   ///< kept: between user and kernel code
    symbol,            ///< kept: a function begins at the one end and holds the other
    basicBlocks,       ///< kept: control flow leads from the one to the other
    cutUnresolvedTo,   ///< the record's `to` is in no known code
    cutUnresolvedFrom, ///< the address that ran after it is in no known code
    cutCrossModule,    ///< the other module has no such place
    cutSymbol,         ///< the record leads into the middle of a function
    cutBasicBlocks     ///< no way leads from the one to the other
};

/// What became of a merge.
enum class merge_outcome_t : std::uint8_t {
    none,            ///< nothing was merged yet
    complete,        ///< the merged chain ends in a proven top
    marked,          ///< the merged chain ends in the marker
    notNecessary,    ///< the chain does not end in the marker, or both stacks are empty
    noRecordsLeft,   ///< the software chain is at least as long as the records
    unresolvedFrame, ///< a frame of the software chain is in no known code
    unresolvedFrom,  ///< a record's `from` is in no known code
    otherModule,     ///< a frame and the record that it pairs with are in different modules
    otherCall,       ///< a frame does not belong to the call of the record
    unresolvedLast   ///< the last frame of the merged chain is in no known code
};

/// What a verifier keeps of a module, from its first link on.
struct ModuleStackValidationCache {
    // Members are destroyed from the last to the first: the navigator before its bank.
    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank> symbolBank; ///< null without symbols
    pathnav_3::ObjectPtr<pathnav_3::IBasicBlockNavigator> blockNavigator;  ///< on first need
};

/// Checks branch record stacks against the code they claim to have run through, and merges them
/// with call chains. Symbols and blocks of a module are read once, at the first link that needs
/// them, failures included. Nothing raises: what goes wrong is an answer, and a line at debug
/// level. All addresses are canonical; RVAs count from a module's load address. One thread at a
/// time, with its own StaticModuleInfoCache; segment maps may be shared by verifiers once they were
/// asked a first time.
class SAMPLEFOLD_1_API StackVerifier {
public:
    /// `staticModuleInfo` and `loaderContext` outlive the verifier. Without a context (null)
    /// generated code is not resolved. With `usePATHNAV` off no code is decoded: a mismatch of
    /// symbols alone then cuts nothing, and calls are told by their distance.
    StackVerifier(StaticModuleInfoCache& staticModuleInfo, const LoaderContext* loaderContext,
                  bool usePATHNAV);
    ~StackVerifier();
    StackVerifier(const StackVerifier&) = delete;
    StackVerifier& operator=(const StackVerifier&) = delete;

    /// Walks the links of `lbrStack` (oldest record first) from the newest record, whose `to` must
    /// lead to the sampled address `ip`, to the oldest. Records from the first bad link on, that
    /// link's record included, are erased; the rest keeps its order. `tsc` is the sample's tick on
    /// the clock of the maps, `jitTime` the same moment on that of JIT data. False, with the stack
    /// untouched, only when symbols cannot be read at all; the next call tries again.
    bool verify(std::vector<branch_t>& lbrStack, std::uint64_t ip, std::uint64_t jitTime,
                std::uint64_t tsc, std::uint32_t pid, SegInstMap& kernelSegments,
                SegInstMap& processSegments);
    /// The same where both clocks are one.
    bool verify(std::vector<branch_t>& lbrStack, std::uint64_t ip, std::uint64_t tsc,
                std::uint32_t pid, SegInstMap& kernelSegments, SegInstMap& processSegments);

    /// Lays `callchain` (leaf first; its last frame may be IP_SKIPPED_FRAMES) over the verified
    /// records and continues it with theirs, in place. True when `callchain` holds the merged
    /// chain, with the marker at the end where no proven top was reached. False when there was
    /// nothing to merge or the two do not fit; `callchain` is unchanged then, unless it was the
    /// last frame that could not be resolved. After verify(), on the same verifier. Whether return
    /// addresses are to be shown as the calls before them is up to the caller: a frame pairs with a
    /// record when it lies in the block of the record's call, or with `usePATHNAV` off up to 7
    /// bytes behind it.
    bool merge(std::vector<branch_t>& lbrStack, std::vector<std::uint64_t>& callchain,
               std::uint64_t jitTime, std::uint64_t tsc, std::uint32_t pid,
               SegInstMap& kernelSegments, SegInstMap& processSegments,
               const boost::intrusive_ptr<jitlens_3_13::ISymbolResolver>& resolver);

    /// Why the last verify kept or cut, a word per link that it looked at, the newest first. Until
    /// the next call.
    const std::vector<link_outcome_t>& lastLinks() const noexcept { return m_lastLinks; }
    /// What became of the last merge.
    merge_outcome_t lastMerge() const noexcept { return m_lastMerge; }

    /// Where `ip` was in code: its segment instance and RVA, whether that is the kernel's, and the
    /// path of the module's file (empty without one). In generated code `segment` is null,
    /// `isKernel` true, and `modulePath` stays. False when nothing is known there. `segment`
    /// belongs to its map.
    bool getRva(std::uint64_t ip, std::uint64_t jitTime, std::uint64_t tsc, std::uint32_t pid,
                SegInstMap& kernelSegments, SegInstMap& processSegments, std::uint64_t& rva,
                SegInstInfo*& segment, bool& isKernel, std::string& modulePath);

    // The checks of one link. `rvaTo` is where code was entered, `rvaFrom` the address that ran
    // then. Each answers with a link_check.

    /// Does a function start at `rvaTo` that holds `rvaFrom`? failed when `rvaTo` is inside of one,
    /// or when either has no place in the module. A range that is inlined at `rvaTo` and begins
    /// there makes up for the first. unconfirmed without symbols, and where the end of the function
    /// is a guess.
    std::int32_t verifyBySymbol(const std::string& path, std::uint64_t rvaFrom,
                                std::uint64_t rvaTo);
    /// Can control flow lead from `rvaTo` to `rvaFrom` without leaving by a return? With
    /// `fromIsBranch` `rvaFrom` must end a block, else lie in one. An indirect jump on the way
    /// holds, and so does everything with `usePATHNAV` off. Never unconfirmed. Needs a bank asked
    /// for before, and fails without.
    std::int32_t verifyByBasicBlocks(const std::string& path, std::uint64_t rvaFrom,
                                     std::uint64_t rvaTo, bool fromIsBranch);
    /// Was the module entered by its procedure linkage table? unconfirmed when not, or without
    /// symbols; failed when `rvaTo` has no place in the module.
    std::int32_t verifyByCrossmoduleTransition(const std::string& path, std::uint64_t rvaTo);
    /// Does `rvaSw`, of the software chain, lie within the call at `rvaFrom`? unconfirmed when not;
    /// failed where there is no code, or no bank was asked for before. An empty path stands for
    /// generated code, of the resolver that merge() was given last. With `usePATHNAV` off up to 7
    /// bytes behind `rvaFrom` hold.
    std::int32_t verifyByCall(const std::string& path, std::uint64_t rvaFrom, std::uint64_t rvaSw);
    /// Is `rva` in a function that is no one's callee: one named _start or clone, or one that never
    /// returns? unconfirmed when it can return; failed without a symbol there, and, for other
    /// names, without code or with `usePATHNAV` off.
    std::int32_t verifyStackTop(const std::string& path, std::uint64_t rva);

    /// Symbols of the file at `path`, read by the first call; null when they cannot be.
    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank>
    getCachedSymbolBank(const std::string& path);
    /// Blocks of a module whose symbols were asked for; null before.
    pathnav_3::ObjectPtr<pathnav_3::IBasicBlockNavigator>
    getCachedBlockNavigator(const std::string& path);

private:
    struct Moment;
    struct Spot;

    bool ensureSymbolManager();
    bool resolve(std::uint64_t ip, const Moment& moment, Spot& spot);
    link_outcome_t checkLink(const Spot& to, const Spot& from, const Moment& moment,
                             bool fromIsBranch);
    link_outcome_t checkBlocks(const Spot& to, const Spot& from, const Moment& moment,
                               bool fromIsBranch);
    merge_outcome_t mergeChain(const std::vector<branch_t>& lbrStack,
                               std::vector<std::uint64_t>& callchain, const Moment& moment);
    merge_outcome_t pairFrame(Spot& spot, std::uint64_t ipFrom, const Moment& moment);
    merge_outcome_t endChain(std::vector<std::uint64_t>& callchain, std::uint64_t ipFrom,
                             const Moment& moment, Spot& spot);
    void useResolver(const boost::intrusive_ptr<jitlens_3_13::ISymbolResolver>& resolver);

    std::map<std::string, ModuleStackValidationCache> m_moduleCaches;
    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::ISymbolManager> m_symbolManager;
    std::uint64_t m_visitGeneration = 0; ///< marks of new blocks are 0, those of a search never
    StaticModuleInfoCache* m_staticModuleInfo;
    const LoaderContext* m_loaderContext;
    boost::intrusive_ptr<jitlens_3_13::ISymbolResolver> m_jitResolver;
    pathnav_3::ObjectPtr<pathnav_3::IBasicBlockNavigator> m_jitNavigator;
    bool m_usePATHNAV;
    std::vector<link_outcome_t> m_lastLinks;
    merge_outcome_t m_lastMerge = merge_outcome_t::none;
};

} // namespace samplefold_1
