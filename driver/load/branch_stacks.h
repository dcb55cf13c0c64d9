#pragma once

#include "load/branch_pool.h"
#include "load/branch_quality.h"
#include "load/branch_rows.h"
#include "load/code_places.h"
#include "session/module_files.h"
#include "session/process_table.h"

#include <cstdint>
#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace samplefold::load {

/// Branch stacks of a batch of samples: first all that are new are told, then they are worked out
/// together, then each sample asks for its own. Loading thread only.
class BranchStacks {
public:
    struct Session {
        ProfileContext& context;
        CodePlaces& places;
        session::ModuleFiles& files;
        session::ProcessTable& processes;
        JitCode& jit;
    };

    /// All that `session` refers to outlives the object.
    BranchStacks(const BranchOptions& options, bool storesEachSample, const Session& session);

    /// Also true of a sample without any record, where its call chain is to be checked.
    bool hasStack(const perfdata::Sample& sample) const
    {
        return (sample.has & perfdata::sampleBit::BranchStack) != 0 &&
               (!sample.branches.empty() || branchKindOf(*sample.event) == BranchKind::callStack);
    }

    /// Makes a process ready for `tell`; the first call for each does something.
    void prepare(session::Process& owner);
    /// Tells a stack of the batch, known by the number `key`, with the chain beside it. Its process
    /// is ready.
    void tell(std::uint64_t key, const perfdata::Sample& sample, session::Process& process,
              std::uint64_t tick, const std::vector<Frame>& software);
    bool isTold(std::uint64_t key) const { return m_numbers.contains(key); }
    /// Works out what was told since the last call.
    void resolve();
    /// What came out; it was told and resolved in this batch. Until the batch ends.
    const BranchTask& at(std::uint64_t key) const { return m_tasks[m_numbers.at(key)]; }
    void endBatch();

    /// Row of a resolved stack; -1 where samples are added up, which it would keep apart.
    rowvault1::Index row(const BranchTask& task, rowvault1::Index software, std::string_view common)
    {
        return m_storesRows ? m_rows.head(task, software, common) : rowvault1::Index();
    }
    /// Number in the books of a resolved stack.
    std::size_t noteInBooks(const BranchTask& task, session::Process& process);
    void countSample(std::size_t number) { m_quality.countSample(number); }
    void addDetails(rowvault1::Index thread, std::uint64_t tick, std::string_view each)
    {
        m_rows.addDetails(thread, tick, each);
    }
    /// Writes what was counted; once, after the samples.
    void finish();

private:
    Session m_session;
    BranchSetting m_setting;
    BranchPool m_pool;
    BranchRows m_rows;
    bool m_storesRows;
    BranchQuality m_quality;
    std::vector<BranchTask> m_tasks;                          ///< of the batch
    std::size_t m_resolved = 0;                               ///< the first of them
    std::unordered_map<std::uint64_t, std::size_t> m_numbers; ///< of the tasks, by key
    std::unordered_set<const session::Process*> m_prepared;
};

} // namespace samplefold::load
