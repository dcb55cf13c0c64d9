#pragma once

#include "session/keyed_rows.h"

#include <SEEK_2_13/resolution_context.h>
#include <rowvault1/database.h>
#include <samplefold_1/file_finder.h>
#include <samplefold_1/modules_manager.h>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::session {

/// Where a load looks for the files of modules, beside the places that every search goes to
/// (SEEK_2_13/file_search.h).
struct FileSearchOptions {
    std::vector<std::string> symbolDirectories; ///< trees with binaries and files of symbols
    std::vector<std::string> debugDirectories;  ///< trees with files of symbols, as /usr/lib/debug
    std::vector<SEEK_2_13::path_substitution_t> pathMaps;
};

/// Where a recording was made.
struct RecordedHost {
    std::string machine; ///< architecture as the kernel calls it ("x86_64"); empty when not known
    std::string name;    ///< of the host; empty when not known
};

/// Build ids by module path, hexadecimal.
using build_ids_t = std::map<std::string, std::string, std::less<>>;

/// A module, and what was found out about its file.
struct ModuleFile {
    std::string path;     ///< as the profile has it
    std::string buildId;  ///< hexadecimal; empty when not known
    std::string found;    ///< the file on this machine; empty when there is none
    std::string symbols;  ///< a further file with its symbols; empty when there is none
    std::string missing;  ///< why places in it have no name; empty when they have
    std::string notFound; ///< what the registry said of it
    std::vector<SEEK_2_13::attempt_t> attempts;
    std::vector<SEEK_2_13::attempt_t> symbolAttempts;
    bool isNew = false; ///< the result did not have it before this load
    bool isSearched = false;
    bool isWanted = false; ///< somebody asked for its file
    bool areSymbolsSearched = false;
};

/// Enters modules into a result and knows their files on this machine: through the library's
/// registry, which keeps their checksums, and its finder. A file with another build id than the
/// profile has is never taken. Where the profile has none, the file at the module's own path is
/// taken only on the host that was recorded; one in a place that the user named is always. Loading
/// thread only, apart from what says otherwise.
class ModuleFiles {
public:
    /// `resultFolder` is that of the result.
    ModuleFiles(const tb2::sptr_t<rowvault1::IDatabase>& db, std::string resultFolder,
                const RecordedHost& host);
    ~ModuleFiles();
    ModuleFiles(const ModuleFiles&) = delete;
    ModuleFiles& operator=(const ModuleFiles&) = delete;

    /// Tells every search of the result what to go by, on top of what earlier loads told: the build
    /// ids, where to look. Once, before anything else. Throws std::runtime_error with one line when
    /// that cannot be stored.
    void expect(const build_ids_t& buildIds, const FileSearchOptions& options);

    /// Enters a module that the result does not have yet; its row. Computes its checksum when its
    /// file is found.
    rowvault1::Index add(const std::string& path, const std::string& buildId);
    /// Notes a module that the result has from an earlier load.
    void know(rowvault1::Index row, const std::string& path, const std::string& buildId);

    /// The module's file, looked for by the first call; `found` is empty when there is none, or
    /// when the module is no file. Lives as long as the object. Any thread once all modules are
    /// told, but one at a time per module; so are the next two.
    const ModuleFile& fileOf(rowvault1::Index row);
    /// Path of the module's file, empty without one, as for `fileOf`; but that somebody asked is
    /// not noted, so that nobody hears of it when there is none.
    const std::string& known(rowvault1::Index row);
    /// Path of a further file with the symbols of the module whose file was found; else empty.
    const std::string& symbolsOf(rowvault1::Index row);
    /// Notes a file with the symbols of a module that was looked for elsewhere.
    void setSymbols(rowvault1::Index row, const std::string& path,
                    const std::vector<SEEK_2_13::attempt_t>& attempts);
    /// Notes why places of a module have no name.
    void setMissing(rowvault1::Index row, const std::string& reason);

    /// The result's folder, as an absolute path.
    const std::string& folder() const { return m_folder; }

    /// Adds a line to what the user should hear of.
    void tell(const std::string& line) { m_notes.push_back(line); }
    /// What the user should hear of, a line each: also every file that was not found, with each
    /// path that was tried.
    std::vector<std::string> messages() const;
    /// Writes what was found out about the modules that were looked for in this load; once.
    void store();

private:
    class Messages;
    /// Paths of file and symbols, and why names are missing.
    using outcome_t = std::array<std::string, 3>;

    void search(ModuleFile& module);
    bool isExpectedBuild(const ModuleFile& module) const;
    void take(ModuleFile& module, const std::string& file) const;
    void readEarlier();
    void storeAttempts(rowvault1::Index search, const std::vector<SEEK_2_13::attempt_t>& attempts,
                       const char* purpose, std::int32_t& step);

    tb2::sptr_t<rowvault1::IDatabase> m_db;
    std::string m_folder;
    std::int32_t m_architecture = -1;
    std::int32_t m_bits = -1;
    std::unique_ptr<Messages> m_messages;
    tb2::sptr_t<samplefold_1::IModulesManager> m_registry; ///< of files
    tb2::sptr_t<samplefold_1::IModulesManager> m_names;    ///< of what is no file
    samplefold_1::IFileFinder* m_finder = nullptr;         ///< lives as long as the program
    SEEK_2_13::ObjectPtr<SEEK_2_13::IFileSearch> m_search;
    build_ids_t m_expectedIds; ///< that searches go by
    std::vector<std::string> m_notes;
    bool m_isOtherHost = false;                            ///< than that of the recording
    std::map<std::string, std::string> m_earlierChecksums; ///< by path
    std::map<std::int32_t, outcome_t> m_earlier;  ///< what the result tells so far, by module row
    std::map<std::int32_t, ModuleFile> m_modules; ///< by row
    KeyedRows<std::string> m_missingRows;
};

} // namespace samplefold::session
