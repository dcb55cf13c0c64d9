#include "address_space_model.h"

#include <limits>

namespace samplefold::session::testing {

namespace {

constexpr std::uint64_t g_never = std::numeric_limits<std::uint64_t>::max();

} // namespace

void AddressSpaceModel::map(const Range& range, std::uint64_t tick)
{
    for (std::uint64_t address = range.start; address <= range.last; ++address) {
        put(address, {range.segment, range.start, tick, range.offset + (address - range.start)});
    }
}

/// What was put at a byte in the same tick is gone for good; what is older only waits below.
void AddressSpaceModel::put(std::uint64_t address, const ModelPlace& place)
{
    std::vector<Piece>& pieces = m_bytes[address];
    std::erase_if(pieces, [&](const Piece& piece) {
        return !piece.ended && piece.place.loadTime == place.loadTime;
    });
    pieces.push_back({place, g_never, false});
}

void AddressSpaceModel::unmap(std::uint64_t start, std::uint64_t tick)
{
    for (auto& [address, pieces] : m_bytes) {
        for (Piece& piece : pieces) {
            if (piece.ended || piece.place.start != start) continue;
            piece.ended = true;
            piece.unloadTime = tick;
        }
    }
}

void AddressSpaceModel::unmapAll(std::uint64_t tick)
{
    for (auto& [address, pieces] : m_bytes) {
        for (Piece& piece : pieces) {
            if (piece.ended) continue;
            piece.ended = true;
            piece.unloadTime = tick;
        }
    }
}

void AddressSpaceModel::inherit(const AddressSpaceModel& parent, std::uint64_t tick)
{
    for (const auto& [address, pieces] : parent.m_bytes) {
        std::optional<ModelPlace> place = parent.find(address, tick);
        if (!place) continue;
        place->loadTime = tick;
        put(address, *place);
    }
}

std::optional<ModelPlace> AddressSpaceModel::find(std::uint64_t address, std::uint64_t tick) const
{
    const auto pieces = m_bytes.find(address);
    if (pieces == m_bytes.end()) return std::nullopt;
    std::optional<ModelPlace> best;
    for (const Piece& piece : pieces->second) {
        if (piece.place.loadTime > tick || tick >= piece.unloadTime) continue;
        if (!best || best->loadTime <= piece.place.loadTime) best = piece.place;
    }
    return best;
}

} // namespace samplefold::session::testing
