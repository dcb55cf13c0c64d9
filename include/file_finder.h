#pragma once

#include "export.h"

#include <cstdint>

namespace samplefold_1 {

/// Tells where on this machine the files of a module lie that a collection saw elsewhere. Each name
/// is searched for once: answers stay for good, those of not found too. All texts are
/// NUL-terminated; texts that are returned belong to the finder and live as long as it. Any thread.
class SAMPLEFOLD_1_API IFileFinder {
public:
    /// The module's binary; an empty text when none was found. Only a file with the expected
    /// checksum, if one was set, and the module's architecture is taken. The name "kcore" asks for
    /// the image of the kernel.
    virtual const char* getBinaryFilePath(const char* moduleName) = 0;
    /// The file with the module's symbols, which its binary tells. When there is none: null, or an
    /// empty text.
    virtual const char* getSymbolFilePath(const char* moduleName) = 0;
    /// Adds a directory for names that were not searched for yet. `option`: its subdirectories are
    /// searched too. Directories with a lower `order` from 1 on come first, those with 0 last.
    /// False when there is no such directory to add, as for an empty path.
    virtual bool addBinarySearchPath(const char* path, bool option, std::uint32_t order) = 0;
    /// The same for directories of symbol files.
    virtual bool addSymbolSearchPath(const char* path, bool option, std::uint32_t order) = 0;
    /// MD5 in hexadecimal that the module's binary must have; an empty text means any. Before the
    /// first question about the module, or it has no effect.
    virtual void setBinaryExpectedMd5Sum(const char* moduleName, const char* md5Sum) = 0;
    /// A file that goes with a module, of whatever content; an empty text when none was found.
    virtual const char* getAuxFilePath(const char* fileName) = 0;

protected:
    ~IFileFinder() = default;
};

/// A new finder. It belongs to the caller; the interface has no way to destroy it, so make one and
/// keep it. It goes by the search settings of the result in `resultDir`; with a null `resultDir` it
/// looks in added directories alone.
SAMPLEFOLD_1_API IFileFinder* createFileFinder(const char* resultDir);

} // namespace samplefold_1
