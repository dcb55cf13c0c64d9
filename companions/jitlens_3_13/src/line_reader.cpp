#include "line_reader.h"

#include <algorithm>
#include <string_view>

namespace jitlens_3_13 {
namespace {

constexpr std::size_t g_countPlace = 24;
constexpr std::size_t g_firstEntry = 32;
constexpr std::size_t g_entryBytes = 16; // before the name
constexpr std::string_view g_sameFile = "\xff";

constexpr std::size_t g_reservedPlace = 16; // of the dump's header
constexpr std::uint32_t g_markOfNode = 0xDEADBEEF;
constexpr std::uint64_t g_shiftOfNode = 0x40;

struct entry_t {
    std::uint64_t address = 0;
    std::int32_t line = 0;
    std::string_view file;
};

/// Walks the entries of a record.
class EntryWalk {
public:
    explicit EntryWalk(bytes_t record) : m_record(record)
    {
        if (record.size() < g_firstEntry) return;
        m_left = numberAt<std::uint64_t>(record, g_countPlace);
        m_isWhole = true;
    }

    /// False at the end and at an entry that is not whole.
    bool next(entry_t& entry)
    {
        if (m_left == 0) return false;
        m_isWhole = m_record.size() - m_offset > g_entryBytes;
        if (!m_isWhole) return false;
        const std::string_view rest = textOf(m_record.subspan(m_offset + g_entryBytes));
        const std::size_t nameSize = rest.find('\0');
        m_isWhole = nameSize != std::string_view::npos;
        if (!m_isWhole) return false;
        entry.address = numberAt<std::uint64_t>(m_record, m_offset);
        entry.line = numberAt<std::int32_t>(m_record, m_offset + 8);
        entry.file = rest.substr(0, nameSize);
        m_offset += g_entryBytes + nameSize + 1;
        --m_left;
        return true;
    }

    bool isWhole() const noexcept { return m_isWhole; }
    bool restIsPadding() const
    {
        return textOf(m_record.subspan(m_offset)).find_first_not_of('\0') == std::string_view::npos;
    }

private:
    bytes_t m_record;
    std::uint64_t m_left = 0;
    std::size_t m_offset = g_firstEntry;
    bool m_isWhole = false;
};

/// Smallest address in the record; the highest possible one when it has no entries.
std::uint64_t lowestAddress(bytes_t record)
{
    std::uint64_t lowest = ~std::uint64_t{0};
    entry_t entry;
    for (EntryWalk walk(record); walk.next(entry);)
        lowest = std::min(lowest, entry.address);
    return lowest;
}

} // namespace

bool isWholeLineRecord(bytes_t record)
{
    EntryWalk walk(record);
    entry_t entry;
    while (walk.next(entry)) {
    }
    return walk.isWhole() && walk.restIsPadding();
}

std::uint64_t lineAddressShift(bytes_t dump)
{
    // Node.js marks its dumps with a reserved word of its own, and counts line addresses as if an
    // ELF header stood before the code.
    return numberAt<std::uint32_t>(dump, g_reservedPlace) == g_markOfNode ? g_shiftOfNode : 0;
}

void appendLines(bytes_t dump, bytes_t record, std::uint64_t address,
                 const dump_function_t& function, std::uint64_t shift,
                 std::vector<dump_line_t>& lines)
{
    // A writer with the mark but without the shift has a line for the start of the code.
    const std::uint64_t lowest = lowestAddress(record);
    const std::uint64_t start =
        shift != 0 && lowest >= address && lowest - address >= shift ? address + shift : address;
    const auto begin = static_cast<std::ptrdiff_t>(lines.size());
    std::string_view file;
    entry_t entry;
    for (EntryWalk walk(record); walk.next(entry);) {
        if (entry.file != g_sameFile) file = entry.file;
        if (entry.address < start || entry.address - start >= function.size || entry.line < 0)
            continue;
        const auto place = file.data() == nullptr ? 0 : file.data() - textOf(dump).data();
        lines.push_back({function.code + static_cast<std::uint32_t>(entry.address - start),
                         static_cast<std::uint32_t>(entry.line), static_cast<std::uint32_t>(place),
                         static_cast<std::uint32_t>(file.size())});
    }
    std::stable_sort(lines.begin() + begin, lines.end(),
                     [](const dump_line_t& a, const dump_line_t& b) { return a.rva < b.rva; });
}

} // namespace jitlens_3_13
