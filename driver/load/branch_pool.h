#pragma once

#include "load/branch_resolver.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace samplefold::load {

/// Resolvers that share the work on a batch of branch stacks, one a thread. Loading thread only.
class BranchPool {
public:
    /// `setting` outlives the object. As many workers as the machine has processors.
    BranchPool(const BranchSetting& setting, const tb2::sptr_t<rowvault1::IDatabase>& db,
               const std::string& resultFolder);

    /// See BranchResolver::knowSegment; before work on stacks that reach into the segment.
    void knowSegment(const samplefold_1::SegInstInfo& segment);

    /// Resolves the tasks; back when all are done. What a worker throws is thrown on.
    void run(std::span<BranchTask> tasks);

private:
    std::vector<std::unique_ptr<BranchResolver>> m_workers;
};

} // namespace samplefold::load
