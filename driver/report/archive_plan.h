#pragma once

#include <rowvault1/result.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::report {

enum class ArchivedKind : std::uint8_t { binary, symbols, source };

/// A file that goes into the archive of a result.
struct ArchiveItem {
    ArchivedKind kind = ArchivedKind::binary;
    std::string module; ///< path of the module, as the recording has it; empty for a source file
    std::string file;   ///< on this machine
    /// Where it can lie, relative to the archive and never outside of it, the best first. None
    /// where no search would find it.
    std::vector<std::string> places;
    std::string md5;     ///< that it must have, in hexadecimal; empty: any
    std::string buildId; ///< that it must have, in hexadecimal; empty: any
};

struct ArchivePlan {
    std::string folder; ///< the archive
    std::vector<ArchiveItem> items;
    std::uint64_t notFound = 0; ///< modules with samples for which no file is known
};

/// What an archive of the result has to hold so that searches find it there (SEEK_2_13): the
/// binaries and symbol files of all modules that were found, and if wished the source files that
/// debug information names by absolute paths. A binary goes by its build id, or without one by its
/// path; a kernel by its release. A symbol file goes by the build id of its binary, or without one
/// into the folder .debug beside the archived binary; the table of a kernel's symbols
/// is called kallsyms. Throws rowvault1::StoreError.
ArchivePlan archivePlan(rowvault1::IResult& result, bool withSources);

/// Folder of the archive of a result.
std::string archiveFolder(rowvault1::IResult& result);
/// Where the source file of that absolute path lies in an archive, relative to it; empty for a path
/// that has no place.
std::string sourcePlace(std::string_view path);
/// A path as it is put behind a folder: without "." and "..", and so that it stays in that folder;
/// empty when nothing is left.
std::string placeBelow(std::string_view path);

} // namespace samplefold::report
