#include "symbol_reader.h"

#include <gelf.h>

#include <optional>

namespace GLYPH_3_30 {
namespace {

constexpr std::uint64_t g_maxTableBytes = std::uint64_t{1} << 30;

symbol_binding_t bindingOf(const GElf_Sym& symbol)
{
    switch (GELF_ST_BIND(symbol.st_info)) {
    case STB_LOCAL:
        return symbol_binding_t::local;
    case STB_WEAK:
        return symbol_binding_t::weak;
    default:
        return symbol_binding_t::global;
    }
}

std::optional<symbol_kind_t> kindOf(const GElf_Sym& symbol)
{
    switch (GELF_ST_TYPE(symbol.st_info)) {
    case STT_FUNC:
    case STT_GNU_IFUNC:
        return symbol_kind_t::function;
    case STT_NOTYPE:
        return symbol_kind_t::label;
    default:
        return std::nullopt;
    }
}

void readTable(Elf* elf, Elf_Scn* table, const TextTable& names, const Layout& layout,
               symbol_origin_t origin, std::vector<symbol_t>& symbols)
{
    Elf_Data* data = ::elf_getdata(table, nullptr);
    const std::size_t entryBytes = ::gelf_fsize(elf, ELF_T_SYM, 1, EV_CURRENT);
    if (data == nullptr || data->d_buf == nullptr || entryBytes == 0) return;
    const int count = static_cast<int>(data->d_size / entryBytes);
    for (int i = 1; i < count; ++i) {
        GElf_Sym entry;
        if (::gelf_getsym(data, i, &entry) == nullptr) return;
        const std::optional<symbol_kind_t> kind = kindOf(entry);
        const char* name = names.at(entry.st_name);
        range_t code;
        if (!kind || name == nullptr || *name == '\0' || entry.st_shndx == SHN_UNDEF ||
            !layout.findCode(entry.st_value, code))
            continue;
        symbols.push_back({name, entry.st_value, 0, entry.st_size, *kind, bindingOf(entry), origin,
                           GELF_ST_TYPE(entry.st_info) == STT_GNU_IFUNC});
    }
}

} // namespace

void readSymbols(const ElfFile& file, std::uint32_t tableType, const Layout& layout,
                 symbol_origin_t origin, std::vector<symbol_t>& symbols)
{
    Elf* elf = file.elf();
    for (Elf_Scn* section = nullptr; (section = ::elf_nextscn(elf, section)) != nullptr;) {
        GElf_Shdr header;
        if (::gelf_getshdr(section, &header) == nullptr || header.sh_type != tableType ||
            (header.sh_flags & SHF_COMPRESSED) != 0 || header.sh_size > g_maxTableBytes)
            continue;
        const TextTable names(::elf_getscn(elf, header.sh_link));
        readTable(elf, section, names, layout, origin, symbols);
        return; // a file has one table of each type
    }
}

} // namespace GLYPH_3_30
