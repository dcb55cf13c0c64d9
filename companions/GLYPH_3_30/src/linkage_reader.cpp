#include "linkage_reader.h"

#include "notes.h"

#include <gelf.h>

#include <cstring>
#include <map>

namespace GLYPH_3_30 {
namespace {

constexpr std::uint64_t g_maxTableBytes = std::uint64_t{1} << 28;
/// Longest name that gets an "@plt"; it is copied for every entry that uses it.
constexpr std::size_t g_maxNameBytes = 4096;
constexpr std::uint64_t g_entryBytes = 16;
constexpr std::uint64_t g_shortEntryBytes = 8;

/// Names of functions by the address of the slot that gets their address.
using slots_t = std::map<std::uint64_t, const char*>;
/// Addresses of slots by that of the function which chooses what goes there.
using choosers_t = std::multimap<std::uint64_t, std::uint64_t>;

/// The texts and entries of the symbol table that a relocation section refers to.
struct linked_symbols_t {
    TextTable names;
    Elf_Data* entries = nullptr;

    const char* nameOf(std::uint64_t index) const
    {
        GElf_Sym symbol;
        if (entries == nullptr || index > INT32_MAX ||
            ::gelf_getsym(entries, static_cast<int>(index), &symbol) == nullptr)
            return nullptr;
        return names.at(symbol.st_name);
    }
};

linked_symbols_t linkedSymbols(Elf* elf, std::size_t index)
{
    Elf_Scn* table = ::elf_getscn(elf, index);
    GElf_Shdr header;
    if (table == nullptr || ::gelf_getshdr(table, &header) == nullptr) return {};
    if (header.sh_type != SHT_DYNSYM && header.sh_type != SHT_SYMTAB) return {};
    if (header.sh_size > g_maxTableBytes) return {};
    return {TextTable(::elf_getscn(elf, header.sh_link)), ::elf_getdata(table, nullptr)};
}

void readSlots(Elf* elf, Elf_Scn* section, const GElf_Shdr& header, slots_t& slots,
               choosers_t& choosers)
{
    const linked_symbols_t linked = linkedSymbols(elf, header.sh_link);
    Elf_Data* data = ::elf_getdata(section, nullptr);
    GElf_Rela entry;
    for (int i = 0; data != nullptr && ::gelf_getrela(data, i, &entry) != nullptr; ++i) {
        const char* name = nullptr;
        const std::uint64_t type = GELF_R_TYPE(entry.r_info);
        if (type == R_X86_64_JUMP_SLOT || type == R_X86_64_GLOB_DAT) {
            name = linked.nameOf(GELF_R_SYM(entry.r_info));
        } else if (type == R_X86_64_IRELATIVE) {
            choosers.emplace(static_cast<std::uint64_t>(entry.r_addend), entry.r_offset);
        }
        if (name != nullptr && *name != '\0') slots.emplace(entry.r_offset, name);
    }
}

slots_t readAllSlots(Elf* elf, const std::vector<symbol_t>& symbols)
{
    slots_t slots;
    choosers_t choosers;
    for (Elf_Scn* section = nullptr; (section = ::elf_nextscn(elf, section)) != nullptr;) {
        GElf_Shdr header;
        if (::gelf_getshdr(section, &header) != nullptr && header.sh_type == SHT_RELA &&
            (header.sh_flags & SHF_COMPRESSED) == 0 && header.sh_size <= g_maxTableBytes)
            readSlots(elf, section, header, slots, choosers);
    }
    for (const symbol_t& symbol : symbols) {
        if (choosers.empty() || symbol.kind != symbol_kind_t::function) continue;
        const auto [first, behind] = choosers.equal_range(symbol.start);
        for (auto chooser = first; chooser != behind; ++chooser)
            slots.emplace(chooser->second, symbol.name);
    }
    return slots;
}

/// The slot that the code of an entry at `address` jumps through; 0 when it does not.
std::uint64_t slotOf(std::span<const std::byte> code, std::uint64_t address)
{
    constexpr std::size_t jumpBytes = 6; // ff 25, then four bytes relative to what follows
    for (std::size_t at = 0; at + jumpBytes <= code.size(); ++at) {
        if (code[at] != std::byte{0xff} || code[at + 1] != std::byte{0x25}) continue;
        std::int32_t distance = 0;
        std::memcpy(&distance, code.data() + at + 2, sizeof distance);
        return address + at + jumpBytes + static_cast<std::uint64_t>(std::int64_t{distance});
    }
    return 0;
}

/// Bytes per entry: the tables without a way to the lazy linker may have short ones.
std::uint64_t entryBytesOf(std::string_view name, const GElf_Shdr& header)
{
    return name == ".plt.got" && header.sh_entsize == g_shortEntryBytes ? g_shortEntryBytes
                                                                        : g_entryBytes;
}

} // namespace

void readLinkageTables(const ElfFile& file, const Layout& layout, std::deque<std::string>& names,
                       std::vector<symbol_t>& symbols)
{
    if (layout.machine() != EM_X86_64) return;
    const slots_t slots = readAllSlots(file.elf(), symbols);
    for (const std::string_view table : {".plt", ".plt.sec", ".plt.got", ".iplt"}) {
        Elf_Scn* section = findSection(file.elf(), table);
        GElf_Shdr header;
        if (section == nullptr || ::gelf_getshdr(section, &header) == nullptr) continue;
        const std::span<const std::byte> code = rawBytes(section);
        const std::uint64_t step = entryBytesOf(table, header);
        for (std::uint64_t at = 0; at + step <= code.size(); at += step) {
            const std::uint64_t address = header.sh_addr + at;
            const auto slot = slots.find(slotOf(code.subspan(at, step), address));
            range_t stretch;
            if (slot == slots.end() || !layout.findCode(address, stretch)) continue;
            const std::size_t length = ::strnlen(slot->second, g_maxNameBytes);
            if (length == g_maxNameBytes) continue;
            names.push_back(std::string(slot->second, length) + "@plt");
            symbols.push_back({names.back().c_str(), address, 0, step, symbol_kind_t::function,
                               symbol_binding_t::local, symbol_origin_t::linkageTable, false});
        }
    }
}

} // namespace GLYPH_3_30
