#include "modules_manager/modules_manager.h"

#include "common/component_log.h"

#include <PORTA_2_18/assert.h>
#include <toolbelt2/path.h>

namespace samplefold_1 {
namespace {

using rowvault1::Index;
using tb2::variant_t;
namespace status = tb2::status;

constexpr const char* g_moduleDbName = ".moduledb";
constexpr std::int32_t g_notSet = -1;

namespace module_file_column {
constexpr std::uint16_t name = 0, path = 1, md5 = 3, architecture = 6, fileField7 = 7,
                        fileField10 = 10, attributes = 12;
}
namespace module_attributes_column {
constexpr std::uint16_t hasClass = 1, resolvable = 2;
}

ComponentLog g_log;

} // namespace

ModulesManager::ModulesManager(const std::string& resultDir, bool resolveFiles,
                               sayer2::IMessenger* messenger,
                               const tb2::sptr_t<rowvault1::IDatabase>& db)
    : m_db(db), m_resolveFiles(resolveFiles), m_resultDir(resultDir), m_messenger(messenger)
{
    SF_CHECK(g_log, !resultDir.empty(), "!resultDir.empty()");
    tb2::path_t moduleDb(resultDir);
    moduleDb.append(g_moduleDbName);
    m_moduleDbPath = moduleDb.as_string();
    initialize();
}

ModulesManager::~ModulesManager()
{
    if (m_resolveFiles) saveModulesInfoToFile();
}

tb2::status_t ModulesManager::initialize()
{
    if (m_db) {
        m_modFileAttrTable = m_db->getAttributeTable("dd_module_file");
        SF_CHECK(g_log, m_modFileAttrTable, "m_modFileAttrTable", status::missingObject);
    }
    loadModulesInfoFromFile();
    if (m_resolveFiles) configureFileFinder();
    return status::success;
}

std::int32_t ModulesManager::addModule(const ModuleDBInfo& info, Index& index)
{
    index = Index();
    if (m_resolveFiles && !m_modules.contains(info.path)) addEntry(info);
    if (m_modFileAttrTable.is_null()) return status::success;

    const rowvault1::OrphanRecord row = m_modFileAttrTable->createOrphanRecord();
    fillRow(row, info);
    row.commit(index, 0, 0);
    return status::success;
}

/// An entry without a checksum stays too, so that its file is not searched for again.
void ModulesManager::addEntry(const ModuleDBInfo& info)
{
    std::string checksum;
    calculateMD5Sum(info.path, checksum);
    m_modules.emplace(info.path, ModuleInfo{info.name, checksum});
}

void ModulesManager::fillRow(const rowvault1::OrphanRecord& row, const ModuleDBInfo& info) const
{
    row[module_file_column::name] = variant_t(info.name);
    row[module_file_column::path] = variant_t(info.path);
    row[module_file_column::attributes] = rowvault1::utils::indexToVariant(addAttributesRow(info));
    if (info.architecture == g_notSet)
        g_log.error("Architecture is not set for module: " + info.path, __FILE__, __LINE__,
                    __PRETTY_FUNCTION__);
    else
        row[module_file_column::architecture] = variant_t(info.architecture);
    if (info.fileField7 != g_notSet)
        row[module_file_column::fileField7] = variant_t(info.fileField7);
    const std::string checksum = checksumOf(info.path);
    if (!checksum.empty()) row[module_file_column::md5] = variant_t(checksum);
    if (info.fileField10 != g_notSet)
        row[module_file_column::fileField10] = variant_t(info.fileField10);
}

Index ModulesManager::addAttributesRow(const ModuleDBInfo& info) const
{
    const auto table = m_db->getAttributeTable("dd_module_file_attributes");
    const rowvault1::OrphanRecord row =
        table ? table->createOrphanRecord() : rowvault1::OrphanRecord();
    PORTA_ASSERT_TEXT(!row.isNull(), "!row.isNull()");
    row[module_attributes_column::hasClass] = variant_t(std::int32_t{1});
    row[module_attributes_column::resolvable] =
        variant_t(std::int32_t{info.attributeField2Off ? 0 : 1});
    Index key;
    row.commit(key, 0, 0);
    return key;
}

std::string ModulesManager::checksumOf(const std::string& path) const
{
    const auto known = m_modules.find(path);
    return known != m_modules.end() ? known->second.md5sum : std::string();
}

std::int32_t ModulesManager::enumerateModules(IModuleInfoCallback* callback)
{
    SF_CHECK(g_log, callback, "callback", status::missingObject);
    ModuleDBInfo info;
    for (const auto& [path, module] : m_modules) {
        info.name = module.name;
        info.path = path;
        info.md5sum = module.md5sum;
        callback->onModuleInfo(info);
    }
    return status::success;
}

tb2::sptr_t<IModulesManager> createModulesManager(const std::string& resultDir, bool resolveFiles,
                                                  sayer2::IMessenger* messenger,
                                                  const tb2::sptr_t<rowvault1::IDatabase>& db)
{
    using counted_t = tb2::ref_counted_t<ModulesManager, tb2::mt_ref_count_impl_t>;
    return tb2::sptr_t<IModulesManager>(new counted_t(resultDir, resolveFiles, messenger, db));
}

} // namespace samplefold_1
