#pragma once

#include <rowvault1/result.h>

#include <GLYPH_3_30/module_symbol_bank.h>

#include <cstdint>
#include <map>
#include <string>

namespace samplefold::report {

/// Names of functions out of the files that the load found for modules, for places that the result
/// has no names of. A file is opened when it is first asked for; one that has gone, or is another
/// one than at the load by its build id (by its checksum where the recording had none), tells
/// nothing. One thread.
class FileSymbols {
public:
    /// `result` outlives the object.
    explicit FileSymbols(rowvault1::IResult& result) : m_result(result) {}

    /// The function that holds the byte `rva` of the file of a module (row of dd_module_file),
    /// demangled; empty when there is none. Throws rowvault1::StoreError.
    std::string functionAt(std::int64_t module, std::uint64_t rva);

private:
    using bank_t = GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank>;

    bank_t open(std::int64_t module);

    rowvault1::IResult& m_result;
    std::map<std::int64_t, bank_t> m_banks; ///< null: has no names
};

} // namespace samplefold::report
