#pragma once

#include <samplefold_1/modules_manager.h>

#include <string>
#include <vector>

namespace samplefold_1 {

/// What enumerateModules calls back with.
class ModuleList final : public IModuleInfoCallback {
public:
    explicit ModuleList(IModulesManager& registry) { result = registry.enumerateModules(this); }

    std::int32_t onModuleInfo(const IModulesManager::ModuleDBInfo& info) override
    {
        modules.push_back(info);
        return 0x4000006a; // it is not looked at
    }
    /// "path name md5sum" of each.
    std::vector<std::string> lines() const
    {
        std::vector<std::string> texts;
        for (const IModulesManager::ModuleDBInfo& one : modules)
            texts.push_back(one.path + " " + one.name + " " + one.md5sum);
        return texts;
    }

    std::int32_t result = 0;
    std::vector<IModulesManager::ModuleDBInfo> modules;
};

} // namespace samplefold_1
