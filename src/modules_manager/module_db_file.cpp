#include "modules_manager/modules_manager.h"

#include "common/component_log.h"

#include <PORTA_2_18/assert.h>
#include <toolbelt2/path.h>

// The file that carries checksums from one pass over a result to the next: a bag of modules.
namespace samplefold_1 {
namespace {

namespace status = tb2::status;
using tb2::variant_t;

constexpr const char* g_rootName = "bag";
constexpr const char* g_module = "module";
constexpr const char* g_name = "name";
constexpr const char* g_md5sum = "md5sum";
constexpr const char* g_path = "path";

ComponentLog g_log;

/// Empty when the bag has no such key.
std::string textOf(const tb2::variant_bag_t& bag, const char* key)
{
    const variant_t* const value = bag.get(key);
    if (value == nullptr) return std::string();
    PORTA_ASSERT_TEXT(value->kind() == variant_t::kind_t::text, "can_get<text_t>()");
    return std::string(value->as_text());
}

} // namespace

tb2::status_t ModulesManager::loadModulesInfoFromFile()
{
    if (!tb2::path_t::exists(m_moduleDbPath)) return status::success;
    tb2::variant_bag_t bag;
    const tb2::status_t result = tb2::load_variant_bag2(bag, m_moduleDbPath, g_rootName, false);
    SF_CHECK(g_log, tb2::is_success(result), "tb2::is_success(status)", result);
    for (auto module = bag.begin_by_name(g_module); !module.atEnd(); module.next()) {
        const tb2::variant_bag_t& one = module.current();
        m_modules.emplace(textOf(one, g_path),
                          ModuleInfo{textOf(one, g_name), textOf(one, g_md5sum)});
    }
    return status::success;
}

tb2::status_t ModulesManager::saveModulesInfoToFile() const
{
    const bool isInert = m_moduleDbPath.empty();
    if (isInert || m_modules.empty()) return status::success;
    tb2::variant_bag_t bag;
    for (const auto& [path, module] : m_modules) {
        if (module.md5sum.empty()) continue;
        tb2::variant_bag_t& one = bag.put_bag(g_module);
        one.put(g_name, variant_t(module.name));
        one.put(g_md5sum, variant_t(module.md5sum));
        one.put(g_path, variant_t(path));
    }
    return tb2::save_variant_bag2(bag, m_moduleDbPath, g_rootName);
}

} // namespace samplefold_1
