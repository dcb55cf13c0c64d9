#pragma once

#include "names/found_names.h"
#include "session/keyed_rows.h"

#include <cstdint>
#include <string>

namespace samplefold::names {

/// Writes names that were found into a result. Rows that it has already, those of earlier loads
/// included, are used again. Loading thread only.
class NameRows {
public:
    explicit NameRows(const tb2::sptr_t<rowvault1::IDatabase>& db);

    /// Writes a row per place, and what the rows refer to. `module` is the row of the places'
    /// module.
    void write(std::int32_t module, const FoundNames& names);

private:
    rowvault1::Index functionRow(const Function& function, rowvault1::Index module);
    rowvault1::Index inlinedRow(const FoundNames& names, number_t number, rowvault1::Index module);
    rowvault1::Index fileRow(const FoundNames& names, number_t number);

    session::KeyedRows<std::string, rowvault1::Index> m_functions;
    session::KeyedRows<std::string, rowvault1::Index, std::uint64_t> m_placedFunctions;
    session::KeyedRows<std::string> m_files;
    session::KeyedRows<rowvault1::Index, rowvault1::Index, rowvault1::Index, std::int32_t>
        m_inlined;
    session::KeyedRows<std::string> m_reasons;
    session::RowWriter m_places;
};

} // namespace samplefold::names
