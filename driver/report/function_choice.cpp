#include "report/function_choice.h"

#include "report/report_error.h"
#include "report/sql_rows.h"
#include "report/text_table.h"

#include <algorithm>
#include <functional>
#include <set>
#include <unordered_set>

namespace samplefold::report {
namespace {

constexpr const char* g_functionsSql =
    "SELECT f.id, f.name, f.raw_name, m.path, m.name FROM dd_function f "
    "LEFT JOIN dd_module_file m ON m.id = f.module WHERE f.name IS NOT NULL "
    "ORDER BY f.name, m.path, f.id";
constexpr const char* g_withCodeSql =
    "SELECT DISTINCT function FROM dd_code_name WHERE function IS NOT NULL";
constexpr std::size_t g_mostNames = 5;
/// Longer names are compared by their beginnings.
constexpr std::size_t g_comparedBytes = 64;

struct Function {
    std::int64_t key;
    std::string name;
    std::string rawName;
    std::string modulePath;
    std::string moduleName;
};

using Functions = std::vector<Function>;
using Test = std::function<bool(const Function&)>;

Functions readFunctions(rowvault1::IResult& result, const std::string& module)
{
    Functions functions;
    visitRows(result, g_functionsSql, [&](const auto& row) {
        Function one{rowKey(row[0]), toText(row[1]), toText(row[2]), toText(row[3]),
                     toText(row[4])};
        if (module.empty() || module == one.modulePath || module == one.moduleName)
            functions.push_back(std::move(one));
    });
    return functions;
}

Functions matching(const Functions& all, const Test& test)
{
    Functions found;
    std::copy_if(all.begin(), all.end(), std::back_inserter(found), test);
    return found;
}

std::string inQuotes(std::string_view name)
{
    return "'" + printable(name) + "'";
}

/// Names in quotes, the first few of them.
std::string listed(const std::vector<std::string>& names)
{
    std::string text;
    for (std::size_t i = 0; i < std::min(names.size(), g_mostNames); ++i)
        text += (i == 0 ? "" : ", ") + inQuotes(names[i]);
    if (names.size() > g_mostNames)
        text += " and " + std::to_string(names.size() - g_mostNames) + " more";
    return text;
}

std::vector<std::string> namesOf(const Functions& functions)
{
    std::set<std::string> names;
    for (const Function& one : functions)
        names.insert(one.name);
    return {names.begin(), names.end()};
}

/// Number of letters to change, put in or take away to make `b` of `a`.
std::size_t distance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t corner = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = corner + (a[i - 1] == b[j - 1] ? 0 : 1);
            corner = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

/// Names that differ from `name` in a third of its letters or fewer, the nearest first.
std::vector<std::string> nearNames(const Functions& all, std::string_view name)
{
    const std::string_view wanted = name.substr(0, g_comparedBytes);
    const std::size_t limit = std::max<std::size_t>(2, wanted.size() / 3);
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const std::string& known : namesOf(all)) {
        const std::string_view base = withoutParameters(known).substr(0, g_comparedBytes);
        const std::size_t longer = std::max(base.size(), wanted.size());
        if (longer - std::min(base.size(), wanted.size()) > limit) continue;
        const std::size_t changes = distance(wanted, base);
        if (changes <= limit) near.emplace_back(changes, known);
    }
    std::sort(near.begin(), near.end());
    std::vector<std::string> names;
    for (auto& [changes, known] : near)
        names.push_back(std::move(known));
    return names;
}

[[noreturn]] void refuse(rowvault1::IResult& result, const std::string& text)
{
    throw ReportError(result.databasePath() + ": " + text);
}

Functions bestMatches(rowvault1::IResult& result, const Functions& all, const std::string& name,
                      const std::string& module)
{
    Functions found =
        matching(all, [&](const Function& one) { return one.name == name || one.rawName == name; });
    if (found.empty())
        found =
            matching(all, [&](const Function& one) { return withoutParameters(one.name) == name; });
    if (!found.empty()) return found;
    found = matching(all,
                     [&](const Function& one) { return one.name.find(name) != std::string::npos; });
    const std::vector<std::string> names = namesOf(found);
    if (names.size() > 1)
        refuse(result,
               "several functions have " + inQuotes(name) + " in their names: " + listed(names));
    if (!found.empty()) return found;
    const std::vector<std::string> near = nearNames(all, name);
    refuse(result, "no function " + inQuotes(name) +
                       (module.empty() ? std::string() : " in the module " + inQuotes(module)) +
                       (near.empty() ? std::string() : "; near: " + listed(near)));
}

/// Functions that were only met inlined have no code of their own.
Functions withCode(rowvault1::IResult& result, const Functions& found)
{
    std::unordered_set<std::int64_t> keys;
    visitRows(result, g_withCodeSql, [&keys](const auto& row) { keys.insert(rowKey(row[0])); });
    return matching(found, [&](const Function& one) { return keys.contains(one.key); });
}

} // namespace

std::string_view withoutParameters(std::string_view name)
{
    const std::size_t close = name.rfind(')');
    if (close == std::string_view::npos) return name;
    std::size_t depth = 0;
    for (std::size_t at = close + 1; at-- > 0;) {
        if (name[at] == ')') ++depth;
        if (name[at] != '(' || --depth != 0) continue;
        const std::string_view base = name.substr(0, at);
        return base.empty() || base.ends_with("operator") ? name : base;
    }
    return name;
}

std::vector<ChosenFunction> chooseFunctions(rowvault1::IResult& result, const std::string& name,
                                            const std::string& module)
{
    const Functions all = readFunctions(result, module);
    const Functions found = bestMatches(result, all, name, module);
    const Functions usable = withCode(result, found);
    if (usable.empty())
        refuse(result, inQuotes(found.front().name) +
                           " has no code of its own: it was inlined wherever it was met; "
                           "report --by inlined-function counts it");
    std::vector<ChosenFunction> chosen;
    for (const Function& one : usable) {
        if (chosen.empty() || chosen.back().name != one.name ||
            chosen.back().module != one.modulePath)
            chosen.push_back({one.name, one.modulePath, {}});
        chosen.back().keys.push_back(one.key);
    }
    return chosen;
}

} // namespace samplefold::report
