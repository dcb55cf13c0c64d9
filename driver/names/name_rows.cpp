#include "names/name_rows.h"

namespace samplefold::names {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using session::RowWriter;
using tb2::variant_t;

NameRows::NameRows(const tb2::sptr_t<rowvault1::IDatabase>& db)
    : m_functions(db, "dd_function", {"name", "module"}),
      m_placedFunctions(db, "dd_function", {"name", "module", "start"}),
      m_files(db, "dd_source_file", {"path"}),
      m_inlined(db, "dd_inlined", {"function", "caller", "call_file", "call_line"}),
      m_reasons(db, "dd_missing_name", {"reason"}), m_places(db, "dd_code_name")
{
}

Index NameRows::functionRow(const Function& function, Index module)
{
    const auto fill = [&](RowWriter& writer) {
        if (function.hasRange) writer.set("size", variant_t(function.size));
        if (!function.rawName.empty())
            writer.set("raw_name", variant_t(std::string_view(function.rawName)));
    };
    if (function.hasRange)
        return m_placedFunctions.findOrAdd({function.name, module, function.start}, fill);
    return m_functions.findOrAdd({function.name, module}, fill);
}

Index NameRows::fileRow(const FoundNames& names, number_t number)
{
    return number != none ? m_files.findOrAdd({names.files[number]}) : Index();
}

/// The callers of an inlined function come before it.
Index NameRows::inlinedRow(const FoundNames& names, number_t number, Index module)
{
    if (number == none) return {};
    const Inlined& inlined = names.inlined[number];
    const Index caller = inlinedRow(names, inlined.caller, module);
    return m_inlined.findOrAdd({functionRow(names.functions[inlined.function], module), caller,
                                fileRow(names, inlined.callFile),
                                static_cast<std::int32_t>(inlined.callLine)});
}

void NameRows::write(std::int32_t module, const FoundNames& names)
{
    const Index moduleRow(module);
    for (const auto& [place, name] : names.places) {
        const Index function = name.function != none
                                   ? functionRow(names.functions[name.function], moduleRow)
                                   : Index();
        const Index missing =
            name.missing != none ? m_reasons.findOrAdd({names.reasons[name.missing]}) : Index();
        m_places.clear();
        m_places.set("mod_seg", variant_t(place.segment))
            .set("rva", variant_t(place.rva))
            .set("function", indexToVariant(function))
            .set("source_file", indexToVariant(fileRow(names, name.file)))
            .set("inlined", indexToVariant(inlinedRow(names, name.inlined, moduleRow)))
            .set("missing", indexToVariant(missing));
        if (name.line != 0) m_places.set("line", variant_t(static_cast<std::int32_t>(name.line)));
        m_places.commit();
    }
}

} // namespace samplefold::names
