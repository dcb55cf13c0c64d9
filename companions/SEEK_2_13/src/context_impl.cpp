#include "context_impl.h"

#include "context_data_file.h"
#include "context_data_text.h"
#include "machine_places.h"
#include "module_path.h"
#include "search_dir_order.h"

#include <algorithm>
#include <iterator>

namespace SEEK_2_13 {

bool ResolutionContext::record(context_data_t data, std::string* fault)
{
    std::string cause;
    if (!tidy(data, cause) || !saveData(m_directory, data, cause)) {
        if (fault != nullptr) *fault = cause;
        return false;
    }
    const std::lock_guard<std::mutex> held(m_lock);
    m_data = std::make_shared<const context_data_t>(std::move(data));
    return true;
}

std::shared_ptr<const context_data_t> ResolutionContext::data() const
{
    const std::lock_guard<std::mutex> held(m_lock);
    return m_data;
}

ObjectPtr<ResolutionContext> ResolutionContext::parent() const
{
    const std::lock_guard<std::mutex> held(m_lock);
    return m_parent;
}

void ResolutionContext::setParent(ObjectPtr<ResolutionContext> parent)
{
    const std::lock_guard<std::mutex> held(m_lock);
    m_parent = std::move(parent);
}

void ResolutionContext::bind(const std::string& label, ObjectPtr<ISearchDirContainer> dirs)
{
    const std::lock_guard<std::mutex> held(m_lock);
    const auto place =
        std::find_if(m_bound.begin(), m_bound.end(),
                     [&label](const LabeledDirs& bound) { return bound.first == label; });
    if (place != m_bound.end())
        place->second = std::move(dirs);
    else
        m_bound.emplace_back(label, std::move(dirs));
}

std::vector<search_dir_t> ResolutionContext::directories(file_kind_t kind) const
{
    std::vector<LabeledDirs> bound;
    {
        const std::lock_guard<std::mutex> held(m_lock);
        bound = m_bound;
    }
    std::vector<search_dir_t> dirs;
    for (const LabeledDirs& entry : bound)
        if (entry.second) std::ranges::copy(entry.second->getSearchDirs(kind), back_inserter(dirs));
    std::ranges::copy_if(data()->directories, back_inserter(dirs),
                         [kind](const search_dir_t& dir) { return dir.kind == kind; });
    return dirs;
}

ContextSettings::ContextSettings(ObjectPtr<ResolutionContext> context,
                                 const ObjectPtr<IEnvironmentInfo>& environment)
    : m_context(std::move(context)), m_usual(usualPlaces())
{
    if (environment) m_given = environment->getPlaces();
}

std::vector<ObjectPtr<ResolutionContext>> ContextSettings::chain() const
{
    std::vector<ObjectPtr<ResolutionContext>> contexts;
    for (ObjectPtr<ResolutionContext> context = m_context; context; context = context->parent())
        contexts.push_back(context);
    return contexts;
}

std::vector<search_dir_t> ContextSettings::directories(file_kind_t kind) const
{
    std::vector<search_dir_t> dirs;
    for (const auto& context : chain())
        std::ranges::copy(context->directories(kind), back_inserter(dirs));
    sortByRank(dirs);
    return dirs;
}

std::string ContextSettings::expectedBuildId(const std::string& modulePath) const
{
    for (const auto& context : chain()) {
        const std::shared_ptr<const context_data_t> data = context->data();
        const auto found = data->buildIds.find(modulePath);
        if (found != data->buildIds.end()) return found->second;
    }
    return {};
}

std::vector<path_substitution_t> ContextSettings::substitutions() const
{
    std::vector<path_substitution_t> rules;
    for (const auto& context : chain())
        std::ranges::copy(context->data()->substitutions, back_inserter(rules));
    return rules;
}

std::optional<fixed_places_t> ContextSettings::fixedPlaces() const
{
    fixed_places_t places{m_given, joined(resultDirectory(), "archive")};
    for (const auto& context : chain())
        fillEmpty(places.machine, context->data()->places);
    fillEmpty(places.machine, m_usual);
    return places;
}

std::string ContextSettings::resultDirectory() const
{
    return chain().back()->getDirectory();
}

} // namespace SEEK_2_13
