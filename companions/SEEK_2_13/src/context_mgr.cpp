#include "client_records.h"
#include "context_data_file.h"
#include "context_impl.h"
#include "file_search_impl.h"
#include "module_path.h"

#include <toolbelt2/path.h>

#include <memory>
#include <mutex>

namespace SEEK_2_13 {
namespace {

class ResolutionContextMgr : public IResolutionContextMgr {
public:
    ObjectPtr<IResolutionContext> openContext(const char* directory,
                                              std::string* fault) const override;
    ObjectPtr<IResolutionContext> openChildContext(const char* path, bool mayBeMissing,
                                                   std::string* fault) const override;
    bool linkContexts(const ObjectPtr<IResolutionContext>& child,
                      const ObjectPtr<IResolutionContext>& parent) const override;
    bool bindSearchDirs(const ObjectPtr<IResolutionContext>& context,
                        ObjectPtr<ISearchDirContainer> dirs, const char* label) const override;
    ObjectPtr<IFileSearch>
    createFileSearch(const ObjectPtr<IResolutionContext>& context, const char* clientId,
                     const ObjectPtr<IEnvironmentInfo>& environment) const override;
};

/// Contexts are made here alone, so that each is of this class.
ObjectPtr<ResolutionContext> own(const ObjectPtr<IResolutionContext>& context)
{
    return dynamic_cast<ResolutionContext*>(context.get());
}

std::mutex& linkLock()
{
    static std::mutex lock;
    return lock;
}

ObjectPtr<IResolutionContext> open(const char* directory, bool mayBeMissing, std::string* fault)
{
    std::string cause;
    context_data_t data;
    const tb2::path_t path(directory != nullptr ? directory : "");
    if (path.as_string().empty())
        cause = "no directory is named";
    else if (!path.is_directory() && (path.exists() || !mayBeMissing))
        cause = path.as_string() + ": " + (path.exists() ? "not a directory" : "does not exist");
    else if (loadData(path.as_string(), data, cause))
        return new tb2::ref_counted_t<ResolutionContext>(path.as_string(), std::move(data));
    if (fault != nullptr) *fault = cause;
    return {};
}

ObjectPtr<IResolutionContext> ResolutionContextMgr::openContext(const char* directory,
                                                                std::string* fault) const
{
    return open(directory, true, fault);
}

ObjectPtr<IResolutionContext> ResolutionContextMgr::openChildContext(const char* path,
                                                                     bool mayBeMissing,
                                                                     std::string* fault) const
{
    return open(path, mayBeMissing, fault);
}

bool ResolutionContextMgr::linkContexts(const ObjectPtr<IResolutionContext>& child,
                                        const ObjectPtr<IResolutionContext>& parent) const
{
    const ObjectPtr<ResolutionContext> below = own(child);
    const ObjectPtr<ResolutionContext> above = own(parent);
    if (!below || !above) return false;
    // One link at a time, so that two of them cannot close a circle together.
    const std::lock_guard<std::mutex> held(linkLock());
    for (ObjectPtr<ResolutionContext> at = above; at; at = at->parent())
        if (at == below) return false;
    below->setParent(above);
    return true;
}

bool ResolutionContextMgr::bindSearchDirs(const ObjectPtr<IResolutionContext>& context,
                                          ObjectPtr<ISearchDirContainer> dirs,
                                          const char* label) const
{
    const ObjectPtr<ResolutionContext> target = own(context);
    if (!target || label == nullptr) return false;
    target->bind(label, std::move(dirs));
    return true;
}

ObjectPtr<IFileSearch>
ResolutionContextMgr::createFileSearch(const ObjectPtr<IResolutionContext>& context,
                                       const char* clientId,
                                       const ObjectPtr<IEnvironmentInfo>& environment) const
{
    const ObjectPtr<ResolutionContext> target = own(context);
    if (!target || clientId == nullptr || *clientId == '\0') return {};
    auto settings = std::make_unique<ContextSettings>(target, environment);
    const std::string result = normalized(absoluteFolder(settings->resultDirectory()));
    return makeFileSearch(std::move(settings), ClientRecords::of(result, clientId));
}

} // namespace

ObjectPtr<IResolutionContextMgr> IResolutionContextMgr::create()
{
    return new tb2::ref_counted_t<ResolutionContextMgr>();
}

} // namespace SEEK_2_13
