#include "load/branch_task.h"

#include "perfdata/event.h"

#include <array>
#include <stdexcept>

namespace samplefold::load {

using samplefold_1::link_outcome_t;

std::string_view nameOf(BranchKind kind)
{
    constexpr std::array<std::string_view, 3> names{"call stack", "taken branches",
                                                    "chosen branches"};
    return names[static_cast<std::size_t>(kind)];
}

std::string_view nameOf(ChainSource source)
{
    constexpr std::array<std::string_view, 4> names{"", "software", "records", "merged"};
    return names[static_cast<std::size_t>(source)];
}

BranchKind branchKindOf(const perfdata::Event& event)
{
    const std::uint64_t bits = event.attr.branchSampleType;
    if ((bits & perfdata::branchBit::CallStack) != 0) return BranchKind::callStack;
    return (bits & perfdata::branchBit::Any) != 0 ? BranchKind::taken : BranchKind::chosen;
}

namespace verdict {

const std::vector<meaning_t>& meanings()
{
    static const std::vector<meaning_t>* const all = new std::vector<meaning_t>{
        {'j', "kept: generated code, not checked", 1},
        {'p', "kept: enters another module by its linkage table", 1},
        {'m', "kept: enters another module", 1},
        {'k', "kept: between user and kernel", 1},
        {'s', "kept: enters the function of what ran next", 1},
        {'b', "kept: control flow leads to what ran next", 1},
        {'T', "cut: goes to no known code", 0},
        {'F', "cut: what ran next is in no known code", 0},
        {'X', "cut: no such place in the other module", 0},
        {'S', "cut: goes into the middle of a function", 0},
        {'B', "cut: no way from there to what ran next", 0},
        {doubtful, "cut: passed, but what it entered hardly leads to what ran next", 0},
        {noFile, "cut: the module's file was not found, so that nothing can be checked", 0},
        {behindCut, "cut: older than a record that was cut", 0},
        {other, "not checked: what ran next is in another module", -1},
        {unchecked, "not checked: no code is known there", -1},
    };
    return *all;
}

char letterOf(link_outcome_t outcome)
{
    return meanings()[static_cast<std::size_t>(outcome)].letter;
}

} // namespace verdict

void takeRecords(const perfdata::Sample& sample, std::vector<samplefold_1::branch_t>& records)
{
    const std::size_t count = sample.branches.size();
    records.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const perfdata::Branch branch = sample.branches[i];
        const samplefold_1::LbrEntry entry(branch.from, branch.to);
        records[count - 1 - i] = {entry.ipFrom, entry.ipTo};
    }
}

} // namespace samplefold::load
