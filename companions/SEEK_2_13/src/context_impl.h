#pragma once

#include "search_settings.h"

#include <SEEK_2_13/resolution_context.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace SEEK_2_13 {

/// A context with its link and its bound directories.
class ResolutionContext : public IResolutionContext {
public:
    ResolutionContext(std::string directory, context_data_t data)
        : m_directory(std::move(directory)),
          m_data(std::make_shared<const context_data_t>(std::move(data)))
    {
    }

    const char* getDirectory() const noexcept override { return m_directory.c_str(); }
    context_data_t getData() const override { return *data(); }
    bool record(context_data_t data, std::string* fault) override;

    /// The data as it is now.
    std::shared_ptr<const context_data_t> data() const;
    ObjectPtr<ResolutionContext> parent() const;
    /// Whoever sets a parent sees to it that no circle comes about.
    void setParent(ObjectPtr<ResolutionContext> parent);
    void bind(const std::string& label, ObjectPtr<ISearchDirContainer> dirs);
    /// Bound and recorded ones of a kind, the bound first, not sorted by rank over all.
    std::vector<search_dir_t> directories(file_kind_t kind) const;

private:
    using LabeledDirs = std::pair<std::string, ObjectPtr<ISearchDirContainer>>;

    const std::string m_directory;
    mutable std::mutex m_lock;
    std::shared_ptr<const context_data_t> m_data;
    ObjectPtr<ResolutionContext> m_parent;
    std::vector<LabeledDirs> m_bound; ///< in the order of the labels' first binding
};

/// What a search of a context goes by: its own data, then that of the contexts it is linked to.
class ContextSettings : public ISearchSettings {
public:
    ContextSettings(ObjectPtr<ResolutionContext> context,
                    const ObjectPtr<IEnvironmentInfo>& environment);

    std::vector<search_dir_t> directories(file_kind_t kind) const override;
    std::string expectedBuildId(const std::string& modulePath) const override;
    std::vector<path_substitution_t> substitutions() const override;
    std::optional<fixed_places_t> fixedPlaces() const override;

    /// Directory of the context that is linked to no other: that of the result.
    std::string resultDirectory() const;

private:
    /// The context and those it is linked to, nearest first.
    std::vector<ObjectPtr<ResolutionContext>> chain() const;

    ObjectPtr<ResolutionContext> m_context;
    machine_places_t m_given;
    machine_places_t m_usual;
};

} // namespace SEEK_2_13
