#include "load/code_places.h"

#include "session/table_rows.h"

#include <array>

namespace samplefold::load {

using rowvault1::utils::indexToVariant;
using rowvault1::utils::variantToIndex;
using samplefold_1::code_location_t;
using samplefold_1::Index;
using samplefold_1::segment_type_t;
using session::Process;
using session::RowWriter;
using tb2::variant_t;

namespace {

/// Whether an address is one of those that the library takes for no code wherever they lie outside
/// every module: 0, -1, -2, -3.
bool standsForNoCode(std::uint64_t address)
{
    return 0 - address <= 3;
}

/// The relative address that an address in no module gets.
std::uint64_t addressOutside(std::uint64_t address)
{
    return standsForNoCode(address) ? 0 - address : address;
}

} // namespace

CodePlaces::CodePlaces(ProfileContext& context, session::ModuleCatalog& modules,
                       session::ProcessRows& processRows, JitCode& jit)
    : m_context(context), m_modules(modules), m_processRows(processRows), m_jit(jit),
      m_pieceWriter(context.getDb(), "dd_jit_region"),
      m_functions(context.getDb(), "dd_function", {"name", "module"}),
      m_names(context.getDb(), "dd_code_name", {"mod_seg", "rva"})
{
    readPlaceholders(*context.getDb());
    readPieces(*context.getDb());
}

/// A placeholder's own row does not say for which address it was made, but samples there do.
void CodePlaces::readPlaceholders(rowvault1::IDatabase& db)
{
    session::readTable(
        "dd_sample", db,
        std::array{"callsite.code_loc.rva", "seg_inst", "seg_inst.mod_seg", "seg_inst.process"},
        [this](const auto& row) {
            const Index instance = variantToIndex(row[1]);
            if (!instance.exist() || variantToIndex(row[2]).exist()) return;
            m_placeholders.try_emplace({variantToIndex(row[3]).value(), row[0].integer_bits()},
                                       instance);
        });
}

void CodePlaces::readPieces(rowvault1::IDatabase& db)
{
    session::readTable(
        "dd_jit_region", db,
        std::array{"process", "address", "size", "start_tsc", "rva", "function.name", "seg_inst",
                   "seg_inst.mod_seg", "function"},
        [this](const auto& row) {
            const std::uint64_t first = row[1].integer_bits();
            m_pieces.try_emplace(
                PieceKey{variantToIndex(row[0]).value(), first, first + row[2].integer_bits() - 1,
                         row[3].integer_bits(), row[4].integer_bits(),
                         std::string(row[5].as_text())},
                Piece{variantToIndex(row[6]), variantToIndex(row[7]), variantToIndex(row[8])});
        });
}

CodePlace CodePlaces::find(Process& owner, std::uint64_t address, std::uint64_t tick)
{
    session::Place found;
    const bool isMapped = owner.space.find(address, tick, found);
    CodePlace place = isMapped ? mapped(owner, found, address) : outside(owner, address, tick);
    place.tick = tick;
    place.steady = owner.space.steadySpan(tick);
    if (!isMapped && owner.hasJitCode && !standsForNoCode(address)) explainByJit(place);
    return place;
}

CodePlace CodePlaces::outside(Process& owner, std::uint64_t address, std::uint64_t tick)
{
    CodePlace place;
    place.owner = &owner;
    place.address = address;
    place.tick = tick;
    place.rva = addressOutside(address);
    const auto known = m_placeholders.find({m_processRows.row(owner).value(), place.rva});
    if (known != m_placeholders.end()) place.instance = known->second;
    return place;
}

CodePlace CodePlaces::mapped(Process& owner, const session::Place& found, std::uint64_t address)
{
    CodePlace place;
    place.owner = &owner;
    place.address = address;
    place.segment = m_modules.segmentRow(found.segment);
    place.rva = found.rva;
    place.path = found.path;
    place.type = found.hasImage ? segment_type_t::file : segment_type_t::noFile;
    place.instance = owner.space.instanceRow(found.entry);
    if (place.instance.exist()) return place;
    place.instance = m_context.segmentInstance(place.segment, found.start, m_processRows.row(owner),
                                               found.loadTime);
    owner.space.setInstanceRow(found.entry, place.instance);
    return place;
}

void CodePlaces::settleMappings(Process& owner,
                                const std::function<void(samplefold_1::SegInstInfo&)>& visit)
{
    const Index process = m_processRows.row(owner);
    owner.space.forEachMapping(
        [&](samplefold_1::SegInstInfo& info, std::uint32_t segment, std::uint64_t start) {
            if (!info.segInstIndex.exist()) {
                info.segInstIndex = m_context.segmentInstance(m_modules.segmentRow(segment), start,
                                                              process, info.loadTime);
            }
            info.moduleIndex = m_modules.moduleRow(segment);
            visit(info);
        });
}

/// A piece that was met before has its rows; what the library makes of another one shows when it is
/// asked.
void CodePlaces::explainByJit(CodePlace& place)
{
    JitCode::Answer answer = m_jit.find(*place.owner, place.address, place.tick);
    place.steady.cutTo(answer.steady);
    place.asksJit = answer.found || answer.failed;
    if (!answer.found) return;
    place.region = std::move(answer.region);
    place.function = answer.function;
    place.jitTicks = {m_jit.sampleTick(place.region.loadTime),
                      m_jit.sampleTick(place.region.unloadTime)};
    place.rva = place.region.rva + (place.address - place.region.first);
    const auto known = m_pieces.find(keyOf(place));
    place.isSettled = known != m_pieces.end();
    place.instance = place.isSettled ? known->second.instance : Index();
    if (!place.isSettled) return;
    place.segment = known->second.segment;
    place.functionRow = known->second.function;
}

CodePlaces::PieceKey CodePlaces::keyOf(const CodePlace& place)
{
    return {m_processRows.row(*place.owner).value(),
            place.region.first,
            place.region.last,
            place.jitTicks.from,
            place.region.rva,
            std::string(place.function)};
}

Index CodePlaces::createCallsite(CodePlace& place, Index parent, bool sampled,
                                 code_location_t* location)
{
    static const std::string noPath;
    const bool wasKnown = place.instance.exist();
    const auto pid = place.asksJit ? static_cast<std::uint32_t>(place.owner->pid) : 0;
    // What is known is told as a segment that begins right there, so that the relative address is
    // the place's and no one is asked again.
    const segment_type_t type =
        wasKnown && place.path == nullptr ? segment_type_t::file : place.type;
    const Index callsite = m_context.createCallsiteInstance(
        place.instance, pid, m_processRows.row(*place.owner), m_jit.jitTime(place.tick),
        place.address, place.address, place.rva, place.path != nullptr ? *place.path : noPath,
        parent, sampled, location, type);
    if (!wasKnown) remember(place);
    if (place.region.module) nameCode(place);
    return callsite;
}

void CodePlaces::makeInstance(CodePlace& place)
{
    place.instance = m_context.getBogusSegmentInstance(m_processRows.row(*place.owner));
    remember(place);
}

void CodePlaces::remember(CodePlace& place)
{
    place.segment = m_context.segmentOf(place.instance);
    const bool isPiece = place.region.module && place.segment.exist();
    place.isSettled = true;
    if (!isPiece) {
        // The library took it for no code, and so it stays.
        place.region.module.reset();
        place.rva = addressOutside(place.address);
        m_placeholders.insert_or_assign({m_processRows.row(*place.owner).value(), place.rva},
                                        place.instance);
        return;
    }
    const PieceKey key = keyOf(place);
    place.functionRow = addPieceRow(place, key);
    m_pieces[key] = {place.instance, place.segment, place.functionRow};
}

Index CodePlaces::addPieceRow(const CodePlace& place, const PieceKey& key)
{
    const jitlens_3_13::region_t& region = place.region;
    const Index module = m_context.jitModule(region.module->name());
    const Index function =
        key.function.empty() ? Index() : m_functions.findOrAdd({key.function, module});
    m_pieceWriter.clear();
    m_pieceWriter.set("seg_inst", indexToVariant(place.instance))
        .set("process", variant_t(key.process))
        .set("address", variant_t(region.first))
        .set("size", variant_t(region.last - region.first + 1))
        .set("start_tsc", variant_t(place.jitTicks.from))
        .set("rva", variant_t(region.rva))
        .set("function", indexToVariant(function));
    if (place.jitTicks.until != session::AddressSpace::never)
        m_pieceWriter.set("end_tsc", variant_t(place.jitTicks.until - 1));
    m_pieceWriter.commit();
    return function;
}

void CodePlaces::nameCode(const CodePlace& place)
{
    if (!place.functionRow.exist()) return;
    m_names.findOrAdd({place.segment, place.rva}, [&](RowWriter& writer) {
        writer.set("function", indexToVariant(place.functionRow));
    });
}

} // namespace samplefold::load
