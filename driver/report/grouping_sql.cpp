#include "report/grouping_sql.h"

#include <algorithm>

namespace samplefold::report {

const std::string_view placeJoins = R"(
  LEFT JOIN dd_sample s ON s.rowid = g.sample
  LEFT JOIN dd_callsite c ON c.rowid = s.callsite
  LEFT JOIN dd_code_location l ON l.rowid = c.code_loc)";
const std::string_view moduleJoins = R"(
  LEFT JOIN dd_module_segment ms ON ms.rowid = l.mod_seg
  LEFT JOIN dd_module_file m ON m.rowid = ms.module)";
/// Asked row by row, by the index: several names for one place must not count it twice.
const std::string_view nameJoins = R"(
  LEFT JOIN dd_code_name n ON n.rowid =
    (SELECT x.rowid FROM dd_code_name x WHERE x.mod_seg = l.mod_seg AND x.rva = l.rva LIMIT 1))";

namespace {

constexpr std::string_view g_taskJoins = R"(
  LEFT JOIN dd_thread t ON t.rowid = g.thread
  LEFT JOIN dd_process p ON p.rowid = t.process)";
/// A function's own module, where it has one, else the one of the place.
constexpr std::string_view g_ownerJoins = R"(
  LEFT JOIN dd_module_segment ms ON ms.rowid = l.mod_seg
  LEFT JOIN dd_module_file pm ON pm.rowid = ms.module
  LEFT JOIN dd_module_file fm ON fm.rowid = fn.module
  LEFT JOIN dd_module_file m ON m.rowid = coalesce(fm.rowid, pm.rowid))";

/// The labels that the call trees have (CodeLabels), behind those that come first.
std::string labelOr(std::string_view first, std::string_view title)
{
    return "CASE " + std::string(first) +
           "WHEN fn.name IS NOT NULL THEN fn.name "
           "WHEN l.rva IS NULL THEN '[unknown]' "
           "WHEN m.rowid IS NOT NULL THEN coalesce(m.name, m.path, '') || printf('+0x%llx', l.rva) "
           "WHEN l.mod_seg > 0 OR l.rva NOT IN (1, 2, 3) THEN printf('0x%llx', l.rva) "
           "WHEN l.rva = 1 THEN '[chain cut off]' "
           "ELSE printf('0x%llx', -l.rva) END AS " +
           std::string(title) + ", coalesce(m.path, m.name, '[unknown]') AS module";
}

/// Joins up to the names of a place, what else there is beside them, and the function with `key`.
std::string functionJoins(std::string_view further, std::string_view key)
{
    return std::string(placeJoins) + std::string(nameJoins) + std::string(further) +
           "\n  LEFT JOIN dd_function fn ON fn.name IS NOT NULL AND fn.rowid = " +
           std::string(key) + std::string(g_ownerJoins);
}

std::vector<GroupingSql> makeGroupings()
{
    const std::string inModule = std::string(placeJoins) + std::string(moduleJoins);
    const std::string task(g_taskJoins);
    return {
        {Grouping::module, "module", "sample", "coalesce(m.path, '[unknown]') AS module", inModule},
        {Grouping::address, "address", "sample",
         "coalesce(m.path, '[unknown]') AS module, printf('0x%x', l.rva) AS address", inModule},
        {Grouping::function, "function", "sample", labelOr("", "function"),
         functionJoins("", "n.function")},
        {Grouping::inlinedFunction, "inlined-function", "sample", labelOr("", "function"),
         functionJoins("\n  LEFT JOIN dd_inlined il ON il.rowid = n.inlined",
                       "coalesce(il.function, n.function)")},
        {Grouping::sourceLine, "source-line", "sample",
         labelOr("WHEN sf.path IS NOT NULL THEN sf.path || ':' || coalesce(n.line, '?') ",
                 "source_line"),
         functionJoins("\n  LEFT JOIN dd_source_file sf ON sf.rowid = n.source_file",
                       "n.function")},
        {Grouping::process, "process", "thread", "p.pid AS pid, p.name AS process", task},
        {Grouping::thread, "thread", "thread", "p.pid AS pid, t.tid AS tid, t.name AS thread",
         task},
        {Grouping::cpu, "cpu", "cpu", "cpu.number AS cpu",
         "LEFT JOIN dd_cpu cpu ON cpu.rowid = g.cpu"},
        {Grouping::event, "event", "event_type", "", ""},
    };
}

} // namespace

const std::vector<GroupingSql>& groupingSqls()
{
    static const std::vector<GroupingSql> all = makeGroupings();
    return all;
}

const GroupingSql& groupingSql(Grouping by)
{
    const std::vector<GroupingSql>& all = groupingSqls();
    return *std::find_if(all.begin(), all.end(),
                         [by](const GroupingSql& grouping) { return grouping.by == by; });
}

} // namespace samplefold::report
