#include "report/tree_text.h"

#include "report/text_table.h"

#include <algorithm>
#include <cstdio>
#include <iomanip>

namespace samplefold::report {
namespace {

constexpr std::uint64_t g_deepestIndent = 40;
constexpr int g_percentWidth = 7;

std::string indentOf(std::uint64_t depth)
{
    const std::string blanks(2 * std::min(depth, g_deepestIndent), ' ');
    return depth <= g_deepestIndent ? blanks
                                    : blanks + "(level " + std::to_string(depth + 1) + ") ";
}

std::string nameOf(const CodeLabel& label)
{
    const bool tellModule = label.isFunction && !label.moduleName.empty();
    return printable(tellModule ? label.text + "  (" + label.moduleName + ")" : label.text);
}

std::string entriesText(std::uint64_t number)
{
    return std::to_string(number) + (number == 1 ? " entry" : " entries");
}

std::string minimumText(double percent)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g%%", percent);
    return text;
}

} // namespace

TreeText::TreeText(const CodeLabels& labels, const Sum& all, const TreeLimits& limits, Style style,
                   std::ostream& out)
    : m_labels(labels), m_all(all), m_limits(limits), m_style(style), m_out(out),
      m_countWidth(std::max(5, static_cast<int>(std::to_string(all.events()).size())))
{
    writeLine("count", "percent", "self", "function");
}

std::string TreeText::shareOf(const Sum& sum) const
{
    return percentText(percentOf(sum.events(), m_all.events()));
}

void TreeText::writeLine(const std::string& count, const std::string& total,
                         const std::string& self, const std::string& text)
{
    m_out << "  " << std::right << std::setw(m_countWidth) << count << "  "
          << std::setw(g_percentWidth) << total << "  ";
    if (m_style.withSelf) m_out << std::setw(g_percentWidth) << self << "  ";
    m_out << text << '\n';
}

void TreeText::onEntry(const Position& position, const Branch& branch)
{
    writeLine(std::to_string(branch.total.events()), shareOf(branch.total), shareOf(branch.self),
              indentOf(position.depth) + nameOf(m_labels[branch.label]));
}

void TreeText::onHidden(const Position& position, const Hidden& hidden)
{
    const std::string text =
        indentOf(position.depth) + "... " + std::to_string(hidden.number) + " more";
    if (m_style.addsUp) {
        writeLine(std::to_string(hidden.sum.events()), shareOf(hidden.sum), "", text);
    } else {
        writeLine("", "", "", text + ", at most " + shareOf(hidden.largest) + " each");
    }
}

void TreeText::onEnd(const Unshown& unshown)
{
    if (unshown.overLimit != 0) {
        m_out << "  not shown: " << entriesText(unshown.overLimit) << " after the first "
              << m_limits.top << " (--limit)\n";
    }
    if (unshown.belowMinimum != 0) {
        m_out << "  not shown: " << entriesText(unshown.belowMinimum) << " below "
              << minimumText(m_limits.minPercent) << " (--min-percent)\n";
    }
    if (unshown.deeper != 0) {
        m_out << "  not shown: what stands below " << entriesText(unshown.deeper) << " at level "
              << m_limits.depth << " (--depth)\n";
    }
}

} // namespace samplefold::report
