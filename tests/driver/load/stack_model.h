// A slow obvious account of what lay at an address of a process at a tick: of every load of
// generated code and every mapping it keeps all that was told, and looks through it.
#pragma once

#include "driver/session/address_space_model.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace samplefold::load::testing {

/// What a frame should show.
struct ModelFrame {
    std::string module = "-";
    std::uint64_t rva = 0;
    std::string function = "-";

    bool operator==(const ModelFrame&) const = default;
};

/// A load record of a dump, or a line of a map at tick 0.
struct ModelCode {
    std::uint64_t tick = 0;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::uint64_t rva = 0; ///< of `first`
    std::string function;

    bool overlaps(const ModelCode& other) const
    {
        return first <= other.last && other.first <= last;
    }
    bool holds(std::uint64_t address) const { return first <= address && address <= last; }
};

/// One life of a process, or the kernel.
struct ModelSpace {
    /// A module by its number in mappings.
    struct Module {
        std::string path;
        bool isPlain = false; ///< memory that may hold generated code
    };

    /// What is at the address; nullopt where the order of code and mappings is beyond the records.
    std::optional<ModelFrame> at(std::uint64_t address, std::uint64_t tick) const;

    const std::vector<Module>* modules = nullptr;
    session::testing::AddressSpaceModel mappings;
    std::vector<ModelCode> laid; ///< the same mappings by tick, but for those that are inherited
    bool hasCode = false;
    std::string dumpPath;
    std::vector<ModelCode> dump; ///< by tick
    std::string mapPath;
    std::vector<ModelCode> map; ///< later lines count more

private:
    bool wasLaidOverCode(std::uint64_t address, std::uint64_t tick) const;
    const ModelCode* codeAt(std::uint64_t address, std::uint64_t tick) const;
};

} // namespace samplefold::load::testing
