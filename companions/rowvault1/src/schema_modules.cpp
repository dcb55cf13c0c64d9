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

constexpr column_t g_jitFile[] = {
    {0, "name", text, "", "Name of the source of generated code."},
    {1, "path", text, "", "Path of the source of generated code."},
    {4, "jit_kind", s32, "", "Kind of generated code, -1 when not known."},
};

constexpr table_t g_tables[] = {
    {"dd_module_file", table_kind_t::attribute, "A row per module file.", g_moduleFile},
    {"dd_module_file_attributes", table_kind_t::attribute, "Further attributes of module files.",
     g_moduleFileAttributes},
    {"dd_jit_file", table_kind_t::attribute, "A row per source of generated code.", g_jitFile},
};

} // namespace

std::span<const table_t> moduleTables()
{
    return g_tables;
}

} // namespace rowvault1::schema
