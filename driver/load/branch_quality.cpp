#include "load/branch_quality.h"

#include "load/branch_rows.h"
#include "session/row_writer.h"

#include <algorithm>
#include <string>

namespace samplefold::load {

using rowvault1::Index;
using tb2::variant_t;

namespace {

/// A number over samples: how many have it, what it sums up to, the largest.
struct Measure {
    std::uint64_t samples = 0;
    std::uint64_t total = 0;
    std::uint64_t most = 0;

    void add(std::uint64_t times, std::uint64_t value)
    {
        samples += times;
        total += times * value;
        most = std::max(most, value);
    }
};

/// Writes rows of dd_branch_quality.
class Rows {
public:
    explicit Rows(const tb2::sptr_t<rowvault1::IDatabase>& db) : m_writer(db, "dd_branch_quality")
    {
    }
    session::RowWriter& begin(std::string_view what, std::uint64_t count)
    {
        m_writer.clear();
        return m_writer.set("what", variant_t(what)).set("count", variant_t(count));
    }
    void addMeasure(std::string_view what, const Measure& measure)
    {
        if (measure.samples == 0) return;
        begin(what, measure.samples)
            .set("total", variant_t(measure.total))
            .set("most", variant_t(measure.most))
            .commit();
    }
    void addCount(std::string_view what, std::uint64_t count)
    {
        if (count != 0) begin(what, count).commit();
    }

private:
    session::RowWriter m_writer;
};

} // namespace

BranchQuality::BranchQuality() : m_examples(verdict::meanings().size())
{
    for (std::size_t i = 0; i < m_examples.size(); ++i)
        m_meaningOf[static_cast<std::size_t>(verdict::meanings()[i].letter)] =
            static_cast<std::uint8_t>(i);
}

std::size_t BranchQuality::add(const BranchTask& task,
                               const std::function<Index(std::uint64_t)>& moduleOf)
{
    Stack stack;
    stack.records = static_cast<std::uint32_t>(task.records.size());
    stack.software = static_cast<std::uint32_t>(framesOf(task.software));
    stack.chain = static_cast<std::uint32_t>(framesOf(task.chain));
    stack.source = task.source;
    stack.merge = task.merge;
    stack.isCallStack = task.kind == BranchKind::callStack && stack.chain != 0;
    stack.isComplete = task.isComplete;
    for (std::size_t i = 0; i < task.verdicts.size(); ++i) {
        const std::size_t meaning = m_meaningOf[static_cast<std::size_t>(task.verdicts[i])];
        ++stack.verdicts[meaning];
        noteExample(task, i, meaning, moduleOf);
    }
    m_stacks.push_back(stack);
    return m_stacks.size() - 1;
}

/// The place is where the link fails: the record's `to`.
void BranchQuality::noteExample(const BranchTask& task, std::size_t position, std::size_t meaning,
                                const std::function<Index(std::uint64_t)>& moduleOf)
{
    Example& example = m_examples[meaning];
    const bool isCut = verdict::meanings()[meaning].kept == 0 &&
                       verdict::meanings()[meaning].letter != verdict::behindCut;
    if (!isCut || example.isThere) return;
    const std::uint64_t to = task.records[task.records.size() - 1 - position].to;
    example = {true, to, moduleOf(to)};
}

void BranchQuality::store(const tb2::sptr_t<rowvault1::IDatabase>& db) const
{
    Measure records;
    Measure software;
    Measure chains;
    std::uint64_t complete = 0;
    std::uint64_t marked = 0;
    std::array<std::uint64_t, 4> sources{};
    std::array<std::uint64_t, 10> merges{};
    std::vector<std::uint64_t> verdicts(m_examples.size());
    for (const Stack& stack : m_stacks) {
        records.add(stack.samples, stack.records);
        if (stack.software != 0) software.add(stack.samples, stack.software);
        if (stack.chain != 0) chains.add(stack.samples, stack.chain);
        if (stack.isCallStack) (stack.isComplete ? complete : marked) += stack.samples;
        sources[static_cast<std::size_t>(stack.source)] += stack.samples;
        merges[static_cast<std::size_t>(stack.merge)] += stack.samples;
        for (std::size_t i = 0; i < verdicts.size(); ++i)
            verdicts[i] += stack.samples * stack.verdicts[i];
    }
    Rows rows(db);
    rows.addMeasure("samples with branch records", records);
    rows.addMeasure("frames of software chains", software);
    rows.addMeasure("frames of stored chains", chains);
    rows.addCount("chains that end at the outermost function", complete);
    rows.addCount("chains whose outermost frames are not known", marked);
    for (std::size_t i = 1; i < sources.size(); ++i)
        rows.addCount("chain: " + std::string(nameOf(static_cast<ChainSource>(i))), sources[i]);
    for (std::size_t i = 1; i < merges.size(); ++i) {
        rows.addCount("merge: " +
                          std::string(nameOf(static_cast<samplefold_1::merge_outcome_t>(i))),
                      merges[i]);
    }
    for (std::size_t i = 0; i < verdicts.size(); ++i) {
        if (verdicts[i] == 0) continue;
        session::RowWriter& row =
            rows.begin("record " + std::string(verdict::meanings()[i].name), verdicts[i]);
        if (m_examples[i].isThere) {
            row.set("address", variant_t(m_examples[i].address))
                .set("module", rowvault1::utils::indexToVariant(m_examples[i].module));
        }
        row.commit();
    }
}

} // namespace samplefold::load
