#include "dump_code.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace jitlens_3_13 {
namespace {

/// Plays the dump's records by (time, place in the file). `unusedMoves` counts moves of nothing.
std::vector<version_t> play(bytes_t bytes, dump_t& dump, std::uint64_t& unusedMoves)
{
    // The order of the file breaks ties.
    std::stable_sort(dump.events.begin(), dump.events.end(),
                     [](const dump_event_t& a, const dump_event_t& b) { return a.time < b.time; });
    Timeline timeline;
    for (const dump_event_t& event : dump.events)
        if (event.function == g_isMove) timeline.expectMoveOf(moveAt(bytes, event.place).index);
    for (const dump_event_t& event : dump.events) {
        if (event.function == g_isMove) {
            const dump_move_t move = moveAt(bytes, event.place);
            if (!timeline.move(event.time, move.oldAddress, move.newAddress, move.size, move.index))
                ++unusedMoves;
        } else {
            const dump_load_t load = loadAt(bytes, event.place);
            const dump_function_t& function = dump.functions[event.function];
            timeline.load(event.time, load.address, function.size, function.code, load.index);
        }
    }
    return timeline.take();
}

} // namespace

DumpCode::DumpCode(std::vector<std::byte> bytes, std::vector<dump_function_t> functions,
                   std::vector<dump_line_t> lines, std::vector<version_t> versions)
    : m_bytes(std::move(bytes)), m_functions(std::move(functions)), m_lines(std::move(lines)),
      m_index(std::move(versions))
{
}

bool DumpCode::resolve(std::uint64_t time, std::uint64_t address, std::uint64_t& rva) const
{
    const version_t* version = m_index.find(time, address);
    if (version == nullptr) return false;
    rva = version->rva + (address - version->first);
    return true;
}

bool DumpCode::findRegion(std::uint64_t time, std::uint64_t first, std::uint64_t last,
                          region_t& region) const
{
    const version_t* version = m_index.findEarliest(time, first, last);
    if (version == nullptr) return false;
    region = {version->first,      version->last, version->loadTime,
              version->unloadTime, version->rva,  nullptr};
    return true;
}

void DumpCode::addBorders(std::vector<std::uint64_t>& borders) const
{
    for (const version_t& version : m_index.versions()) {
        if (version.loadTime == 0) continue;
        borders.push_back(version.first);
        if (version.last != std::numeric_limits<std::uint64_t>::max())
            borders.push_back(version.last + 1);
    }
}

bool DumpCode::findSymbol(std::uint64_t rva, symbol_t& symbol) const
{
    const dump_function_t* function = functionAt(rva);
    if (function == nullptr) return false;
    const bytes_t bytes = m_bytes;
    symbol = {textOf(bytes.subspan(function->name, function->nameSize)), function->code,
              function->size, bytes.subspan(function->code, function->size)};
    return true;
}

bool DumpCode::findCode(std::uint64_t rva, symbol_t& symbol, code_stretch_t& stretch) const
{
    if (findSymbol(rva, symbol)) {
        stretch = {symbol.rva, symbol.rva + symbol.size};
        return true;
    }
    const auto after = functionBehind(rva);
    stretch = {0, std::numeric_limits<std::uint64_t>::max()};
    if (after != m_functions.end()) stretch.end = after->code;
    if (after != m_functions.begin()) {
        const dump_function_t& before = *(after - 1);
        stretch.start = std::uint64_t{before.code} + before.size;
    }
    return false;
}

bool DumpCode::findLine(std::uint64_t rva, source_line_t& line) const
{
    const dump_function_t* function = functionAt(rva);
    if (function == nullptr) return false;
    const auto begin = m_lines.begin() + function->linesBegin;
    const auto after =
        std::upper_bound(begin, m_lines.begin() + function->linesEnd, rva,
                         [](std::uint64_t wanted, const dump_line_t& l) { return wanted < l.rva; });
    if (after == begin) return false;
    const dump_line_t& found = *(after - 1);
    line = {textOf(bytes_t(m_bytes).subspan(found.file, found.fileSize)), found.line};
    return true;
}

void DumpCode::ignoreTimes()
{
    std::vector<version_t> kept;
    for (const version_t& version : m_index.versions())
        if (version.unloadTime == g_forever) kept.push_back(version);
    for (version_t& version : kept)
        version.loadTime = 0;
    m_index = RegionIndex(std::move(kept));
}

std::vector<dump_function_t>::const_iterator DumpCode::functionBehind(std::uint64_t rva) const
{
    return std::upper_bound(
        m_functions.begin(), m_functions.end(), rva,
        [](std::uint64_t wanted, const dump_function_t& f) { return wanted < f.code; });
}

const dump_function_t* DumpCode::functionAt(std::uint64_t rva) const
{
    const auto after = functionBehind(rva);
    if (after == m_functions.begin()) return nullptr;
    const dump_function_t& function = *(after - 1);
    return rva - function.code < function.size ? &function : nullptr;
}

std::unique_ptr<CodeFile> makeDumpCode(std::vector<std::byte> bytes, source_t& source)
{
    dump_t dump = readDump(bytes);
    source.kind = module_kind_t::jitdump;
    source.clock = dump.clock;
    source.functions = dump.functions.size();
    source.skipped = dump.skipped;
    source.fault = dump.fault;
    if (!dump.usable) return nullptr;
    std::vector<version_t> versions = play(bytes, dump, source.skipped);
    if (!dump.events.empty()) { // which are in order by now
        source.firstTime = dump.events.front().time;
        source.lastTime = dump.events.back().time;
    }
    return std::make_unique<DumpCode>(std::move(bytes), std::move(dump.functions),
                                      std::move(dump.lines), std::move(versions));
}

} // namespace jitlens_3_13
