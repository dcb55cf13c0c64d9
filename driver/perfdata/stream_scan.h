// The first pass over the records: what they are, what they tell about events and features, and the
// lower bounds of time that exact ordering needs.
#pragma once

#include "perfdata/event_table.h"
#include "perfdata/features.h"
#include "perfdata/record_stream.h"
#include "perfdata/recording.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace samplefold::perfdata {

inline constexpr std::uint64_t noTime = UINT64_MAX;

/// A stretch of about 1 MiB of records.
struct Block {
    std::uint64_t begin = 0;           ///< position in the stream
    std::uint64_t lowestTime = noTime; ///< of its timed records; noTime: it has none
    bool ascending = true;             ///< its timed records stand in time order
};

/// What stopped a walk over the records.
struct StreamFault {
    std::uint64_t position = 0;
    const char* what = nullptr;
};

/// Counts by type. Types beyond a bound on their number share one entry, so that no input can make
/// the table grow without end.
class CountTable {
public:
    static constexpr std::uint32_t sharedType = UINT32_MAX;

    void add(std::uint32_t type, std::uint64_t bytes);
    [[nodiscard]] std::vector<RecordCount> ascending() const;

private:
    std::unordered_map<std::uint32_t, RecordCount> m_rare;
    RecordCount m_common[128];
};

struct ScanResult {
    std::uint64_t end = 0; ///< records lie in [0, end)
    std::optional<StreamFault> fault;
    std::vector<Block> blocks;
    std::uint64_t lowestTime = noTime;
    std::uint64_t highestTime = 0;
    bool isCompressed = false; ///< a compressed record was met: nothing else here counts
};

/// One walk over a stream of records. Events, ids, names, features and build ids go to the parts
/// given, oddities to the notes. All references must outlive the object.
class StreamScanner {
public:
    /// Called with the position where a block starts; what it throws ends the scan.
    using OnBlock = std::function<void(std::uint64_t)>;

    StreamScanner(std::span<const std::byte> stream, EventTable& events, Features& features,
                  CountTable& counts, std::vector<std::string>& notes);

    /// Walks to the end or to the first fault. With `stopAtCompressed` it ends at the first
    /// compressed record, having collected what came before.
    [[nodiscard]] ScanResult scan(bool stopAtCompressed, const OnBlock& onBlock);

private:
    void collect(const RecordView& record, std::uint64_t extent, std::uint64_t position);
    [[nodiscard]] bool collectDefinition(const RecordView& record, std::uint64_t extent);
    void findTimeBounds(ScanResult& result, const OnBlock& onBlock) const;

    std::span<const std::byte> m_stream;
    EventTable& m_events;
    Features& m_features;
    CountTable& m_counts;
    std::vector<std::string>& m_notes;
    std::uint64_t m_badDefinitions = 0;
    std::uint64_t m_firstBadAt = 0;
};

} // namespace samplefold::perfdata
