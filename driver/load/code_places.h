#pragma once

#include "load/jit_code.h"
#include "load/profile_context.h"
#include "session/keyed_rows.h"
#include "session/module_catalog.h"
#include "session/process_rows.h"
#include "session/process_table.h"

#include <tsl/robin_set.h>

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

namespace samplefold::load {

/// A place in code, as far as it is known which rows it has.
struct CodePlace {
    session::Process* owner = nullptr; ///< whose address space it is
    std::uint64_t address = 0;
    std::uint64_t tick = 0;
    bool isSettled = true;             ///< the two fields below hold
    samplefold_1::Index segment;       ///< row of dd_module_segment, -1 outside every known module
    std::uint64_t rva = 0;             ///< relative to the module
    samplefold_1::Index instance;      ///< row of dd_segment_instance, -1 when none was made yet
    const std::string* path = nullptr; ///< of the module; null outside mappings
    samplefold_1::segment_type_t type = samplefold_1::segment_type_t::file;
    bool asksJit = false;            ///< the library is to ask the JIT data
    jitlens_3_13::region_t region;   ///< the generated code there, when it has a module
    std::string_view function;       ///< its name; empty when it has none
    samplefold_1::Index functionRow; ///< row of dd_function, once settled; -1 without a name
    session::TickSpan jitTicks;      ///< ticks at which it is there
    session::TickSpan steady;        ///< ticks at which the same address is the same place
};

/// Finds what an address of a process was at a tick, and keeps the rows of what the library makes
/// anew on every request: placeholders for unknown addresses, one per process and address, and
/// mappings of generated code, one per process and piece of code. Rows of an earlier load of the
/// result are used again. Loading thread only.
class CodePlaces {
public:
    /// The arguments outlive the object.
    CodePlaces(ProfileContext& context, session::ModuleCatalog& modules,
               session::ProcessRows& processRows, JitCode& jit);

    CodePlace find(session::Process& owner, std::uint64_t address, std::uint64_t tick);
    /// An address that lies in no address space that is known; `owner` gets the placeholder.
    CodePlace outside(session::Process& owner, std::uint64_t address, std::uint64_t tick);

    /// Hands the place to LoaderContext::createCallsiteInstance, which settles it for good. With
    /// `location` null returns the callsite under `parent`; else fills *location.
    samplefold_1::Index createCallsite(CodePlace& place, samplefold_1::Index parent, bool sampled,
                                       samplefold_1::code_location_t* location);
    /// Makes the instance row of a settled place that has none.
    void makeInstance(CodePlace& place);

    /// Makes the instance rows of all mappings of a process, tells each of them its rows, and calls
    /// `visit` for it.
    void settleMappings(session::Process& owner,
                        const std::function<void(samplefold_1::SegInstInfo&)>& visit);

    /// Notes that a sample was taken at a settled place, which otherwise is only a caller's.
    void noteSampled(const CodePlace& place)
    {
        m_sampled.insert({place.segment.value(), place.rva});
    }
    bool wasSampled(std::int32_t segment, std::uint64_t rva) const
    {
        return m_sampled.contains({segment, rva});
    }

private:
    using address_key_t =
        std::tuple<std::int32_t, std::uint64_t>; ///< process row, relative address
    /// A piece of generated code. The name is part of it, since a later load may have other JIT
    /// data for a process that counts as the same.
    struct PieceKey {
        std::int32_t process; ///< row
        std::uint64_t first;
        std::uint64_t last;
        std::uint64_t tick; ///< of loading
        std::uint64_t rva;
        std::string function; ///< empty when it has no name

        auto operator<=>(const PieceKey&) const = default;
    };
    struct Piece {
        samplefold_1::Index instance;
        samplefold_1::Index segment;
        samplefold_1::Index function;
    };

    using code_key_t = std::pair<std::int32_t, std::uint64_t>; ///< segment row, relative address
    struct CodeHash {
        std::size_t operator()(const code_key_t& key) const noexcept
        {
            return (key.second ^ std::uint64_t(static_cast<std::uint32_t>(key.first)) << 32) *
                   0x9e3779b97f4a7c15U;
        }
    };

    void readPlaceholders(rowvault1::IDatabase& db);
    void readPieces(rowvault1::IDatabase& db);
    CodePlace mapped(session::Process& owner, const session::Place& found, std::uint64_t address);
    void explainByJit(CodePlace& place);
    PieceKey keyOf(const CodePlace& place);
    void remember(CodePlace& place);
    samplefold_1::Index addPieceRow(const CodePlace& place, const PieceKey& key);
    void nameCode(const CodePlace& place);

    ProfileContext& m_context;
    session::ModuleCatalog& m_modules;
    session::ProcessRows& m_processRows;
    JitCode& m_jit;
    std::map<address_key_t, samplefold_1::Index> m_placeholders;
    std::map<PieceKey, Piece> m_pieces;
    tsl::robin_set<code_key_t, CodeHash> m_sampled;
    session::RowWriter m_pieceWriter;
    session::KeyedRows<std::string, rowvault1::Index> m_functions;
    session::KeyedRows<rowvault1::Index, std::uint64_t> m_names; ///< segment, relative address
};

} // namespace samplefold::load
