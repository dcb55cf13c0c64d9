#include "report/tree_json.h"

#include "report/sql_rows.h"

#include <string>

namespace samplefold::report {
namespace {

using nlohmann::ordered_json;

ordered_json itemAt(const ITreeSink::Position& position)
{
    ordered_json item;
    item["id"] = position.id;
    item["parent"] = position.above ? ordered_json(*position.above) : ordered_json();
    item["depth"] = position.depth;
    return item;
}

} // namespace

TreeJson::TreeJson(const CodeLabels& labels, const Sum& all, Style style, std::ostream& out)
    : m_labels(labels), m_all(all), m_style(style), m_out(out)
{
}

void TreeJson::addSum(ordered_json& item, const char* prefix, const Sum& sum) const
{
    const std::string name(prefix);
    if (m_style.withSamples) item[name + "samples"] = sum.samples;
    item[name + "count"] = sum.events();
    const auto percent = percentOf(sum.events(), m_all.events());
    item[name + "percent"] = percent ? ordered_json(*percent) : ordered_json();
}

void TreeJson::write(const ordered_json& item)
{
    m_out << (m_isFirst ? "\n" : ",\n") << "        " << jsonText(item, -1);
    m_isFirst = false;
}

void TreeJson::onEntry(const Position& position, const Branch& branch)
{
    const CodeLabel& label = m_labels[branch.label];
    ordered_json item = itemAt(position);
    item["label"] = label.text;
    item["function"] = label.isFunction ? ordered_json(label.text) : ordered_json();
    item["module"] = textOrNull(label.module);
    addSum(item, "", branch.total);
    if (m_style.withSelf) addSum(item, "self_", branch.self);
    write(item);
}

void TreeJson::onHidden(const Position& position, const Hidden& hidden)
{
    ordered_json item = itemAt(position);
    item["hidden"] = hidden.number;
    if (m_style.addsUp) {
        addSum(item, "", hidden.sum);
    } else {
        addSum(item, "largest_", hidden.largest);
    }
    write(item);
}

void TreeJson::onEnd(const Unshown& unshown)
{
    m_unshown = {{"over_limit", unshown.overLimit},
                 {"below_min_percent", unshown.belowMinimum},
                 {"with_deeper_levels", unshown.deeper}};
}

} // namespace samplefold::report
