#pragma once

#include "session/keyed_rows.h"

#include <rowvault1/database.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::session {

/// Kinds of a module segment as they stand in dd_module_segment.
enum class SegmentKind : std::int32_t { file = 1, noFile = 2 };

/// A piece of a module as a mapping shows it.
struct SegmentDescription {
    std::string_view path;    ///< as the profile names it
    std::string_view buildId; ///< hexadecimal, empty when not known
    std::uint64_t offset = 0; ///< byte of the file where it starts
    std::uint64_t size = 0;   ///< bytes
    std::uint32_t protection = 0;
};

/// Modules and their segments by small numbers, each written as a row once. A module is its path
/// with its build id, a segment is a module with an offset and a size. Loading thread only.
class ModuleCatalog {
public:
    explicit ModuleCatalog(const tb2::sptr_t<rowvault1::IDatabase>& db);

    /// Number of the segment; rows of module and segment are written when they are new.
    std::uint32_t segment(const SegmentDescription& description);

    rowvault1::Index segmentRow(std::uint32_t segment) const { return m_segments[segment].row; }
    const std::string& modulePath(std::uint32_t segment) const { return *m_segments[segment].path; }
    /// False for names that are no files: anonymous memory, vdso, heap and the like.
    static bool isFile(std::string_view path);
    /// Whether code of that name is an image that was made before the process ran: a file, or what
    /// the kernel gives every process. Other memory may hold generated code.
    static bool isImage(std::string_view path);

private:
    struct Segment {
        rowvault1::Index row;
        const std::string* path;
    };
    using module_key_t = std::tuple<std::string, std::string>;
    using segment_key_t = std::tuple<rowvault1::Index, std::int32_t, std::int64_t, std::int64_t>;

    rowvault1::Index moduleRow(const module_key_t& key);

    KeyedRows<std::string, std::string> m_moduleRows;
    KeyedRows<rowvault1::Index, std::int32_t, std::int64_t, std::int64_t> m_segmentRows;
    std::map<std::int32_t, std::string> m_paths;     ///< by module row
    std::map<std::int32_t, std::uint32_t> m_numbers; ///< by segment row
    std::vector<Segment> m_segments;
};

} // namespace samplefold::session
