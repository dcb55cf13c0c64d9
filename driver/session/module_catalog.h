#pragma once

#include "session/module_files.h"

#include <rowvault1/database.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace samplefold::session {

/// Kinds of a module segment as they stand in dd_module_segment.
enum class SegmentKind : std::int32_t { file = 1, noFile = 2 };

/// A piece of a module as a mapping shows it.
struct SegmentDescription {
    std::string_view path;    ///< see module_names.h
    std::string_view buildId; ///< hexadecimal, empty when not known
    std::uint64_t offset = 0; ///< byte of the file where it starts
    std::uint64_t size = 0;   ///< bytes
    std::uint32_t protection = 0;
};

/// Modules and their segments by small numbers. First all of them are told, then `store` writes a
/// row for each that the result does not have yet. A module is its path with its build id, a
/// segment is a module with an offset and a size. Loading thread only.
class ModuleCatalog {
public:
    /// Number of the segment.
    std::uint32_t segment(const SegmentDescription& description);
    /// Path of the segment's module; lives as long as the catalogue.
    const std::string& modulePath(std::uint32_t segment) const;

    /// Tells `files` what the profile says of the modules' build ids; see ModuleFiles::expect.
    build_ids_t buildIds() const;
    /// Writes the rows, once, after all segments are told.
    void store(const tb2::sptr_t<rowvault1::IDatabase>& db, ModuleFiles& files);

    /// Rows of the segment and of its module, once stored.
    rowvault1::Index segmentRow(std::uint32_t segment) const { return m_segments[segment].row; }
    rowvault1::Index moduleRow(std::uint32_t segment) const;
    std::size_t size() const { return m_segments.size(); }

private:
    struct Module {
        std::string path;
        std::string buildId;
        rowvault1::Index row;
    };
    struct Segment {
        std::uint32_t module;
        std::int64_t offset;
        std::int64_t size;
        std::int32_t protection;
        rowvault1::Index row;
    };
    using module_key_t = std::pair<std::string, std::string>;
    using segment_key_t = std::tuple<std::uint32_t, std::int64_t, std::int64_t>;

    std::uint32_t moduleNumber(const SegmentDescription& description);
    void storeModules(rowvault1::IDatabase& db, ModuleFiles& files);
    void storeSegments(const tb2::sptr_t<rowvault1::IDatabase>& db);

    std::deque<Module> m_modules; ///< grows without moving the paths
    std::vector<Segment> m_segments;
    std::map<module_key_t, std::uint32_t> m_moduleNumbers;
    std::map<segment_key_t, std::uint32_t> m_segmentNumbers;
};

} // namespace samplefold::session
