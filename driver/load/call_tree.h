#pragma once

#include <rowvault1/database.h>
#include <samplefold_1/sample_records.h>
#include <tsl/robin_map.h>

#include <cstdint>

namespace samplefold::load {

/// Callsites of a result by what tells them apart: the calling frame's callsite and the place in
/// code. A callsite that the result holds already is found, so that a path has one row however
/// often it is met. Loading thread only.
class CallTree {
public:
    /// Reads the callsites that the result holds; of equal ones the first.
    explicit CallTree(rowvault1::IDatabase& db);

    /// The callsite of a place under a parent (-1 for the outermost frame); -1 when there is none.
    samplefold_1::Index find(samplefold_1::Index parent, samplefold_1::Index segment,
                             std::uint64_t rva) const;
    void add(samplefold_1::Index parent, samplefold_1::Index segment, std::uint64_t rva,
             samplefold_1::Index callsite);

private:
    struct Node {
        std::int32_t parent;
        std::int32_t segment;
        std::uint64_t rva;

        bool operator==(const Node&) const = default;
    };
    struct Hash {
        std::size_t operator()(const Node& node) const noexcept;
    };

    tsl::robin_map<Node, std::int32_t, Hash> m_callsites;
};

} // namespace samplefold::load
