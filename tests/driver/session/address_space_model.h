// A slow obvious address space to compare with: every byte keeps every piece of a mapping that was
// ever there, with the ticks from which and up to which it held.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace samplefold::session::testing {

/// What a byte of the model is part of.
struct ModelPlace {
    std::uint32_t segment = 0;
    std::uint64_t start = 0; ///< of the whole mapping
    std::uint64_t loadTime = 0;
    std::uint64_t rva = 0;

    bool operator==(const ModelPlace&) const = default;
};

class AddressSpaceModel {
public:
    struct Range {
        std::uint64_t start = 0;
        std::uint64_t last = 0;
        std::uint64_t offset = 0;
        std::uint32_t segment = 0;
    };

    void map(const Range& range, std::uint64_t tick);
    void unmap(std::uint64_t start, std::uint64_t tick);
    void unmapAll(std::uint64_t tick);
    /// `parent` has been told everything.
    void inherit(const AddressSpaceModel& parent, std::uint64_t tick);

    std::optional<ModelPlace> find(std::uint64_t address, std::uint64_t tick) const;

private:
    struct Piece {
        ModelPlace place;
        std::uint64_t unloadTime = 0;
        bool ended = false;
    };

    void put(std::uint64_t address, const ModelPlace& place);

    std::map<std::uint64_t, std::vector<Piece>> m_bytes; ///< by address, as told
};

} // namespace samplefold::session::testing
