#pragma once

#include "report/file_symbols.h"

#include <rowvault1/result.h>

#include <cstdint>
#include <string>
#include <vector>

namespace samplefold::report {

/// An address in code, told by its module and function.
struct CodeSpot {
    std::string module;     ///< file name; empty outside every known module
    std::uint64_t rva = 0;  ///< relative to the module; the plain address outside modules
    std::string function{}; ///< empty when not known
};

/// "module+0xRVA", or the plain address.
std::string placeText(const CodeSpot& spot);

/// What addresses of a process were at a tick, by its mappings and generated code as the result has
/// them; addresses of the upper half are the kernel's. The result does not tell when a mapping
/// ended: of several that hold an address the latest at that tick counts. Functions come from the
/// result's names, else from the module's file, else from the extent of the functions that the
/// result knows. One thread.
class CodeSpots {
public:
    /// `process` is a row of dd_process. `result` outlives the object. Throws
    /// rowvault1::StoreError.
    CodeSpots(rowvault1::IResult& result, std::int64_t process, std::uint64_t tick);

    /// Throws rowvault1::StoreError.
    CodeSpot at(std::uint64_t address);

private:
    struct Mapping {
        bool isKernel;
        std::uint64_t start;
        std::uint64_t size;
        std::uint64_t offset;
        std::uint64_t loaded; ///< tick
        std::int64_t segment;
        std::int64_t module;
        std::string name;
    };
    struct Piece {
        std::uint64_t start;
        std::uint64_t size;
        std::uint64_t rva;
        std::string module;
        std::string function;
    };

    void readMappings(std::int64_t process, std::uint64_t tick);
    void readPieces(std::int64_t process, std::uint64_t tick);
    std::string functionAt(const Mapping& mapping, std::uint64_t rva);

    rowvault1::IResult& m_result;
    FileSymbols m_files;
    std::vector<Mapping> m_mappings; ///< the latest first
    std::vector<Piece> m_pieces;     ///< of generated code, the latest first
};

} // namespace samplefold::report
