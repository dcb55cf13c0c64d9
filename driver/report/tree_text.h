#pragma once

#include "report/tree_walk.h"

#include <ostream>
#include <string>

namespace samplefold::report {

/// Writes a view as an indented text tree: count and percentages of the event, then the name. The
/// indentation stops growing at some depth; deeper lines give their level instead. One view each.
class TreeText final : public ITreeSink {
public:
    struct Style {
        bool withSelf; ///< a column for the entries' own counts
        bool addsUp;   ///< hidden entries are told by their sum, else by the largest of them
    };

    /// `all` was counted for the event. The arguments outlive the object.
    TreeText(const CodeLabels& labels, const Sum& all, const TreeLimits& limits, Style style,
             std::ostream& out);

    void onEntry(const Position& position, const Branch& branch) override;
    void onHidden(const Position& position, const Hidden& hidden) override;
    void onEnd(const Unshown& unshown) override;

private:
    std::string shareOf(const Sum& sum) const;
    void writeLine(const std::string& count, const std::string& total, const std::string& self,
                   const std::string& text);

    const CodeLabels& m_labels;
    const Sum m_all;
    const TreeLimits& m_limits;
    const Style m_style;
    std::ostream& m_out;
    int m_countWidth;
};

} // namespace samplefold::report
