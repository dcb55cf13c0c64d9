#pragma once

#include <SEEK_2_13/export.h>
#include <SEEK_2_13/file_kind.h>
#include <SEEK_2_13/object_ptr.h>

#include <cstdint>
#include <string>
#include <vector>

namespace SEEK_2_13 {

/// A directory to search.
struct search_dir_t {
    file_kind_t kind = binaryFileKind; ///< for binaries or for symbol files
    std::string path;
    bool below = false;      ///< its subdirectories are searched too
    std::uint32_t order = 0; ///< rank from 1, searched first; 0: behind the ranked ones
};

/// Directories to search. Any thread.
class SEEK_API ISearchDirContainer : public tb2::object_interface_t {
public:
    /// Those of one kind in the order of search: by rank, and among equals as they were added.
    virtual std::vector<search_dir_t> getSearchDirs(file_kind_t kind) const = 0;
};

/// Directories to search, which can be added at any time: searches see them from then on. Any
/// thread.
class SEEK_API IEditableSearchDirContainer : public ISearchDirContainer {
public:
    static ObjectPtr<IEditableSearchDirContainer> create();

    /// Adds a directory, which need not exist yet; a relative `path` counts from the current one.
    /// `below`: its subdirectories are searched too. With `noOrder`, or an `order` of 0, it comes
    /// behind those with a rank. Adding a path again gives it its new place. False, with nothing
    /// changed, for an empty path or a kind that has no directories.
    virtual bool addSearchDir(file_kind_t kind, const char* path, bool below, bool noOrder,
                              std::uint32_t order) = 0;
};

} // namespace SEEK_2_13
