#include "report/code_spots.h"

#include "report/hex_text.h"
#include "report/sql_rows.h"

#include <algorithm>
#include <limits>

namespace samplefold::report {
namespace {

constexpr std::uint64_t g_never = std::numeric_limits<std::uint64_t>::max();

/// The segments of generated code are told by their pieces.
constexpr const char* g_mappingsSql =
    "SELECT p.pid IS -1, i.address, s.size, s.offset, i.extra, i.mod_seg, s.module, "
    "coalesce(m.name, m.path, '') FROM dd_segment_instance i "
    "JOIN dd_module_segment s ON s.id = i.mod_seg JOIN dd_module_file m ON m.id = s.module "
    "JOIN dd_process p ON p.id = i.process "
    "WHERE s.kind IS NOT 3 AND (p.pid = -1 OR i.process = ";

constexpr const char* g_piecesSql =
    "SELECT r.start_tsc, r.end_tsc, r.address, r.size, r.rva, coalesce(m.name, m.path, ''), f.name "
    "FROM dd_jit_region r LEFT JOIN dd_segment_instance i ON i.id = r.seg_inst "
    "LEFT JOIN dd_module_segment s ON s.id = i.mod_seg "
    "LEFT JOIN dd_module_file m ON m.id = s.module LEFT JOIN dd_function f ON f.id = r.function "
    "WHERE r.process = ";

/// SQLite keeps the upper half of the numbers as negative ones.
std::string stored(std::uint64_t value)
{
    return std::to_string(static_cast<std::int64_t>(value));
}

bool isKernelAddress(std::uint64_t address)
{
    return (address >> 63) != 0;
}

std::string firstText(rowvault1::IResult& result, const std::string& sql)
{
    const SqlRows rows = readRows(result, sql);
    return rows.rows.empty() ? std::string() : toText(rows.rows[0][0]);
}

/// A place that was only met as a caller has the name of the call before it, which may be that of
/// another function. Where the result tells how far the function goes, it must hold the place.
std::string namedPlaceSql(std::int64_t segment, std::uint64_t rva)
{
    return "SELECT f.name FROM dd_code_name n JOIN dd_function f ON f.id = n.function "
           "WHERE n.mod_seg = " +
           std::to_string(segment) + " AND n.rva = " + stored(rva) +
           " AND (f.start IS NULL OR f.size IS NULL OR (n.rva >= f.start AND n.rva - f.start < "
           "f.size)) LIMIT 1";
}

std::string functionSql(std::int64_t module, std::uint64_t rva)
{
    const std::string at = stored(rva);
    return "SELECT name FROM dd_function WHERE module = " + std::to_string(module) +
           " AND start <= " + at + " AND " + at + " - start < size ORDER BY start DESC, id LIMIT 1";
}

} // namespace

std::string placeText(const CodeSpot& spot)
{
    return spot.module.empty() ? hexText(spot.rva) : spot.module + "+" + hexText(spot.rva);
}

CodeSpots::CodeSpots(rowvault1::IResult& result, std::int64_t process, std::uint64_t tick)
    : m_result(result), m_files(result)
{
    readMappings(process, tick);
    readPieces(process, tick);
}

void CodeSpots::readMappings(std::int64_t process, std::uint64_t tick)
{
    visitRows(m_result, g_mappingsSql + std::to_string(process) + ") ORDER BY i.id DESC",
              [&](const auto& row) {
                  const std::uint64_t loaded = row[4].integer_bits();
                  if (loaded > tick) return;
                  m_mappings.push_back({row[0].integer_bits() != 0, row[1].integer_bits(),
                                        row[2].integer_bits(), row[3].integer_bits(), loaded,
                                        rowKey(row[5]), rowKey(row[6]), toText(row[7])});
              });
    std::stable_sort(m_mappings.begin(), m_mappings.end(),
                     [](const Mapping& a, const Mapping& b) { return a.loaded > b.loaded; });
}

void CodeSpots::readPieces(std::int64_t process, std::uint64_t tick)
{
    visitRows(m_result, g_piecesSql + std::to_string(process) + " ORDER BY r.start_tsc DESC, r.id",
              [&](const auto& row) {
                  const std::uint64_t last = row[1].is_integer() ? row[1].integer_bits() : g_never;
                  if (row[0].integer_bits() > tick || last < tick) return;
                  m_pieces.push_back({row[2].integer_bits(), row[3].integer_bits(),
                                      row[4].integer_bits(), toText(row[5]), toText(row[6])});
              });
}

CodeSpot CodeSpots::at(std::uint64_t address)
{
    const auto holds = [address](const auto& range) { return address - range.start < range.size; };
    const auto piece = std::ranges::find_if(m_pieces, holds);
    if (piece != m_pieces.end())
        return {piece->module, address - piece->start + piece->rva, piece->function};
    const bool isKernel = isKernelAddress(address);
    const auto mapping = std::ranges::find_if(
        m_mappings, [&](const Mapping& each) { return each.isKernel == isKernel && holds(each); });
    if (mapping == m_mappings.end()) return {{}, address};
    const std::uint64_t rva = address - mapping->start + mapping->offset;
    return {mapping->name, rva, functionAt(*mapping, rva)};
}

/// Relative addresses of the kernel and its modules are no places in their files.
std::string CodeSpots::functionAt(const Mapping& mapping, std::uint64_t rva)
{
    std::string name = firstText(m_result, namedPlaceSql(mapping.segment, rva));
    if (name.empty() && !mapping.isKernel) name = m_files.functionAt(mapping.module, rva);
    return !name.empty() ? name : firstText(m_result, functionSql(mapping.module, rva));
}

} // namespace samplefold::report
