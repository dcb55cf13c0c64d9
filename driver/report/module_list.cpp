#include "report/module_list.h"

#include "report/grouping_sql.h"
#include "report/sql_rows.h"

#include <algorithm>
#include <tuple>
#include <unordered_map>

namespace samplefold::report {
namespace {

constexpr const char* g_modulesSql =
    "SELECT id, coalesce(path, name), coalesce(name, path), build_id, md5 FROM dd_module_file";
constexpr const char* g_filesSql = "SELECT DISTINCT module FROM dd_module_segment WHERE kind = 1";
constexpr const char* g_searchesSql =
    "SELECT s.module, s.found, s.symbols, w.reason, s.id FROM dd_module_search s "
    "LEFT JOIN dd_missing_name w ON w.id = s.missing ORDER BY s.id";
constexpr const char* g_attemptsSql =
    "SELECT s.module, a.search, a.purpose, a.place, a.path, a.refusal, a.detail "
    "FROM dd_module_attempt a JOIN dd_module_search s ON s.id = a.search ORDER BY a.search, a.step";

/// Modules by their key. The tables are read in one pass each, without a question per module.
class ModuleReader {
public:
    explicit ModuleReader(rowvault1::IResult& result) : m_result(result)
    {
        visitRows(result, g_modulesSql, [this](const auto& row) {
            m_places[rowKey(row[0])] = m_modules.size();
            m_modules.emplace_back();
            ModuleInfo& module = m_modules.back();
            module.key = rowKey(row[0]);
            module.path = toText(row[1]);
            module.name = toText(row[2]);
            module.buildId = toText(row[3]);
            module.md5 = toText(row[4]);
        });
    }

    /// Runs a statement whose first column is a module, and calls `visit` with it.
    template <class Visit>
    void read(const std::string& sql, Visit&& visit)
    {
        visitRows(m_result, sql, [&](const auto& row) {
            const auto place = m_places.find(rowKey(row[0]));
            if (place != m_places.end()) visit(m_modules[place->second], row);
        });
    }

    std::vector<ModuleInfo> release() { return std::move(m_modules); }

private:
    rowvault1::IResult& m_result;
    std::vector<ModuleInfo> m_modules;
    std::unordered_map<std::int64_t, std::size_t> m_places;
};

std::string sampleRowsSql()
{
    return "WITH grouped AS (SELECT sample, count(*) AS samples FROM sample_instance "
           "GROUP BY sample) SELECT ms.module, sum(g.samples) FROM grouped g" +
           std::string(placeJoins) + std::string(moduleJoins) + " GROUP BY ms.module";
}

} // namespace

std::vector<ModuleInfo> readModules(rowvault1::IResult& result)
{
    ModuleReader reader(result);
    reader.read(g_filesSql, [](ModuleInfo& module, const auto&) { module.isFile = true; });
    reader.read(g_searchesSql, [](ModuleInfo& module, const auto& row) {
        module.found = toText(row[1]);
        module.symbols = toText(row[2]);
        module.missing = toText(row[3]);
        module.search = rowKey(row[4]);
        const bool isMemory = module.path.starts_with("//") || module.path.starts_with('[');
        if (!isMemory || !module.found.empty() || !module.symbols.empty()) module.isFile = true;
    });
    reader.read(g_attemptsSql, [](ModuleInfo& module, const auto& row) {
        if (rowKey(row[1]) != module.search) return;
        module.attempts.push_back(
            {toText(row[2]), toText(row[3]), toText(row[4]), toText(row[5]), toText(row[6])});
    });
    reader.read(sampleRowsSql(), [](ModuleInfo& module, const auto& row) {
        module.sampleRows = row[1].integer_bits();
    });
    std::vector<ModuleInfo> modules = reader.release();
    std::sort(modules.begin(), modules.end(), [](const ModuleInfo& a, const ModuleInfo& b) {
        return std::tie(b.sampleRows, a.path, a.key) < std::tie(a.sampleRows, b.path, b.key);
    });
    return modules;
}

} // namespace samplefold::report
