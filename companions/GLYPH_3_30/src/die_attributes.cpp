#include "die_attributes.h"

#include <dwarf.h>

#include <initializer_list>

namespace GLYPH_3_30 {

std::uint32_t numberOf(Dwarf_Die& die, unsigned name)
{
    Dwarf_Attribute attribute;
    Dwarf_Word value = 0;
    if (::dwarf_attr(&die, name, &attribute) == nullptr ||
        ::dwarf_formudata(&attribute, &value) != 0 || value > UINT32_MAX)
        return 0;
    return static_cast<std::uint32_t>(value);
}

const char* functionName(Dwarf_Die& die, bool& isMangled)
{
    Dwarf_Attribute attribute;
    for (const unsigned name : {DW_AT_linkage_name, DW_AT_MIPS_linkage_name}) {
        if (::dwarf_attr_integrate(&die, name, &attribute) == nullptr) continue;
        const char* text = ::dwarf_formstring(&attribute);
        isMangled = text != nullptr;
        if (isMangled) return text;
    }
    const char* text = ::dwarf_diename(&die);
    return text != nullptr ? text : "";
}

bool isManglingLanguage(Dwarf_Die& unit)
{
    switch (::dwarf_srclang(&unit)) {
    case DW_LANG_C_plus_plus:
    case DW_LANG_C_plus_plus_03:
    case DW_LANG_C_plus_plus_11:
    case DW_LANG_C_plus_plus_14:
    case DW_LANG_D:
    case DW_LANG_Rust:
        return true;
    default:
        return false;
    }
}

} // namespace GLYPH_3_30
