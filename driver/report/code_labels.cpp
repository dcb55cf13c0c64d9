#include "report/code_labels.h"

#include "report/hex_text.h"
#include "report/sql_rows.h"

namespace samplefold::report {
namespace {

/// The function of a place is asked row by row, by the index: several names for one place must not
/// make several places of it.
constexpr const char* g_placesSql =
    "SELECT l.id, l.rva, l.mod_seg, ms.module, "
    "(SELECT n.function FROM dd_code_name n WHERE n.mod_seg = l.mod_seg AND n.rva = l.rva LIMIT 1) "
    "FROM dd_code_location l LEFT JOIN dd_module_segment ms ON ms.id = l.mod_seg";

/// Outside modules the small numbers stand for addresses that are no code: -1, which marks that a
/// chain goes on where the recording ends, -2 and -3.
std::string textOutsideModules(std::uint64_t address)
{
    if (address == 1) return "[chain cut off]";
    return hexText(address == 2 || address == 3 ? 0 - address : address);
}

} // namespace

CodeLabels::CodeLabels(rowvault1::IResult& result)
{
    m_labels.push_back({"[no caller]", "", "", false});
    m_labels.push_back({"[unknown]", "", "", false});
    readModules(result);
    readFunctions(result);
    readPlaces(result);
    m_byName.clear();
}

CodeLabels::Key CodeLabels::of(std::int64_t location) const
{
    const auto found = m_byLocation.find(location);
    return found == m_byLocation.end() ? unknown : found->second;
}

void CodeLabels::readModules(rowvault1::IResult& result)
{
    visitRows(result,
              "SELECT id, coalesce(path, name, ''), coalesce(name, path, '') "
              "FROM dd_module_file",
              [this](const auto& row) {
                  m_modules[rowKey(row[0])] = {toText(row[1]), toText(row[2])};
              });
}

void CodeLabels::readFunctions(rowvault1::IResult& result)
{
    visitRows(result, "SELECT id, name, module FROM dd_function WHERE name IS NOT NULL",
              [this](const auto& row) {
                  m_functions[rowKey(row[0])] = {toText(row[1]), rowKey(row[2])};
              });
}

void CodeLabels::readPlaces(rowvault1::IResult& result)
{
    visitRows(result, g_placesSql, [this](const auto& row) {
        const auto function = m_functions.find(rowKey(row[4]));
        const bool isFunction = function != m_functions.end();
        auto module = isFunction ? m_modules.find(function->second.module) : m_modules.end();
        if (module == m_modules.end()) module = m_modules.find(rowKey(row[3]));
        const std::uint64_t rva = row[1].integer_bits();
        CodeLabel label;
        label.isFunction = isFunction;
        if (module != m_modules.end()) {
            label.module = module->second.path;
            label.moduleName = module->second.name;
        }
        if (isFunction) {
            label.text = function->second.name;
        } else if (module != m_modules.end()) {
            label.text = label.moduleName + "+" + hexText(rva);
        } else {
            label.text = rowKey(row[2]) > 0 ? hexText(rva) : textOutsideModules(rva);
        }
        m_byLocation[rowKey(row[0])] = intern(label);
    });
}

CodeLabels::Key CodeLabels::intern(const CodeLabel& label)
{
    const std::string name =
        std::string(1, label.isFunction ? 'f' : 'p') + label.text + '\0' + label.module;
    const auto [entry, isNew] = m_byName.try_emplace(name, static_cast<Key>(m_labels.size()));
    if (isNew) m_labels.push_back(label);
    return entry->second;
}

} // namespace samplefold::report
