#include "names/place_list.h"

#include "session/table_rows.h"

#include <algorithm>
#include <set>
#include <span>
#include <unordered_map>
#include <utility>

namespace samplefold::names {
namespace {

using rowvault1::utils::variantToIndex;

/// Kind of a segment that holds generated code, whose names the JIT data tells.
constexpr std::int32_t g_generatedKind = 3;

using place_key_t = std::pair<std::int32_t, std::uint64_t>; ///< segment, relative address
using hits_t = std::unordered_map<std::int64_t, std::uint64_t>;

std::set<place_key_t> namedPlaces(rowvault1::IDatabase& db)
{
    std::set<place_key_t> named;
    session::readTable("dd_code_name", db, std::array{"mod_seg", "rva"}, [&](const auto& row) {
        named.emplace(variantToIndex(row[0]).value(), row[1].integer_bits());
    });
    return named;
}

/// Samples by place in code: a sample counts for its leaf and for every caller.
hits_t hitsByLocation(rowvault1::IResult& store)
{
    struct Reader final : rowvault1::ISqlReader {
        void onColumns(std::span<const std::string>) override {}
        bool onRow(std::span<const tb2::variant_t> row) override
        {
            hits[static_cast<std::int64_t>(row[0].integer_bits())] = row[1].integer_bits();
            return true;
        }
        hits_t hits;
    } byCallsite;
    rowvault1::readSql(store,
                       "SELECT callsite, count(*) FROM sample_instance WHERE callsite > 0 "
                       "GROUP BY callsite",
                       byCallsite);
    struct Callsite {
        std::int64_t row;
        std::int64_t parent;
        std::int64_t location;
    };
    std::vector<Callsite> callsites;
    session::readTable("dd_callsite", *store.database(), std::array{"rowid", "parent", "code_loc"},
                       [&](const auto& row) {
                           callsites.push_back({variantToIndex(row[0]).value(),
                                                variantToIndex(row[1]).value(),
                                                variantToIndex(row[2]).value()});
                       });
    // A caller has a lower key than what it calls, so that one walk backwards adds all up.
    hits_t byLocation;
    for (auto site = callsites.rbegin(); site != callsites.rend(); ++site) {
        const std::uint64_t hits = byCallsite.hits[site->row];
        byLocation[site->location] += hits;
        if (site->parent > 0 && site->parent < site->row) byCallsite.hits[site->parent] += hits;
    }
    return byLocation;
}

/// The address in the kernel at which byte 0 of a segment's file would lie; the kernel has each of
/// its segments once.
std::unordered_map<std::int32_t, std::uint64_t> segmentBases(rowvault1::IDatabase& db)
{
    std::unordered_map<std::int32_t, std::uint64_t> bases;
    session::readTable("dd_segment_instance", db,
                       std::array{"mod_seg", "address", "mod_seg.offset"}, [&](const auto& row) {
                           bases.try_emplace(variantToIndex(row[0]).value(),
                                             row[1].integer_bits() - row[2].integer_bits());
                       });
    return bases;
}

} // namespace

std::vector<ModulePlaces> readUnnamedPlaces(rowvault1::IResult& store,
                                            const was_sampled_t& wasSampled, bool countHits)
{
    const auto db = store.database();
    std::set<place_key_t> known = namedPlaces(*db);
    hits_t hits = countHits ? hitsByLocation(store) : hits_t();
    const auto bases = segmentBases(*db);
    std::map<std::int32_t, ModulePlaces> modules;
    session::readTable("dd_code_location", *db,
                       std::array{"rowid", "mod_seg", "rva", "mod_seg.module", "mod_seg.kind"},
                       [&](const auto& row) {
                           const std::int32_t segment = variantToIndex(row[1]).value();
                           const std::int32_t module = variantToIndex(row[3]).value();
                           const std::uint64_t rva = row[2].integer_bits();
                           const bool isGenerated = row[4].integer_bits() == g_generatedKind;
                           if (segment <= 0 || module <= 0 || isGenerated) return;
                           // One place may have several rows, as one that was met as an attribute's
                           // and as a chain's.
                           if (!known.emplace(segment, rva).second) return;
                           const auto base = bases.find(segment);
                           Place place{segment, rva, base != bases.end() ? base->second + rva : rva,
                                       0, !wasSampled(segment, rva)};
                           if (countHits) place.hits = hits[variantToIndex(row[0]).value()];
                           ModulePlaces& target = modules[module];
                           target.module = module;
                           target.hits = std::max(target.hits, place.hits);
                           target.places.push_back(place);
                       });
    std::vector<ModulePlaces> list;
    for (auto& [module, places] : modules)
        list.push_back(std::move(places));
    return list;
}

std::vector<std::vector<ModulePlaces>> roundsByHeat(const std::vector<ModulePlaces>& modules,
                                                    std::size_t size)
{
    std::vector<std::pair<std::int32_t, Place>> all;
    for (const ModulePlaces& module : modules) {
        for (const Place& place : module.places)
            all.emplace_back(module.module, place);
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const auto& a, const auto& b) { return a.second.hits > b.second.hits; });
    std::vector<std::vector<ModulePlaces>> rounds;
    for (std::size_t begin = 0; begin < all.size(); begin += size) {
        std::map<std::int32_t, ModulePlaces> round;
        for (std::size_t i = begin; i < std::min(begin + size, all.size()); ++i) {
            ModulePlaces& target = round[all[i].first];
            target.module = all[i].first;
            target.hits = std::max(target.hits, all[i].second.hits);
            target.places.push_back(all[i].second);
        }
        std::vector<ModulePlaces>& list = rounds.emplace_back();
        for (auto& [module, places] : round) {
            std::sort(places.places.begin(), places.places.end(),
                      [](const Place& a, const Place& b) { return a.rva < b.rva; });
            list.push_back(std::move(places));
        }
        std::stable_sort(list.begin(), list.end(),
                         [](const auto& a, const auto& b) { return a.hits > b.hits; });
    }
    return rounds;
}

} // namespace samplefold::names
