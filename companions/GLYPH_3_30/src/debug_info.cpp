#include "debug_info.h"

#include "die_attributes.h"
#include "no_alt_file.h"

#include <dwarf.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>

namespace GLYPH_3_30 {
namespace {

/// Work that sound debug information needs, with much to spare: entries are visited once, and read
/// over once per level that they are deep.
constexpr std::uint64_t g_workPerByte = 64;
constexpr std::uint64_t g_spareWork = 1 << 20;
/// Bytes of abbreviations that all units together may go through, per byte of debug information.
constexpr std::uint64_t g_abbreviationsPerByte = 8;
constexpr std::uint64_t g_spareAbbreviations = 4 << 20;
/// The largest line program that is read; a line in memory takes about twenty times its bytes.
constexpr std::uint64_t g_maxLineBytes = 32 << 20;
constexpr std::uint64_t g_spareLineBytes = 1 << 16;
/// Longer paths stay relative.
constexpr std::size_t g_maxPathBytes = 4096;
constexpr std::size_t g_maxFaults = 16;

bool isLittleEndian(Elf* elf)
{
    const char* ident = ::elf_getident(elf, nullptr);
    return ident != nullptr && ident[EI_DATA] == ELFDATA2LSB;
}

} // namespace

std::unique_ptr<DebugInfo> DebugInfo::begin(const ElfFile& file, std::unique_ptr<ElfFile> alt,
                                            const Layout& layout, std::string& fault)
{
    std::uint64_t bytes = 0;
    if (!measureDebugSections(file, bytes, fault) || bytes == 0) return nullptr;
    if (!isLittleEndian(file.elf())) {
        fault = "its debug information has the byte order of another machine";
        return nullptr;
    }
    std::uint64_t altBytes = 0;
    if (alt != nullptr && !measureDebugSections(*alt, altBytes, fault)) alt = nullptr;
    std::unique_ptr<DebugInfo> info(new DebugInfo(file, layout, bytes));
    if (info->open(std::move(alt))) return info;
    fault = std::string("its debug information cannot be read: ") + ::dwarf_errmsg(-1);
    return nullptr;
}

DebugInfo::DebugInfo(const ElfFile& file, const Layout& layout, std::uint64_t bytes)
    : m_file(file), m_layout(layout), m_bytes(bytes), m_limit(bytes * g_workPerByte + g_spareWork)
{
}

DebugInfo::~DebugInfo()
{
    ::dwarf_end(m_dwarf);
    ::dwarf_end(m_alt);
}

bool DebugInfo::open(std::unique_ptr<ElfFile> alt)
{
    m_dwarf = ::dwarf_begin_elf(m_file.elf(), DWARF_C_READ, nullptr);
    if (m_dwarf == nullptr) return false;
    m_lines = debugSection(m_file, "line");
    m_lineLimit = WorkLimit(m_lines.size() + g_spareLineBytes);
    m_abbreviations = debugSection(m_file, "abbrev");
    m_altFile = std::move(alt);
    if (m_altFile == nullptr) m_altFile = makeNoAltFile();
    m_alt = ::dwarf_begin_elf(m_altFile->elf(), DWARF_C_READ, nullptr);
    // Without a file set here, the library would open whatever path the debug information names.
    if (m_alt == nullptr) return false;
    ::dwarf_setalt(m_dwarf, m_alt);
    return true;
}

void DebugInfo::indexUnits()
{
    if (m_isIndexed) return;
    m_isIndexed = true;
    std::map<Dwarf_Off, std::uint64_t> tableBytes; // by the table's offset
    WorkLimit limit(m_bytes * g_abbreviationsPerByte + g_spareAbbreviations);
    IntervalPainter painter;
    Dwarf_Off next = 0;
    std::size_t headerBytes = 0;
    Dwarf_Half version = 0;
    Dwarf_Off table = 0;
    for (Dwarf_Off at = 0; ::dwarf_next_unit(m_dwarf, at, &next, &headerBytes, &version, &table,
                                             nullptr, nullptr, nullptr, nullptr) == 0 &&
                           next > at;
         at = next) {
        const auto [place, isNew] = tableBytes.try_emplace(table, 0);
        if (isNew) place->second = abbreviationBytes(m_abbreviations, table);
        if (!limit.spend(place->second)) {
            noteFault("the debug information has more abbreviations than it can need");
            break;
        }
        addUnit(at + headerBytes, painter);
    }
    m_unitByAddress = painter.take();
}

void DebugInfo::addUnit(Dwarf_Off offset, IntervalPainter& painter)
{
    Dwarf_Die die;
    if (::dwarf_offdie(m_dwarf, offset, &die) == nullptr) return;
    const int tag = ::dwarf_tag(&die);
    if (tag != DW_TAG_compile_unit && tag != DW_TAG_skeleton_unit) return;
    if (tag == DW_TAG_skeleton_unit || ::dwarf_hasattr(&die, DW_AT_GNU_dwo_name) != 0)
        noteFault("functions that were inlined are in split files (.dwo), which are not read");
    const auto number = static_cast<std::uint32_t>(m_units.size());
    unit_t& unit = m_units.emplace_back();
    unit.die = offset;
    std::vector<range_t> ranges;
    if (!readRanges(die, m_layout, m_limit, ranges)) noteFault("the debug information is damaged");
    // A unit that does not tell its addresses is known by its functions.
    if (ranges.empty() && ::dwarf_hasattr(&die, DW_AT_ranges) == 0) {
        readUnit(unit);
        ranges = unit.scopes.ranges;
    }
    for (const range_t& range : ranges)
        painter.paint(range, number);
}

void DebugInfo::readUnit(unit_t& unit)
{
    if (unit.isRead) return;
    unit.isRead = true;
    Dwarf_Die die;
    if (::dwarf_offdie(m_dwarf, unit.die, &die) == nullptr) return;
    unit.lines = linesOf(die);
    unit.isMangling = isManglingLanguage(die);
    if (!readScopes(die, m_layout, m_limit, unit.scopes))
        noteFault("the debug information is damaged");
}

UnitLines* DebugInfo::linesOf(Dwarf_Die& die)
{
    Dwarf_Attribute attribute;
    Dwarf_Word offset = 0;
    if (::dwarf_attr(&die, DW_AT_stmt_list, &attribute) == nullptr ||
        ::dwarf_formudata(&attribute, &offset) != 0)
        return nullptr;
    const auto [place, isNew] = m_lineTables.try_emplace(offset);
    if (!isNew) return place->second.get();
    const std::uint64_t bytes = lineProgramBytes(m_lines, offset);
    // Programs may overlap in a file that was made to do harm.
    if (bytes != 0 && bytes <= g_maxLineBytes && m_lineLimit.spend(bytes))
        place->second = std::make_unique<UnitLines>();
    else
        noteFault("a table of source lines is damaged or too large");
    return place->second.get();
}

void DebugInfo::readLines(const unit_t& unit)
{
    Dwarf_Die die;
    if (unit.lines == nullptr || unit.lines->isRead()) return;
    if (::dwarf_offdie(m_dwarf, unit.die, &die) != nullptr) unit.lines->read(die);
}

bool DebugInfo::findFrames(std::uint64_t address, std::vector<source_frame_t>& frames,
                           bool& isNameShort)
{
    frames.clear();
    isNameShort = true;
    indexUnits();
    const piece_t* piece = m_unitByAddress.find(address);
    if (piece == nullptr) return false;
    unit_t& unit = m_units[piece->value];
    readUnit(unit);
    readLines(unit);
    source_frame_t place;
    const bool isKnown = findLine(unit, address, place);
    const piece_t* innermost = unit.scopes.innermost.find(address);
    std::uint32_t number = innermost != nullptr ? innermost->value : g_noScope;
    while (number != g_noScope) {
        scope_t& scope = unit.scopes.scopes[number];
        fillName(unit, scope);
        addFrame(unit, scope, address, place, frames);
        place = {"", scope.callFile, scope.callLine, scope.callColumn, 0, 0, false};
        isNameShort = scope.isShort;
        number = scope.isInlined ? scope.parent : g_noScope;
    }
    if (frames.empty() && isKnown) frames.push_back(place);
    return !frames.empty();
}

void DebugInfo::addFrame(const unit_t& unit, const scope_t& scope, std::uint64_t address,
                         const source_frame_t& place, std::vector<source_frame_t>& frames)
{
    source_frame_t& frame = frames.emplace_back(place);
    frame.function = scope.function;
    frame.isInlined = scope.isInlined;
    const auto first = unit.scopes.ranges.begin() + scope.firstRange;
    const auto range = std::find_if(first, first + scope.rangeCount,
                                    [address](const range_t& r) { return r.holds(address); });
    if (range == first + scope.rangeCount) return;
    frame.start = range->start;
    frame.end = range->end;
}

void DebugInfo::fillName(const unit_t& unit, scope_t& scope)
{
    if (scope.isNamed) return;
    scope.isNamed = true;
    Dwarf_Die die;
    if (::dwarf_offdie(m_dwarf, scope.die, &die) == nullptr) return;
    scope.function = functionName(die, scope.isMangled);
    scope.isShort = *scope.function == '\0' || (unit.isMangling && !scope.isMangled);
    if (!scope.isInlined) return;
    scope.callLine = numberOf(die, DW_AT_call_line);
    scope.callColumn = numberOf(die, DW_AT_call_column);
    if (unit.lines != nullptr && ::dwarf_hasattr(&die, DW_AT_call_file) != 0)
        scope.callFile = pathOf(unit, numberOf(die, DW_AT_call_file));
}

const char* DebugInfo::pathOf(const unit_t& unit, std::uint32_t file)
{
    std::vector<source_file_t>& files = unit.lines->files();
    if (file >= files.size() || files[file].path == nullptr) return "";
    source_file_t& known = files[file];
    Dwarf_Die die;
    if (!known.isAbsolute && ::dwarf_offdie(m_dwarf, unit.die, &die) != nullptr)
        known.path = absolutePath(die, known.path);
    known.isAbsolute = true;
    return known.path;
}

const char* DebugInfo::absolutePath(Dwarf_Die& unit, const char* path)
{
    Dwarf_Attribute attribute;
    if (path[0] == '/' || ::dwarf_attr(&unit, DW_AT_comp_dir, &attribute) == nullptr) return path;
    const char* folder = ::dwarf_formstring(&attribute);
    // A relative folder is of no use, and may stand in the path already.
    if (folder == nullptr || folder[0] != '/') return path;
    const std::size_t folderBytes = ::strnlen(folder, g_maxPathBytes);
    const std::size_t pathBytes = ::strnlen(path, g_maxPathBytes);
    if (folderBytes + pathBytes >= g_maxPathBytes) return path;
    m_paths.push_back(std::string(folder, folderBytes) + "/" + std::string(path, pathBytes));
    return m_paths.back().c_str();
}

bool DebugInfo::findLine(const unit_t& unit, std::uint64_t address, source_frame_t& frame)
{
    const line_t* line = unit.lines != nullptr ? unit.lines->find(address) : nullptr;
    if (line == nullptr) return false;
    frame.file = pathOf(unit, line->file);
    frame.line = line->line;
    frame.column = line->column;
    return true;
}

void DebugInfo::noteFault(const std::string& fault)
{
    const bool isKnown = std::find(m_faults.begin(), m_faults.end(), fault) != m_faults.end();
    if (!isKnown && m_faults.size() < g_maxFaults) m_faults.push_back(fault);
}

} // namespace GLYPH_3_30
