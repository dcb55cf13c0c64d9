#include "module_path.h"
#include "search_dir_order.h"

#include <SEEK_2_13/search_dirs.h>

#include <algorithm>
#include <mutex>

namespace SEEK_2_13 {

void sortByRank(std::vector<search_dir_t>& dirs)
{
    // Taking 1 away puts 0, without a rank, behind all others.
    std::stable_sort(dirs.begin(), dirs.end(), [](const search_dir_t& a, const search_dir_t& b) {
        return a.order - 1 < b.order - 1;
    });
}

bool isSearchable(const search_dir_t& dir)
{
    return !dir.path.empty() && (dir.kind == binaryFileKind || dir.kind == symbolFileKind);
}

namespace {

class SearchDirContainer : public IEditableSearchDirContainer {
public:
    std::vector<search_dir_t> getSearchDirs(file_kind_t kind) const override;
    bool addSearchDir(file_kind_t kind, const char* path, bool below, bool noOrder,
                      std::uint32_t order) override;

private:
    mutable std::mutex m_lock;
    std::vector<search_dir_t> m_dirs; ///< as they were added
};

std::vector<search_dir_t> SearchDirContainer::getSearchDirs(file_kind_t kind) const
{
    std::vector<search_dir_t> dirs;
    {
        const std::lock_guard<std::mutex> held(m_lock);
        std::copy_if(m_dirs.begin(), m_dirs.end(), std::back_inserter(dirs),
                     [kind](const search_dir_t& dir) { return dir.kind == kind; });
    }
    sortByRank(dirs);
    return dirs;
}

bool SearchDirContainer::addSearchDir(file_kind_t kind, const char* path, bool below, bool noOrder,
                                      std::uint32_t order)
{
    search_dir_t added{kind, path != nullptr ? path : "", below, noOrder ? 0 : order};
    if (!isSearchable(added)) return false;
    added.path = absoluteFolder(added.path);
    const std::lock_guard<std::mutex> held(m_lock);
    std::erase_if(m_dirs, [&added](const search_dir_t& dir) {
        return dir.kind == added.kind && dir.path == added.path;
    });
    m_dirs.push_back(std::move(added));
    return true;
}

} // namespace

ObjectPtr<IEditableSearchDirContainer> IEditableSearchDirContainer::create()
{
    return new tb2::ref_counted_t<SearchDirContainer>();
}

} // namespace SEEK_2_13
