#include "dump_reader.h"

#include "line_reader.h"

#include <limits>
#include <map>
#include <string_view>

namespace jitlens_3_13 {
namespace {

constexpr std::uint32_t g_magic = 0x4A695444;
constexpr std::uint32_t g_swappedMagic = 0x4454694A;
constexpr std::uint32_t g_version = 1;
constexpr std::uint32_t g_machineX86_64 = 62;
constexpr std::uint64_t g_archTimestamps = 1;

// Header: magic, version, total size, machine, reserved word, pid (32 bits each), time, flags.
constexpr std::size_t g_headerBytes = 40;
// Record: id, total size (32 bits each), time.
constexpr std::size_t g_prefixBytes = 16;
// Load: pid, tid (32 bits each), vma, code address, code size, code index, name, code.
constexpr std::size_t g_loadBytes = g_prefixBytes + 40;
// Move: pid, tid (32 bits each), vma, old and new code address, code size, code index.
constexpr std::size_t g_moveBytes = g_prefixBytes + 48;

enum class record_id_t : std::uint32_t { load, move, debugInfo, close, unwindingInfo };

std::string at(std::size_t offset, std::string_view what)
{
    return "offset " + std::to_string(offset) + ": " + std::string(what);
}

/// One pass over the records of a file with a good header.
class DumpWalk {
public:
    DumpWalk(bytes_t bytes, dump_t& dump) : m_bytes(bytes), m_dump(dump) {}

    void run(std::size_t offset)
    {
        while (offset < m_bytes.size()) {
            const std::size_t left = m_bytes.size() - offset;
            if (left < g_prefixBytes) return end(offset, "the record is cut off");
            const std::size_t size = numberAt<std::uint32_t>(m_bytes, offset + 4);
            if (size < g_prefixBytes)
                return end(offset,
                           "the record's size " + std::to_string(size) + " is below its prefix");
            if (size > left)
                return end(offset, "the record claims " + std::to_string(size) + " bytes, but " +
                                       std::to_string(left) + " are left");
            const auto id = numberAt<record_id_t>(m_bytes, offset);
            if (id == record_id_t::close) return;
            const bytes_t record = m_bytes.subspan(offset, size);
            if (!take(id, record, static_cast<std::uint32_t>(offset))) ++m_dump.skipped;
            offset += size;
        }
    }

private:
    void end(std::size_t offset, std::string_view why) { m_dump.fault = at(offset, why); }

    /// False when the record makes no sense.
    bool take(record_id_t id, bytes_t record, std::uint32_t offset)
    {
        switch (id) {
        case record_id_t::load:
            return takeLoad(record, offset);
        case record_id_t::move:
            return takeMove(record, offset);
        case record_id_t::debugInfo:
            return takeLines(record);
        default:
            return true;
        }
    }

    bool takeLoad(bytes_t record, std::uint32_t offset)
    {
        if (record.size() < g_loadBytes) return false;
        const std::uint64_t address = numberAt<std::uint64_t>(record, 32);
        const std::uint64_t size = numberAt<std::uint64_t>(record, 40);
        const bytes_t lines = takePendingLines(address);
        if (!fitsAddressSpace(address, size)) return false;
        const std::string_view rest = textOf(record.subspan(g_loadBytes));
        const std::size_t nameSize = rest.find('\0');
        if (nameSize == std::string_view::npos || size > rest.size() - nameSize - 1) return false;
        dump_function_t function;
        function.name = offset + static_cast<std::uint32_t>(g_loadBytes);
        function.nameSize = static_cast<std::uint32_t>(nameSize);
        function.code = function.name + function.nameSize + 1;
        function.size = static_cast<std::uint32_t>(size);
        if (!addEvent(record, offset, static_cast<std::uint32_t>(m_dump.functions.size())))
            return false;
        function.linesBegin = static_cast<std::uint32_t>(m_dump.lines.size());
        appendLines(m_bytes, lines, address, function, m_addressShift, m_dump.lines);
        function.linesEnd = static_cast<std::uint32_t>(m_dump.lines.size());
        m_dump.functions.push_back(function);
        return true;
    }

