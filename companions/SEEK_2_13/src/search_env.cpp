#include "file_search_impl.h"

#include <SEEK_2_13/search_env.h>

#include <mutex>
#include <utility>

namespace SEEK_2_13 {
namespace {

class SearchEnv : public IEditableSearchEnv {
public:
    ObjectPtr<ISearchDirContainer> getSearchDirs() const override
    {
        const std::lock_guard<std::mutex> held(m_lock);
        return m_dirs;
    }
    void setSearchDirs(ObjectPtr<ISearchDirContainer> dirs) override
    {
        const std::lock_guard<std::mutex> held(m_lock);
        m_dirs = std::move(dirs);
    }

private:
    mutable std::mutex m_lock;
    ObjectPtr<ISearchDirContainer> m_dirs;
};

/// What a search without a result directory goes by.
class EnvSettings : public ISearchSettings {
public:
    explicit EnvSettings(ObjectPtr<ISearchEnv> env) : m_env(std::move(env)) {}

    std::vector<search_dir_t> directories(file_kind_t kind) const override
    {
        const ObjectPtr<ISearchDirContainer> dirs = m_env->getSearchDirs();
        return dirs ? dirs->getSearchDirs(kind) : std::vector<search_dir_t>();
    }
    std::string expectedBuildId(const std::string&) const override { return {}; }
    std::vector<path_substitution_t> substitutions() const override { return {}; }
    std::optional<fixed_places_t> fixedPlaces() const override { return std::nullopt; }

private:
    ObjectPtr<ISearchEnv> m_env;
};

} // namespace

ObjectPtr<IEditableSearchEnv> IEditableSearchEnv::create()
{
    return new tb2::ref_counted_t<SearchEnv>();
}

ObjectPtr<IFileSearch> IFileSearch::create(ObjectPtr<ISearchEnv> env)
{
    if (!env) return {};
    return makeFileSearch(std::make_unique<EnvSettings>(std::move(env)),
                          std::make_shared<ClientRecords>());
}

} // namespace SEEK_2_13
