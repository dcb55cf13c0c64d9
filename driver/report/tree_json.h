#pragma once

#include "report/tree_walk.h"

#include <nlohmann/json.hpp>

#include <ostream>

namespace samplefold::report {

/// Writes a view as the items of a flat JSON list, a line each, as they come: chains may be longer
/// than a nested document can be read back, and views larger than memory. Entries know the id of
/// the one above. One view each.
class TreeJson final : public ITreeSink {
public:
    struct Style {
        bool withSamples; ///< rows of the result are samples
        bool withSelf;    ///< entries have counts of their own beside the totals
        bool addsUp;      ///< hidden entries are told by their sum, else by the largest of them
    };

    /// `all` was counted for the event. The arguments outlive the object.
    TreeJson(const CodeLabels& labels, const Sum& all, Style style, std::ostream& out);

    void onEntry(const Position& position, const Branch& branch) override;
    void onHidden(const Position& position, const Hidden& hidden) override;
    void onEnd(const Unshown& unshown) override;

    /// What onEnd was told, as an object; to be written behind the list.
    const nlohmann::ordered_json& unshown() const { return m_unshown; }

private:
    void addSum(nlohmann::ordered_json& item, const char* prefix, const Sum& sum) const;
    void write(const nlohmann::ordered_json& item);

    const CodeLabels& m_labels;
    const Sum m_all;
    const Style m_style;
    std::ostream& m_out;
    bool m_isFirst = true;
    nlohmann::ordered_json m_unshown;
};

} // namespace samplefold::report
