#include "search_steps.h"

#include "build_id.h"
#include "module_path.h"

namespace SEEK_2_13 {

SearchSteps::SearchSteps(const ISearchSettings& settings, file_kind_t kind, FileTrees& trees,
                         Trial& trial)
    : m_settings(settings), m_kind(kind), m_trees(trees), m_trial(trial),
      m_dirs(settings.directories(kind)), m_fixed(settings.fixedPlaces())
{
}

bool SearchSteps::trySubstitutions(const std::string& path)
{
    for (const path_substitution_t& rule : m_settings.substitutions()) {
        const std::optional<std::string> replaced = substituted(path, rule);
        if (replaced && m_trial.takes(place_t::substitution, *replaced)) return true;
    }
    return false;
}

bool SearchSteps::tryBuildId(const std::string& id, const std::string& modulePath)
{
    if (id.empty() || !m_fixed) return false;
    for (const std::string& form : buildIdForms(id))
        if (tryLinks(form)) return true;
    for (const std::string& form : buildIdForms(id))
        if (tryCache(form, modulePath)) return true;
    return false;
}

bool SearchSteps::tryLinks(const std::string& id)
{
    std::string link = ".build-id/" + buildIdPath(id);
    if (m_kind == symbolFileKind) link += ".debug";
    for (const search_dir_t& dir : m_dirs)
        if (m_trial.takes(place_t::buildIdLink, joined(dir.path, link))) return true;
    return m_trial.takes(place_t::buildIdLink, joined(m_fixed->archive, link)) ||
           m_trial.takes(place_t::buildIdLink, joined(m_fixed->machine.debugRoot, link));
}

bool SearchSteps::tryCache(const std::string& id, const std::string& modulePath)
{
    const std::string& cache = m_fixed->machine.buildIdCache;
    const std::string linked = joined(cache, ".build-id/" + buildIdPath(id));
    if (tryCacheEntry(linked)) return true;
    if (m_trial.takes(place_t::buildIdCache, linked)) return true;
    const std::string below = normalized(modulePath);
    return !below.empty() && tryCacheEntry(joined(joined(cache, below), id));
}

bool SearchSteps::tryCacheEntry(const std::string& folder)
{
    if (m_kind == symbolFileKind && m_trial.takes(place_t::buildIdCache, joined(folder, "debug")))
        return true;
    return m_trial.takes(place_t::buildIdCache, joined(folder, "elf")) ||
           m_trial.takes(place_t::buildIdCache, joined(folder, "vdso"));
}

bool SearchSteps::tryAddedDirectories(const std::vector<std::string>& paths)
{
    for (const search_dir_t& dir : m_dirs)
        for (const std::string& path : paths) {
            for (const std::string& suffix : suffixesOf(path))
                if (m_trial.takes(place_t::addedDirectory, joined(dir.path, suffix))) return true;
            if (dir.below && tryBelow(dir, path)) return true;
        }
    return false;
}

bool SearchSteps::tryBelow(const search_dir_t& dir, const std::string& path)
{
    const std::shared_ptr<const FileTree> tree = m_trees.at(dir.path);
    bool isCut = false;
    const std::vector<std::string> found = tree->find(normalized(path), isCut);
    for (const std::string& candidate : found)
        if (m_trial.takes(place_t::addedDirectory, candidate)) return true;
    if (isCut)
        m_trial.note(place_t::addedDirectory, dir.path, refusal_t::unfinished,
                     "more files of the name lie below it than are tried");
    if (tree->isCut())
        m_trial.note(place_t::addedDirectory, dir.path, refusal_t::unfinished,
                     "not all that lies below it could be read");
    return false;
}

bool SearchSteps::tryArchive(const std::vector<std::string>& paths)
{
    if (!m_fixed) return false;
    for (const std::string& path : paths) {
        const std::string below = normalized(path);
        if (below.empty()) continue;
        if (m_trial.takes(place_t::archive, joined(m_fixed->archive, below)) ||
            m_trial.takes(place_t::archive, joined(m_fixed->archive, leafOf(below))))
            return true;
    }
    return false;
}

} // namespace SEEK_2_13
