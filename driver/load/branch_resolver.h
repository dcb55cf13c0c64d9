#pragma once

#include "load/branch_task.h"
#include "load/link_doubts.h"

#include <rowvault1/database.h>
#include <samplefold_1/loader_context.h>
#include <samplefold_1/stack_verifier.h>

#include <cstdint>
#include <string>
#include <vector>

namespace samplefold::load {

/// What all workers on branch records share. It outlives them.
struct BranchSetting {
    BranchOptions options;
    const samplefold_1::LoaderContext* context = nullptr;
    samplefold_1::SegInstMap* kernelSegments = nullptr;             ///< asked a first time already
    boost::intrusive_ptr<jitlens_3_13::ISymbolResolver> jitSymbols; ///< null without generated code
};

/// Settles stacks of branch records: one worker's verifier, with what it keeps of modules. One
/// thread at a time, apart from `knowSegment`, which is the loading thread's.
///
/// The chain that comes out is the merged one where the software chain and the verified records
/// fit together; also where they do with the caller of the sampled function filled in from the
/// records, which a walk by frame pointers leaves out while a function has no frame yet or no more.
/// Else it is the longer of what can be trusted of the two, the software chain where both are as
/// long: of the software chain the frames that lie behind a call which may have led to the frame
/// before, of the records those that passed. It ends in IP_SKIPPED_FRAMES unless its last frame is
/// proven to be the outermost one.
class BranchResolver {
public:
    /// `resultFolder` is that of the result.
    BranchResolver(const BranchSetting& setting, const tb2::sptr_t<rowvault1::IDatabase>& db,
                   const std::string& resultFolder);

    /// Reads the layout of the module behind a segment instance, so that work asks no database.
    void knowSegment(const samplefold_1::SegInstInfo& segment);

    /// Fills what comes out of `task`.
    void resolve(BranchTask& task);

private:
    /// An address in code.
    struct Spot {
        std::uint64_t rva = 0;
        samplefold_1::SegInstInfo* segment = nullptr;
        bool isKernel = false;
        std::string path;
    };
    /// How much a frame of the software chain can be trusted.
    enum class Trust : std::uint8_t { none, possible, certain };

    void resolveCallStack(BranchTask& task);
    void verify(BranchTask& task, std::vector<samplefold_1::branch_t>& kept);
    void cutDoubtful(BranchTask& task, std::vector<samplefold_1::branch_t>& kept);
    void judgeTaken(BranchTask& task);
    char judgeLink(const BranchTask& task, std::uint64_t to, std::uint64_t child, bool isBranch);
    void takeUnchecked(BranchTask& task);

    bool find(const BranchTask& task, std::uint64_t ip, Spot& spot);
    void trustSoftware(BranchTask& task);
    Trust trustIn(const BranchTask& task, std::size_t frame);
    bool isTop(const BranchTask& task, std::uint64_t inside);
    bool merge(BranchTask& task, std::vector<samplefold_1::branch_t>& kept);
    bool mergeOnce(BranchTask& task, std::vector<samplefold_1::branch_t>& kept);
    void insertCaller(BranchTask& task, std::uint64_t from);
    void choose(BranchTask& task, const std::vector<samplefold_1::branch_t>& kept);
    void addCaller(BranchTask& task, std::uint64_t from);
    std::uint64_t callLength(const BranchTask& task, std::uint64_t from);

    const BranchSetting& m_setting;
    samplefold_1::StaticModuleInfoCache m_modules;
    samplefold_1::StackVerifier m_verifier;
    LinkDoubts m_doubts;
    std::vector<Frame> m_trusted; ///< of the software chain in hand, with a marker unless complete
    std::vector<Trust> m_trust;   ///< of its frames
    std::vector<std::uint64_t> m_callers;
};

} // namespace samplefold::load
