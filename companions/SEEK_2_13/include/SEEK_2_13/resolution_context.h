#pragma once

#include <SEEK_2_13/export.h>
#include <SEEK_2_13/file_search.h>
#include <SEEK_2_13/object_ptr.h>
#include <SEEK_2_13/search_dirs.h>
#include <SEEK_2_13/search_env.h>

#include <map>
#include <string>
#include <vector>

namespace SEEK_2_13 {

/// A rule that paths which begin with the elements of `from` are to be found under `to`.
struct path_substitution_t {
    std::string from; ///< not empty
    std::string to;   ///< may be empty
};

/// What searches for a result go by.
struct context_data_t {
    /// Build ids by module path, in hexadecimal, of 1 to 64 bytes and not all zero. Ids that a
    /// recorder padded with zeros to 20 bytes are understood.
    std::map<std::string, std::string, std::less<>> buildIds;
    std::vector<search_dir_t> directories;
    std::vector<path_substitution_t> substitutions;
    machine_places_t places;
    /// Noted only: no search over a network is built.
    bool networkAllowed = false;
};

/// A result directory as searches see it. Its data is in the file "search.json" there. Any thread.
class SEEK_API IResolutionContext : public tb2::object_interface_t {
public:
    /// As given; NUL-terminated, lives as long as the context.
    virtual const char* getDirectory() const noexcept = 0;
    /// The context's own data, without that of the context it is linked to.
    virtual context_data_t getData() const = 0;
    /// Replaces the data, and writes it to the directory, at once or not at all. Relative
    /// directories are made absolute. Searches of this object use it from their next question on,
    /// those of contexts opened before keep what they have read: record before the first search.
    /// False, with nothing changed and the cause in *fault unless that is null, when the data makes
    /// no sense or cannot be written.
    virtual bool record(context_data_t data, std::string* fault = nullptr) = 0;
};

/// Opens contexts and makes their searches. Any thread.
class SEEK_API IResolutionContextMgr : public tb2::object_interface_t {
public:
    static ObjectPtr<IResolutionContextMgr> create();

    /// The context of a result directory, with the data that was recorded there. A directory that
    /// does not exist has none. Null when `directory` is null, empty or no directory, or when its
    /// "search.json" cannot be read or is damaged; then *fault, unless null, tells why.
    virtual ObjectPtr<IResolutionContext> openContext(const char* directory,
                                                      std::string* fault = nullptr) const = 0;
    /// The same for a part of a result. Unless `mayBeMissing` the directory must exist.
    virtual ObjectPtr<IResolutionContext> openChildContext(const char* path, bool mayBeMissing,
                                                           std::string* fault = nullptr) const = 0;
    /// Lets `child` go by the data and directories of `parent` behind its own, and gives it the
    /// parent's archive and clients. False when one is null or that would close a circle.
    virtual bool linkContexts(const ObjectPtr<IResolutionContext>& child,
                              const ObjectPtr<IResolutionContext>& parent) const = 0;
    /// Adds directories to the context under a label, in place of those that had it; null takes
    /// them away. False when `context` or `label` is null.
    virtual bool bindSearchDirs(const ObjectPtr<IResolutionContext>& context,
                                ObjectPtr<ISearchDirContainer> dirs, const char* label) const = 0;
    /// A search for a client of the context, which it keeps alive. Places in `environment`, which
    /// may be null, go before those of the data. Null when `context` is null or `clientId` is null
    /// or empty.
    virtual ObjectPtr<IFileSearch>
    createFileSearch(const ObjectPtr<IResolutionContext>& context, const char* clientId,
                     const ObjectPtr<IEnvironmentInfo>& environment) const = 0;
};

} // namespace SEEK_2_13