    bool takeMove(bytes_t record, std::uint32_t offset)
    {
        if (record.size() < g_moveBytes) return false;
        const dump_move_t move = moveAt(m_bytes, offset);
        return fitsAddressSpace(move.newAddress, move.size) && addEvent(record, offset, g_isMove);
    }

    bool takeLines(bytes_t record)
    {
        if (!isWholeLineRecord(record)) return false;
        m_pendingLines[numberAt<std::uint64_t>(record, g_prefixBytes)] = record;
        return true;
    }

    bytes_t takePendingLines(std::uint64_t address)
    {
        const auto found = m_pendingLines.find(address);
        if (found == m_pendingLines.end()) return {};
        const bytes_t lines = found->second;
        m_pendingLines.erase(found);
        return lines;
    }

    bool addEvent(bytes_t record, std::uint32_t offset, std::uint32_t function)
    {
        const std::uint64_t time = numberAt<std::uint64_t>(record, 8);
        // The last tick stands for "never unloaded", so nothing can happen at it.
        if (time == std::numeric_limits<std::uint64_t>::max()) return false;
        m_dump.events.push_back({time, offset, function});
        return true;
    }

    bytes_t m_bytes;
    dump_t& m_dump;
    std::uint64_t m_addressShift = lineAddressShift(m_bytes);
    std::map<std::uint64_t, bytes_t> m_pendingLines; ///< by address of the code
};

/// Why the header is refused, empty when it is not.
std::string headerFault(bytes_t bytes)
{
    if (bytes.size() < g_dumpMagicBytes) return at(0, "the header is cut off");
    const auto magic = numberAt<std::uint32_t>(bytes, 0);
    if (magic == g_swappedMagic)
        return at(0, "the jitdump was written on a machine of the other byte order");
    if (magic != g_magic) return at(0, "no jitdump");
    if (bytes.size() < g_headerBytes) return at(0, "the header is cut off");
    const auto version = numberAt<std::uint32_t>(bytes, 4);
    if (version != g_version)
        return at(4, "version " + std::to_string(version) + " of the jitdump is not known, 1 is");
    const auto machine = numberAt<std::uint32_t>(bytes, 12);
    if (machine != g_machineX86_64)
        return at(12, "the jitdump holds code of machine " + std::to_string(machine) +
                          ", not of x86-64 (62)");
    const auto size = numberAt<std::uint32_t>(bytes, 8);
    if (size < g_headerBytes || size > bytes.size())
        return at(8, "the header's size " + std::to_string(size) + " is not possible");
    return {};
}

} // namespace

dump_load_t loadAt(bytes_t bytes, std::uint32_t place)
{
    return {numberAt<std::uint64_t>(bytes, place + g_prefixBytes + 16),
            numberAt<std::uint64_t>(bytes, place + g_prefixBytes + 32)};
}

dump_move_t moveAt(bytes_t bytes, std::uint32_t place)
{
    return {numberAt<std::uint64_t>(bytes, place + g_prefixBytes + 16),
            numberAt<std::uint64_t>(bytes, place + g_prefixBytes + 24),
            numberAt<std::uint64_t>(bytes, place + g_prefixBytes + 32),
            numberAt<std::uint64_t>(bytes, place + g_prefixBytes + 40)};
}

bool looksLikeDump(bytes_t bytes)
{
    if (bytes.size() < g_dumpMagicBytes) return false;
    const auto magic = numberAt<std::uint32_t>(bytes, 0);
    return magic == g_magic || magic == g_swappedMagic;
}

dump_t readDump(bytes_t bytes)
{
    dump_t dump;
    dump.fault = headerFault(bytes);
    if (!dump.fault.empty()) return dump;
    dump.usable = true;
    const bool isTsc = (numberAt<std::uint64_t>(bytes, 32) & g_archTimestamps) != 0;
    dump.clock = isTsc ? clock_t::tsc : clock_t::monotonic;
    DumpWalk(bytes, dump).run(numberAt<std::uint32_t>(bytes, 8));
    return dump;
}

} // namespace jitlens_3_13
