#include "report/tree_walk.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace samplefold::report {
namespace {

class Walk {
public:
    Walk(const TreeView& view, const CodeLabels& labels, const Sum& all, const TreeLimits& limits,
         ITreeSink& sink)
        : m_view(view), m_labels(labels), m_all(all), m_limits(limits), m_sink(sink)
    {
    }

    void run()
    {
        push(m_view.topEntries(), std::nullopt, 0);
        while (!m_pending.empty()) {
            Pending next = std::move(m_pending.back());
            m_pending.pop_back();
            show(next);
        }
        m_sink.onEnd(m_unshown);
    }

private:
    /// An entry, or the hidden ones of its place.
    struct Pending {
        std::optional<std::uint64_t> above;
        std::uint64_t depth = 0;
        Branch branch;
        ITreeSink::Hidden hidden;
    };

    void show(const Pending& next)
    {
        const ITreeSink::Position position{++m_lastId, next.above, next.depth};
        if (next.hidden.number != 0) {
            m_sink.onHidden(position, next.hidden);
            return;
        }
        m_sink.onEntry(position, next.branch);
        if (m_limits.depth == 0 || next.depth + 1 < m_limits.depth) {
            push(m_view.entriesBelow(next.branch), position.id, next.depth + 1);
        } else if (m_view.hasEntriesBelow(next.branch)) {
            ++m_unshown.deeper;
        }
    }

    /// The first is to come first from a stack: it is pushed last.
    void push(std::vector<Branch> branches, std::optional<std::uint64_t> above, std::uint64_t depth)
    {
        std::sort(branches.begin(), branches.end(),
                  [this](const Branch& a, const Branch& b) { return comesBefore(a, b); });
        ITreeSink::Hidden hidden;
        std::size_t shown = 0;
        for (Branch& branch : branches) {
            if (isHidden(branch, shown, depth)) {
                ++hidden.number;
                hidden.sum += branch.total;
                if (hidden.number == 1) hidden.largest = branch.total;
            } else if (&branch != &branches[shown++]) {
                branches[shown - 1] = std::move(branch);
            }
        }
        if (hidden.number != 0) m_pending.push_back({above, depth, {}, hidden});
        for (std::size_t i = shown; i-- > 0;)
            m_pending.push_back({above, depth, std::move(branches[i]), {}});
    }

    bool isHidden(const Branch& branch, std::size_t shown, std::uint64_t depth)
    {
        if (isBelowMinimum(branch)) {
            ++m_unshown.belowMinimum;
            return true;
        }
        if (depth != 0 || m_limits.top == 0 || shown < m_limits.top) return false;
        ++m_unshown.overLimit;
        return true;
    }

    /// Sums that wrapped can be below nothing: without a minimum they are shown too.
    bool isBelowMinimum(const Branch& branch) const
    {
        const auto percent = percentOf(branch.total.events(), m_all.events());
        return m_limits.minPercent > 0 && percent && *percent < m_limits.minPercent;
    }

    bool comesBefore(const Branch& a, const Branch& b) const
    {
        if (a.total != b.total) {
            return std::pair(a.total.events(), a.total.samples) >
                   std::pair(b.total.events(), b.total.samples);
        }
        const CodeLabel& first = m_labels[a.label];
        const CodeLabel& second = m_labels[b.label];
        return std::tie(first.text, first.module, a.label) <
               std::tie(second.text, second.module, b.label);
    }

    const TreeView& m_view;
    const CodeLabels& m_labels;
    const Sum m_all;
    const TreeLimits& m_limits;
    ITreeSink& m_sink;
    std::vector<Pending> m_pending;
    std::uint64_t m_lastId = 0;
    ITreeSink::Unshown m_unshown;
};

} // namespace

void walkTree(const TreeView& view, const CodeLabels& labels, const Sum& all,
              const TreeLimits& limits, ITreeSink& sink)
{
    Walk(view, labels, all, limits, sink).run();
}

} // namespace samplefold::report
