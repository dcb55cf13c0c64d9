#pragma once

#include <SEEK_2_13/export.h>
#include <SEEK_2_13/object_ptr.h>
#include <SEEK_2_13/search_dirs.h>

#include <string>

namespace SEEK_2_13 {

/// What a search without a result directory works on. Any thread.
class SEEK_API ISearchEnv : public tb2::object_interface_t {
public:
    /// May be null.
    virtual ObjectPtr<ISearchDirContainer> getSearchDirs() const = 0;
};

class SEEK_API IEditableSearchEnv : public ISearchEnv {
public:
    static ObjectPtr<IEditableSearchEnv> create();

    virtual void setSearchDirs(ObjectPtr<ISearchDirContainer> dirs) = 0;
};

/// Places on the machine that searches go to. An empty text stands for the usual place.
struct machine_places_t {
    std::string debugRoot;     ///< "/usr/lib/debug"
    std::string buildIdCache;  ///< "$HOME/.debug"
    std::string bootFolder;    ///< "/boot"
    std::string kernelCore;    ///< "/proc/kcore"
    std::string kernelNotes;   ///< "/sys/kernel/notes": build id of the kernel that runs
    std::string kernelRelease; ///< release of the kernel looked for; that of the one that runs
};

/// Tells a search of a context where things lie on the machine. Immutable; any thread.
class SEEK_API IEnvironmentInfo : public tb2::object_interface_t {
public:
    static ObjectPtr<IEnvironmentInfo> create(machine_places_t places);

    virtual const machine_places_t& getPlaces() const noexcept = 0;
};

} // namespace SEEK_2_13
