#include "file_finder_impl/file_finder_impl.h"

#include "file_finder_impl/binary_file_validator.h"

#include <SEEK_2_13/resolution_context.h>
#include <SEEK_2_13/search_env.h>

#include <boost/filesystem/path.hpp>
#include <boost/thread/lock_types.hpp>

#include <optional>
#include <utility>

namespace samplefold_1 {
namespace {

using SEEK_2_13::ISymbolFileValidatorCallback;
using SEEK_2_13::ObjectPtr;
using lock_t = boost::unique_lock<boost::mutex>;

constexpr const char* g_childLabel = "rwtap.rw.api";
constexpr const char* g_clientId = "__shared_finalization_client_id__";
constexpr const char* g_kernelName = "kcore";

std::string pathOf(const ObjectPtr<SEEK_2_13::IValidFile>& file)
{
    return file != nullptr ? file->getPath() : std::string();
}

/// Gives the caches's own text the answer of a search. Where another thread has searched for the
/// same it is left alone, since texts that were handed out point into it.
const char* keep(std::string& kept, const std::string& answer)
{
    if (kept != answer) kept = answer;
    return kept.c_str();
}

ObjectPtr<SEEK_2_13::IChecksum> checksumOf(const std::string& text)
{
    const auto calculator = SEEK_2_13::IChecksumCalculator::create();
    if (text.empty() || calculator == nullptr) return nullptr;
    return calculator->parseChecksum(SEEK_2_13::checksum_kind::md5, text.c_str());
}

/// Where the file with the symbols lies if it is beside the binary; empty when its name is not
/// known, nothing when that cannot be told.
std::optional<std::string> besideBinary(const std::string& binary,
                                        const ISymbolFileValidatorCallback& validator)
{
    try {
        const char* const expected = validator.getExpectedSymbolFileName();
        if (expected == nullptr) return std::string();
        boost::filesystem::path candidate = boost::filesystem::path(binary).parent_path();
        candidate /= boost::filesystem::path(expected).filename();
        return candidate.string();
    } catch (...) {
        return std::nullopt;
    }
}

} // namespace

boost::mutex FileFinderImpl::m_ffLock;

FileFinderImpl::FileFinderImpl(const char* resultDir)
    : m_dirs(SEEK_2_13::IEditableSearchDirContainer::create())
{
    if (resultDir == nullptr)
        searchInAddedDirs();
    else
        searchInResult(resultDir);
}

void FileFinderImpl::searchInAddedDirs()
{
    const auto environment = SEEK_2_13::IEditableSearchEnv::create();
    if (environment == nullptr) return;
    environment->setSearchDirs(m_dirs);
    m_fileSearch = SEEK_2_13::IFileSearch::create(environment);
}

void FileFinderImpl::searchInResult(const std::string& resultDir)
{
    const auto contexts = SEEK_2_13::IResolutionContextMgr::create();
    if (contexts == nullptr) return;
    const auto parent = contexts->openContext(resultDir.c_str());
    const std::string childPath = resultDir + "/" + g_childLabel;
    const auto child = contexts->openChildContext(childPath.c_str(), true);
    contexts->linkContexts(child, parent);
    contexts->bindSearchDirs(child, m_dirs, g_childLabel);
    m_fileSearch = contexts->createFileSearch(child, g_clientId, nullptr);
}

bool FileFinderImpl::addBinarySearchPath(const char* path, bool option, std::uint32_t order)
{
    return addSearchPath(SEEK_2_13::binaryFileKind, path, option, order);
}

bool FileFinderImpl::addSymbolSearchPath(const char* path, bool option, std::uint32_t order)
{
    return addSearchPath(SEEK_2_13::symbolFileKind, path, option, order);
}

bool FileFinderImpl::addSearchPath(SEEK_2_13::file_kind_t kind, const char* path, bool option,
                                   std::uint32_t order)
{
    return m_dirs != nullptr && m_dirs->addSearchDir(kind, path, option, order == 0, order);
}

void FileFinderImpl::setBinaryExpectedMd5Sum(const char* moduleName, const char* md5Sum)
{
    const lock_t hold(m_ffLock);
    m_attributes[moduleName].expectedMd5Sum = md5Sum;
}

void FileFinderImpl::setBinaryFileMode(const char* moduleName,
                                       SEEK_2_13::bin_file_architecture_t architecture)
{
    const lock_t hold(m_ffLock);
    m_attributes[moduleName].architecture = architecture;
}

const char* FileFinderImpl::getBinaryFilePath(const char* moduleName)
{
    const std::string name = moduleName;
    {
        const lock_t hold(m_ffLock);
        const auto known = m_binaries.find(name);
        if (known != m_binaries.end()) return known->second.binaryPath.c_str();
    }
    const std::string found = searchBinary(name, attributesOf(name));

    const lock_t hold(m_ffLock);
    module_info_t& info = m_binaries[name];
    info.symbolSearched = false;
    return keep(info.binaryPath, found);
}

FileFinderImpl::module_attributes_t FileFinderImpl::attributesOf(const std::string& name)
{
    const lock_t hold(m_ffLock);
    return m_attributes[name];
}

std::string FileFinderImpl::searchBinary(const std::string& name,
                                         const module_attributes_t& attributes) const
{
    const auto expected = checksumOf(attributes.expectedMd5Sum);
    // Without MD5 on this machine no binary can be told to be the expected one.
    if (expected == nullptr && !attributes.expectedMd5Sum.empty()) return std::string();
    BinaryFileValidator validator(expected, attributes.architecture);
    const std::uint32_t flags = name == g_kernelName ? SEEK_2_13::search_flag::kernelImage : 0;
    return search(name, &validator, flags);
}

std::string FileFinderImpl::search(const std::string& name, SEEK_2_13::IFileValidator* validator,
                                   std::uint32_t flags) const
{
    if (m_fileSearch == nullptr) return std::string();
    return pathOf(m_fileSearch->findFile(name.c_str(), validator, 0, flags));
}

const char* FileFinderImpl::getSymbolFilePath(const char* moduleName)
{
    const std::string name = moduleName;
    {
        const lock_t hold(m_ffLock);
        const auto known = m_binaries.find(name);
        if (known != m_binaries.end() && known->second.symbolSearched)
            return known->second.symbolPath.c_str();
    }
    const std::string binary = getBinaryFilePath(name.c_str());
    const auto validator = ISymbolFileValidatorCallback::create(binary.c_str());
    if (validator == nullptr) return nullptr;
    const std::optional<std::string> candidate = besideBinary(binary, *validator);
    if (!candidate) return nullptr;
    const std::string found = searchSymbols(binary, *validator, *candidate);

    const lock_t hold(m_ffLock);
    module_info_t& info = m_binaries[name];
    info.symbolSearched = true;
    return found.empty() ? nullptr : keep(info.symbolPath, found);
}

std::string FileFinderImpl::searchSymbols(const std::string& binary,
                                          const ISymbolFileValidatorCallback& validator,
                                          const std::string& candidate) const
{
    if (m_fileSearch == nullptr) return std::string();
    return pathOf(m_fileSearch->findSymbolFile(validator.getExpectedSymbolFileName(),
                                               binary.c_str(), 0, &validator, candidate.c_str(), 0,
                                               0));
}

const char* FileFinderImpl::getAuxFilePath(const char* fileName)
{
    const std::string name = fileName;
    {
        const lock_t hold(m_ffLock);
        const auto known = m_auxFiles.find(name);
        if (known != m_auxFiles.end()) return known->second.c_str();
    }
    const std::string found = search(name, nullptr, 0);

    const lock_t hold(m_ffLock);
    return keep(m_auxFiles[name], found);
}

IFileFinder* createFileFinder(const char* resultDir)
{
    return new FileFinderImpl(resultDir);
}

} // namespace samplefold_1
