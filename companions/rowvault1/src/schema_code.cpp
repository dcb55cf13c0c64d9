#include "schema_parts.h"

// Tables of code: call chains, places in code, and the mappings that hold them.
namespace rowvault1::schema {
namespace {

using enum kind_t;

constexpr column_t g_callsite[] = {
    {0, "parent", s32, "dd_callsite",
     "Callsite of the calling frame; empty at the outermost frame."},
    {1, "code_loc", s32, "dd_code_location", "Place in code of this frame."},
    {5, "mark", s32, "", "3 when the frame was sampled when it was first met, else 0."},
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

constexpr column_t g_function[] = {
    {0, "name", text, "", "Name of the function."},
    {1, "module", s32, "dd_module_file", "Module that holds it."},
    {2, "start", u64, "",
     "First byte, relative to the module as in dd_code_location; empty where no symbol tells it."},
    {3, "size", u64, "", "Bytes of it; empty where no symbol tells them."},
    {4, "raw_name", text, "", "The name as the module has it; empty when it is the same."},
};

constexpr column_t g_sourceFile[] = {
    {0, "path", text, "", "Path of the source file as debug information has it."},
};

constexpr column_t g_inlined[] = {
    {0, "function", s32, "dd_function", "Function that was inlined."},
    {1, "caller", s32, "dd_inlined",
     "Inlined function that it was inlined into; empty when that is the place's own function."},
    {2, "call_file", s32, "dd_source_file", "Source file of the call that it stands for."},
    {3, "call_line", s32, "", "Line of that call; empty when not known."},
};

constexpr column_t g_missingName[] = {
    {0, "reason", text, "", "Why there is no name."},
};

constexpr column_t g_codeName[] = {
    {0, "mod_seg", s32, "dd_module_segment", "Segment of the place, as in dd_code_location."},
    {1, "rva", u64, "", "Relative address of the place, as in dd_code_location."},
    {2, "function", s32, "dd_function", "Function that holds the place; empty when none does."},
    {3, "source_file", s32, "dd_source_file", "Source file of the place; empty when not known."},
    {4, "line", s32, "",
     "Line in it; empty when not known. Of a place that was only met as a "
     "caller it is the line of the call."},
    {5, "inlined", s32, "dd_inlined",
     "Innermost of the functions inlined at the place; empty when there are none."},
    {6, "missing", s32, "dd_missing_name", "Why the place has no function; empty when it has."},
};

constexpr column_t g_jitRegion[] = {
    {0, "seg_inst", s32, "dd_segment_instance", "Its mapping; frames in it lie in that segment."},
    {1, "process", s32, "dd_process", "Process that generated it."},
    {2, "address", u64, "", "First address in the process."},
    {3, "size", u64, "", "Bytes of code."},
    {4, "start_tsc", u64, "", "First tick at which it was there; 0 when not known."},
    {5, "end_tsc", u64, "", "Last tick at which it was there; empty when it stayed."},
    {6, "rva", u64, "", "Its first address relative to the module."},
    {7, "function", s32, "dd_function", "The function; empty when it has no name."},
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
    {"dd_function", table_kind_t::attribute, "A row per function that a name was found for.",
     g_function},
    {"dd_code_name", table_kind_t::attribute,
     "A row per distinct place in code of a module that has names.", g_codeName, "mod_seg, rva"},
    {"dd_source_file", table_kind_t::attribute, "A row per source file.", g_sourceFile},
    {"dd_inlined", table_kind_t::attribute,
     "A row per call that a compiler replaced by the function's code, with what it is inside of.",
     g_inlined},
    {"dd_missing_name", table_kind_t::attribute, "A row per reason why names are missing.",
     g_missingName},
    {"dd_jit_region", table_kind_t::attribute,
     "A row per piece of generated code in which a frame lies.", g_jitRegion},
};

} // namespace

std::span<const table_t> codeTables()
{
    return g_tables;
}

} // namespace rowvault1::schema
