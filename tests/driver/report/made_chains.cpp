#include "made_chains.h"

#include <sstream>

namespace samplefold::report::testing {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;

Index MadeChainsTest::module(const std::string& path)
{
    if (path.empty()) return {};
    Index& row = m_modules[path];
    if (!row.exist()) {
        row = add("dd_module_file",
                  {{"path", text(path)}, {"name", text(path.substr(path.rfind('/') + 1))}});
    }
    return row;
}

Index MadeChainsTest::segment(const std::string& path)
{
    if (path.empty()) return {};
    Index& row = m_segments[path];
    if (!row.exist()) row = add("dd_module_segment", {{"module", indexToVariant(module(path))}});
    return row;
}

Index MadeChainsTest::place(const std::string& path, std::uint64_t rva)
{
    Index& row = m_places[{path, rva}];
    if (!row.exist()) {
        row = add("dd_code_location",
                  {{"rva", tb2::variant_t(rva)}, {"mod_seg", number(segment(path).value())}});
    }
    return row;
}

void MadeChainsTest::name(const std::string& path, std::uint64_t rva, const std::string& function,
                          const std::string& functionPath)
{
    Index& row = m_functions[{functionPath, function}];
    if (!row.exist()) {
        row = add("dd_function",
                  {{"name", text(function)}, {"module", indexToVariant(module(functionPath))}});
    }
    add("dd_code_name", {{"mod_seg", indexToVariant(segment(path))},
                         {"rva", tb2::variant_t(rva)},
                         {"function", indexToVariant(row)}});
}

Index MadeChainsTest::sourceFile(const std::string& path)
{
    if (path.empty()) return {};
    Index& row = m_sourceFiles[path];
    if (!row.exist()) row = add("dd_source_file", {{"path", text(path)}});
    return row;
}

void MadeChainsTest::name(const std::string& path, std::uint64_t rva, const SourcePlace& source)
{
    Columns columns{{"mod_seg", indexToVariant(segment(path))},
                    {"rva", tb2::variant_t(rva)},
                    {"function", indexToVariant(source.function)},
                    {"source_file", indexToVariant(sourceFile(source.file))},
                    {"inlined", indexToVariant(source.inlined)}};
    if (source.line != 0) columns.emplace_back("line", number(source.line));
    add("dd_code_name", columns);
}

Index MadeChainsTest::function(const std::string& name, const std::string& path,
                               const std::string& rawName)
{
    Columns columns{{"name", text(name)}, {"module", indexToVariant(module(path))}};
    if (!rawName.empty()) columns.emplace_back("raw_name", text(rawName));
    return add("dd_function", columns);
}

Index MadeChainsTest::inlined(Index function, const std::string& callFile, std::int32_t callLine,
                              Index caller)
{
    return add("dd_inlined", {{"function", indexToVariant(function)},
                              {"caller", indexToVariant(caller)},
                              {"call_file", indexToVariant(sourceFile(callFile))},
                              {"call_line", number(callLine)}});
}

Index MadeChainsTest::frame(Index caller, Index place)
{
    return add("dd_callsite",
               {{"parent", indexToVariant(caller)}, {"code_loc", indexToVariant(place)}});
}

Index MadeChainsTest::chain(const Chain& frames)
{
    const std::string path = "/bin/app";
    Index callsite;
    for (const std::string& named : frames) {
        Index& where = m_named[named];
        if (!where.exist()) {
            const std::uint64_t rva = 16 * m_named.size();
            where = place(path, rva);
            name(path, rva, named.substr(0, named.find('@')), path);
        }
        Index& row = m_frames[{callsite.value(), where.value()}];
        if (!row.exist()) row = frame(callsite, where);
        callsite = row;
    }
    return callsite;
}

void MadeChainsTest::sample(Index callsite, std::int64_t count, Index event, std::uint64_t tick)
{
    Index& attributes = m_samples[callsite.value()];
    if (!attributes.exist())
        attributes = add("dd_sample", {{"callsite", indexToVariant(callsite)}});
    add({event.exist() ? event : cycles, attributes, thread, Index(), count, callsite, tick});
}

std::string MadeChainsTest::trees(TreeKind kind, const TreeLimits& limits, const TickRange& range)
{
    std::ostringstream out;
    writeTrees(result(), {kind, limits, range}, out);
    const std::string all = out.str();
    const std::size_t event = all.find("\nEvent ");
    return event == std::string::npos ? std::string() : all.substr(event + 1);
}

nlohmann::ordered_json MadeChainsTest::treesJson(TreeKind kind, const TreeLimits& limits,
                                                 const TickRange& range)
{
    std::ostringstream out;
    writeTreesJson(result(), {kind, limits, range}, out);
    return nlohmann::ordered_json::parse(out.str());
}

} // namespace samplefold::report::testing
