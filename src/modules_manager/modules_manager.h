#pragma once

#include <samplefold_1/modules_manager.h>

#include <SEEK_2_13/file_search.h>
#include <SEEK_2_13/resolution_context.h>
#include <toolbelt2/alloc.h>
#include <toolbelt2/status.h>
#include <toolbelt2/variant_bag.h>

#include <cstddef>
#include <map>

namespace samplefold_1 {

/// The registry. Its objects come from the pool. With an empty result directory it is inert: it
/// reads and saves nothing.
class ModulesManager : public IModulesManager {
public:
    ModulesManager(const std::string& resultDir, bool resolveFiles, sayer2::IMessenger* messenger,
                   const tb2::sptr_t<rowvault1::IDatabase>& db);
    ~ModulesManager() override;
    ModulesManager(const ModulesManager&) = delete;
    ModulesManager& operator=(const ModulesManager&) = delete;

    std::int32_t addModule(const ModuleDBInfo& info, rowvault1::Index& index) override;
    std::int32_t enumerateModules(IModuleInfoCallback* callback) override;

    static void* operator new(std::size_t bytes) { return tb2::alloc::pool_allocate(bytes); }
    static void operator delete(void* memory, std::size_t bytes) noexcept
    {
        tb2::alloc::pool_free(memory, bytes);
    }

private:
    struct ModuleInfo {
        std::string name;
        std::string md5sum; ///< empty when none is known
    };

    tb2::status_t initialize();
    tb2::status_t configureFileFinder();
    tb2::status_t loadModulesInfoFromFile();
    tb2::status_t saveModulesInfoToFile() const;
    tb2::status_t calculateMD5Sum(const std::string& path, std::string& out) const;

    void addEntry(const ModuleDBInfo& info);
    void reportMissingFile(const std::string& path) const;
    rowvault1::Index addAttributesRow(const ModuleDBInfo& info) const;
    void fillRow(const rowvault1::OrphanRecord& row, const ModuleDBInfo& info) const;
    std::string checksumOf(const std::string& path) const;

    // Released from the last to the first.
    tb2::sptr_t<rowvault1::IDatabase> m_db;
    tb2::sptr_t<rowvault1::IAttributeTable> m_modFileAttrTable; ///< dd_module_file
    bool m_resolveFiles;
    std::string m_moduleDbPath;
    std::string m_resultDir;
    std::map<std::string, ModuleInfo> m_modules; ///< by path
    SEEK_2_13::ObjectPtr<SEEK_2_13::IResolutionContextMgr> m_contextMgr;
    SEEK_2_13::ObjectPtr<SEEK_2_13::IResolutionContext> m_context;
    SEEK_2_13::ObjectPtr<SEEK_2_13::IFileSearch> m_fileSearch; ///< null unless m_resolveFiles
    sayer2::IMessenger* m_messenger;                           ///< not owned; may be null
};

} // namespace samplefold_1
