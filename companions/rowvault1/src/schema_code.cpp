#include "schema_parts.h"

// Tables of code: call chains, places in code, and the mappings that hold them.
namespace rowvault1::schema {
namespace {

using enum kind_t;

constexpr column_t g_callsite[] = {
    {0, "parent", s32, "dd_callsite",
     "Callsite of the calling frame; empty at the outermost frame."},
    {1, "code_loc", s32, "dd_code_location", "Place in code of this frame."},
    {5, "mark", s32, "", "3 for a marked frame, else 0."},
};

constexpr column_t g_codeLocation[] = {
    {0, "rva", u64, "",
     "Address relative to the module; the plain address when no module is known."},
    {1, "mod_seg", s32, "dd_module_segment",
     "Segment of the module; empty or -1 when none is known."},
    {14, "stored_rva", u64, "", "The relative address as it was stored first."},
};

constexpr column_t g_segmentInstance[] = {
    {0, "mod_seg", s32, "dd_module_segment", "Segment that is mapped; empty when none is known."},
    {1, "address", u64, "", "First address of the mapping in the process."},
    {2, "process", s32, "dd_process", "Process that holds the mapping."},
    {3, "extra", u64, "", "Tick at which the mapping was loaded; empty when not known."},
};

constexpr column_t g_moduleSegment[] = {
    {0, "module", s32, "dd_module_file", "Module that the segment belongs to."},
    {1, "kind", s32, "", "1 mapping of a file, 2 mapping without a file, 3 generated code."},
    {2, "offset", s64, "", "Offset of the segment in the file, in bytes."},
    {3, "size", s64, "", "Size of the segment, in bytes."},
    {4, "protection", s32, "", "Protection bits of the mapping, as the kernel numbers them."},
    {5, "jit_file", s32, "dd_jit_file", "Source of generated code; empty for all other kinds."},
};

constexpr table_t g_tables[] = {
    {"dd_callsite", table_kind_t::attribute,
     "A row per distinct frame of a call chain; a chain is walked from its leaf by parent.",
     g_callsite},
    {"dd_code_location", table_kind_t::attribute, "A row per place in code.", g_codeLocation},
    {"dd_segment_instance", table_kind_t::attribute,
     "A row per mapping of a module segment in a process.", g_segmentInstance},
    {"dd_module_segment", table_kind_t::attribute, "A row per segment of a module.",
     g_moduleSegment},
};

} // namespace

std::span<const table_t> codeTables()
{
    return g_tables;
}

} // namespace rowvault1::schema
