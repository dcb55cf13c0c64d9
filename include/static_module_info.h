#pragma once

#include "export.h"
#include "file_finder.h"

#include <rowvault1/database.h>
#include <rowvault1/index.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// How modules are laid out when they are loaded, as their files tell it.
namespace samplefold_1 {

/// A loadable segment of a module.
struct static_module_segment_attrs_t {
    std::uint64_t fileSize = 0;              ///< bytes in the file
    std::uint64_t memorySize = 0;            ///< bytes in memory
    std::uint64_t offsetFromLoadAddress = 0; ///< of its first byte
};

/// What is known of a module. A record stays as its first look-up left it.
struct static_module_info_t {
    bool resolved = false; ///< its file was looked for
    std::uint64_t preferredLoadAddress = 0;
    std::int32_t imageClass = 0; ///< 1 linked to run at one address, 2 any other; 0 not known
    std::string path;            ///< of the file that was found; empty if none
    /// By offset in the file; segments of one offset in the order of the file.
    std::map<std::uint64_t, std::vector<static_module_segment_attrs_t>> segments;
};

/// Finds each module's file once and keeps its segments. What was not found stays unknown. One
/// thread at a time.
class SAMPLEFOLD_1_API StaticModuleInfoCache {
public:
    /// Files are looked for as for the result in `resultDir`. Without a database nothing is found.
    StaticModuleInfoCache(const tb2::sptr_t<rowvault1::IDatabase>& db,
                          const std::string& resultDir);
    ~StaticModuleInfoCache();
    StaticModuleInfoCache(const StaticModuleInfoCache&) = delete;
    StaticModuleInfoCache& operator=(const StaticModuleInfoCache&) = delete;

    /// The record of a row of dd_module_file, looked for by `modulePath` if that was not done. It
    /// belongs to the cache and stays. The index -1 has a record that is never resolved.
    const static_module_info_t& getModuleInfo(const rowvault1::Index& moduleIndex,
                                              const std::string& modulePath);
    /// Where the byte `offsetInFile` of the module behind a segment instance lies, counted from the
    /// load address. 0 when that is not known, or no segment has that byte in the file. Of the
    /// segments only those that begin at the last offset at or before it are looked at.
    std::uint64_t getOffsetFromModuleLoadAddress(const rowvault1::Index& segInstIndex,
                                                 const std::string& modulePath,
                                                 std::uint64_t offsetInFile);
    /// Looks a module up, given by its row, or by a row of dd_segment_instance where that is -1.
    void resolveStaticModuleInfo(const rowvault1::Index& segInstIndex,
                                 const std::string& modulePath, rowvault1::Index moduleIndex);

private:
    rowvault1::Index moduleOf(const rowvault1::Index& segInstIndex);
    static void readLayout(static_module_info_t& info);

    IFileFinder* m_fileFinder = nullptr; ///< owned
    std::map<rowvault1::Index, static_module_info_t> m_modulesInfo;
    std::map<rowvault1::Index, rowvault1::Index> m_moduleBySegInst;
    tb2::sptr_t<rowvault1::IAttributeTable> m_segInstTable;
    tb2::sptr_t<rowvault1::IAttributeTable> m_moduleSegTable;
};

} // namespace samplefold_1
