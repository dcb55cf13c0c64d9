#pragma once

#include <samplefold_1/file_finder.h>

#include <SEEK_2_13/file_search.h>
#include <SEEK_2_13/search_dirs.h>
#include <SEEK_2_13/validators.h>

#include <boost/thread/mutex.hpp>

#include <map>
#include <string>

namespace samplefold_1 {

/// A finder over the file search library, with the answers that it gave. Every map is read and
/// changed under m_ffLock, which is never held during a search, a checksum or any other call into
/// that library. Two threads that ask for a new name at once both search for it.
class FileFinderImpl final : public IFileFinder {
public:
    explicit FileFinderImpl(const char* resultDir);
    FileFinderImpl(const FileFinderImpl&) = delete;
    FileFinderImpl& operator=(const FileFinderImpl&) = delete;

    const char* getBinaryFilePath(const char* moduleName) override;
    const char* getSymbolFilePath(const char* moduleName) override;
    bool addBinarySearchPath(const char* path, bool option, std::uint32_t order) override;
    bool addSymbolSearchPath(const char* path, bool option, std::uint32_t order) override;
    void setBinaryExpectedMd5Sum(const char* moduleName, const char* md5Sum) override;
    const char* getAuxFilePath(const char* fileName) override;

    /// Architecture that the module's binary must have. Before the first question about it.
    void setBinaryFileMode(const char* moduleName, SEEK_2_13::bin_file_architecture_t architecture);

private:
    struct module_info_t {
        std::string binaryPath; ///< empty if none was found
        std::string symbolPath; ///< empty if none was found
        bool symbolSearched = false;
    };
    struct module_attributes_t {
        SEEK_2_13::bin_file_architecture_t architecture = SEEK_2_13::architecture::any;
        std::string expectedMd5Sum; ///< empty for no test of the checksum
    };

    void searchInAddedDirs();
    void searchInResult(const std::string& resultDir);
    bool addSearchPath(SEEK_2_13::file_kind_t kind, const char* path, bool option,
                       std::uint32_t order);

    module_attributes_t attributesOf(const std::string& name);
    std::string searchBinary(const std::string& name, const module_attributes_t& attributes) const;
    std::string searchSymbols(const std::string& binary,
                              const SEEK_2_13::ISymbolFileValidatorCallback& validator,
                              const std::string& candidate) const;
    std::string search(const std::string& name, SEEK_2_13::IFileValidator* validator,
                       std::uint32_t flags) const;

    static boost::mutex m_ffLock; ///< one for the process

    std::map<std::string, module_info_t> m_binaries;
    std::map<std::string, module_attributes_t> m_attributes;
    std::map<std::string, std::string> m_auxFiles;
    SEEK_2_13::ObjectPtr<SEEK_2_13::IFileSearch> m_fileSearch;
    SEEK_2_13::ObjectPtr<SEEK_2_13::IEditableSearchDirContainer> m_dirs;
};

} // namespace samplefold_1
