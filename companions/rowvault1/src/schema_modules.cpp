#include "schema_parts.h"

// Tables of module files.
namespace rowvault1::schema {
namespace {

using enum kind_t;

constexpr column_t g_moduleFile[] = {
    {0, "name", text, "", "File name of the module."},
    {1, "path", text, "", "Path of the module as the recording has it."},
    {3, "md5", text, "", "MD5 checksum of the file, hexadecimal; empty when it was not computed."},
    {6, "architecture", s32, "",
     "Architecture code of the file; for generated code its kind, -1 when not known."},
    {7, "image_kind", s32, "", "Kind of image, numbered by the loader of the result."},
    {10, "bitness", s32, "", "Width of an address in the module, in bits."},
    {12, "attributes", s32, "dd_module_file_attributes", "Further attributes of the module."},
    {13, "build_id", text, "", "Build id of the file, hexadecimal; empty when not known."},
};

constexpr column_t g_moduleFileAttributes[] = {
    {1, "has_class", s32, "",
     "1 for a module file and for generated code of a class other than 0, else 0."},
    {2, "resolvable", s32, "",
     "1 when the module may be resolved further, 0 when it was ruled out."},
};

constexpr column_t g_moduleSearch[] = {
    {0, "module", s32, "dd_module_file", "Module that was looked for."},
    {1, "found", text, "", "File that was taken for it on the machine of the load; empty: none."},
    {2, "symbols", text, "", "Further file that its names and lines were taken from; empty: none."},
    {3, "missing", s32, "dd_missing_name",
     "Why places in it that have no row in dd_code_name have no name; empty when all have."},
};

constexpr column_t g_moduleAttempt[] = {
    {0, "search", s32, "dd_module_search", "Search that it belongs to."},
    {1, "step", s32, "", "Counts the tries of one search, from 0, in their order."},
    {2, "purpose", text, "", "binary or symbols."},
    {3, "place", text, "", "Kind of place, as \"path\" or \"build id cache\"."},
    {4, "path", text, "", "Path that was tried."},
    {5, "refusal", text, "", "Why it was not taken; empty for the file that was."},
    {6, "detail", text, "", "More about that; may be empty."},
};

constexpr column_t g_jitFile[] = {
    {0, "name", text, "", "Name of the source of generated code."},
    {1, "path", text, "", "Path of the source of generated code."},
    {4, "jit_kind", s32, "", "Kind of generated code, -1 when not known."},
};

constexpr table_t g_tables[] = {
    {"dd_module_file", table_kind_t::attribute, "A row per module file.", g_moduleFile},
    {"dd_module_file_attributes", table_kind_t::attribute, "Further attributes of module files.",
     g_moduleFileAttributes},
    {"dd_module_search", table_kind_t::attribute,
     "A row per search for a module's file; of several the last one holds.", g_moduleSearch,
     "module"},
    {"dd_module_attempt", table_kind_t::attribute,
     "A row per path at which a module's file was looked for.", g_moduleAttempt},
    {"dd_jit_file", table_kind_t::attribute, "A row per source of generated code.", g_jitFile},
};

} // namespace

std::span<const table_t> moduleTables()
{
    return g_tables;
}

} // namespace rowvault1::schema
