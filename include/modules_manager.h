#pragma once

#include "export.h"

#include <rowvault1/database.h>
#include <rowvault1/index.h>
#include <sayer2/messenger.h>

#include <cstdint>
#include <string>

// Modules of a result: a row for each in the store, and their checksums, which are kept for later
// passes in the file ".moduledb" of the result directory.
namespace samplefold_1 {

class IModuleInfoCallback;

/// The modules of one result. Operations return a toolbelt2 status: 1 is success. One thread at a
/// time.
class SAMPLEFOLD_1_API IModulesManager : public tb2::object_interface_t {
public:
    struct ModuleDBInfo {
        std::string name;               ///< file name
        std::string path;               ///< full path as the collection saw it; tells modules apart
        std::int32_t architecture = -1; ///< architecture code; -1 not set, as for the next two
        std::int32_t fileField7 = -1;   ///< kind of image; stored as given
        std::string md5sum;             ///< filled by enumerateModules; addModule does not read it
        std::int32_t fileField10 = -1;  ///< width of an address in bits; stored as given
        bool attributeField2Off = false; ///< the module is ruled out from being resolved
    };

    /// Writes rows of dd_module_file and dd_module_file_attributes for a module, in each call new
    /// ones. `index` becomes the key of the former, -1 when there is no database or the store does
    /// not take the row. The first call for a path calculates the checksum of its file, where that
    /// is wanted and no earlier pass has left one. A missing architecture is logged as an error.
    /// Always 1.
    virtual std::int32_t addModule(const ModuleDBInfo& info, rowvault1::Index& index) = 0;
    /// Calls back for each module that has an entry, those of earlier passes too, sorted by path:
    /// with name, path and checksum (empty where none is known). 0x4000006a for a null `callback`.
    virtual std::int32_t enumerateModules(IModuleInfoCallback* callback) = 0;
};

/// Receives modules. It belongs to the caller.
class SAMPLEFOLD_1_API IModuleInfoCallback {
public:
    /// `info` lives until the call returns. The result is not looked at.
    virtual std::int32_t onModuleInfo(const IModulesManager::ModuleDBInfo& info) = 0;

protected:
    ~IModuleInfoCallback() = default;
};

/// The registry of the result in `resultDir`, which must not be empty: an empty one is logged as an
/// error, and the registry then reads, searches and writes nothing. With `resolveFiles` it finds
/// the modules' files on this machine, calculates their checksums and saves them when the last
/// handle is dropped; without, it only reads those of earlier passes. `messenger` may be null and
/// must outlive it; it hears of files that are not found. With a null `db` no rows are written.
/// Handles may be dropped on any thread.
SAMPLEFOLD_1_API tb2::sptr_t<IModulesManager>
createModulesManager(const std::string& resultDir, bool resolveFiles, sayer2::IMessenger* messenger,
                     const tb2::sptr_t<rowvault1::IDatabase>& db);

} // namespace samplefold_1
