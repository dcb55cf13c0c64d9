#include "modules_manager/modules_manager.h"

#include "common/component_log.h"

#include <SEEK_2_13/checksum.h>
#include <optbook2/message_catalog.h>

// How a module's file is found on this machine, and its checksum.
namespace samplefold_1 {
namespace {

namespace status = tb2::status;

/// Shared with the finder of files, so that both are one client of the search library.
constexpr const char* g_clientId = "__shared_finalization_client_id__";

ComponentLog g_log;

} // namespace

tb2::status_t ModulesManager::configureFileFinder()
{
    m_contextMgr = SEEK_2_13::IResolutionContextMgr::create();
    SF_CHECK(g_log, m_contextMgr, "m_contextMgr", status::missingObject);
    m_context = m_contextMgr->openContext(m_resultDir.c_str());
    SF_CHECK(g_log, m_context, "m_context", status::missingObject);
    m_fileSearch = m_contextMgr->createFileSearch(m_context, g_clientId, nullptr);
    SF_CHECK(g_log, m_fileSearch, "m_fileSearch", status::missingObject);
    return status::success;
}

tb2::status_t ModulesManager::calculateMD5Sum(const std::string& path, std::string& out) const
{
    SF_CHECK(g_log, m_fileSearch, "m_fileSearch", status::missingObject);
    const auto file = m_fileSearch->findFile(path.c_str(), nullptr, 0, 0);
    if (file == nullptr) {
        reportMissingFile(path);
        return status::fileNotFound;
    }
    const auto csCalculator = SEEK_2_13::IChecksumCalculator::create();
    SF_CHECK(g_log, csCalculator, "csCalculator != __null", status::missingObject);
    const auto calculatedMd5Sum = csCalculator->calculateChecksum(file->getPath());
    SF_CHECK(g_log, calculatedMd5Sum, "calculatedMd5Sum != __null", status::missingObject);
    out = calculatedMd5Sum->getText();
    return status::success;
}

void ModulesManager::reportMissingFile(const std::string& path) const
{
    if (m_messenger == nullptr) return;
    const auto catalog = optbook2::getMessageCatalog("samplefold1");
    m_messenger->postMessage(catalog->getMessage("%CannotLocateBinaryFile", {path}).c_str(),
                             sayer2::severity::error);
}

} // namespace samplefold_1
