#pragma once

#include <SEEK_2_13/error_info.h>
#include <SEEK_2_13/export.h>
#include <SEEK_2_13/object_ptr.h>
#include <SEEK_2_13/search_env.h>
#include <SEEK_2_13/validators.h>

#include <cstdint>
#include <string>
#include <vector>

// Where a search looks. "Expected" is the build id that the context's data has for the module, or
// for a symbol file that of its binary. Every candidate must have it, whatever place it comes from;
// without one the validator alone decides. <id> is the build id as "ab/cdef...".
//
// A binary or auxiliary file:
//   1 substitution   the path with FROM replaced by TO, rules in their order
//   2 path           the path itself, if it is absolute
//   3 buildIdLink    with an expected id: <dir>/.build-id/<id>, <dir> being the added directories,
//                    the archive, the debug root
//   4 buildIdCache   with an expected id: <cache>/.build-id/<id>/elf and .../vdso,
//                    <cache>/.build-id/<id> (the older form), <cache>/<path>/abcdef.../elf and vdso
//   5 addedDirectory each directory with the path's elements behind it: all of them, then without
//                    the first, and so on to the name alone; then, if wished, files of the name
//                    below it, those first that agree with the path in more elements
//   6 archive        <result>/archive with the path behind it, then with the name alone
//
// A symbol file of a binary. Its names: that of the debug link, the binary's with ".debug", the
// binary's.
//   1 substitution   as above, of the candidate path
//   2 besideBinary   the candidate path
//   3 buildIdLink    <dir>/.build-id/<id>.debug, <dir> as above
//   4 buildIdCache   as above with the name "debug" before the others
//   5 addedDirectory as above, with each name
//   6 archive        as above, with each name
//   7 besideBinary   <folder of the binary>/.debug/ and the name of the debug link
//   8 debugRoot      <root>/<folder of the binary>/ and the name of the debug link,
//                    <root>/<path>.debug
//
// The image of the kernel (flag kernelImage), <r> being its release:
//   1 kernelCore     /proc/kcore. Only the kernel that runs is there, so the release must be its,
//                    and an expected id is compared with that in /sys/kernel/notes. It has no
//                    checksum.
//   2 buildIdLink, buildIdCache as for a binary
//   3 bootFolder     /boot/vmlinux-<r>
//   4 debugRoot      /usr/lib/debug/boot/vmlinux-<r>
//   5 archive        <result>/archive/vmlinux-<r>, vmlinux, and the name asked for
//   6 addedDirectory as for a binary, with the same names
//
// A search without a result directory looks in added directories, and beside the binary for a
// symbol file, alone. ".." and "." in a path are resolved as text before it is put behind a folder.
//
// Only regular files are taken. A folder's tree is followed through no links, 32 folders deep and
// up to 500000 entries, and read once per search object; of the files of one name below a
// directory 64 are tried. There is no search over a network.
namespace SEEK_2_13 {

enum class place_t : std::uint8_t {
    substitution,
    path,
    buildIdLink,
    buildIdCache,
    addedDirectory,
    archive,
    besideBinary,
    debugRoot,
    kernelCore,
    bootFolder
};

/// Short name of a place, as "added directory"; lives as long as the program.
SEEK_API const char* placeName(place_t place) noexcept;

/// A path that a search tried, and what came of it.
struct attempt_t {
    place_t place = place_t::path;
    std::string path;
    refusal_t refusal = refusal_t::none; ///< `none` for the file that was taken
    std::string detail;                  ///< one line; may be empty
};

/// A file that a search found. Immutable; any thread.
class SEEK_API IValidFile : public tb2::object_interface_t {
public:
    /// NUL-terminated; lives as long as the object.
    virtual const char* getPath() const noexcept = 0;
};

namespace search_flag {
inline constexpr std::uint32_t kernelImage = 4; ///< the image of the kernel is looked for
}

/// Finds files on this machine. Any thread, and on several at once.
class SEEK_API IFileSearch : public tb2::object_interface_t {
public:
    /// A search in the directories of `env` alone. Null for a null `env`.
    static ObjectPtr<IFileSearch> create(ObjectPtr<ISearchEnv> env);

    /// The first file for `name`, a path or a file name, that `validator` lets pass; any regular
    /// file that can be opened if that is null. Null when there is none. `reserved` is 0; `flags`
    /// are of search_flag, other bits are ignored.
    virtual ObjectPtr<IValidFile> findFile(const char* name, IFileValidator* validator,
                                           std::uint32_t reserved, std::uint32_t flags) = 0;
    /// The first file with the symbols of the binary at `binaryPath` that `validator` lets pass.
    /// `expectedName` is the name in its debug link; it, and `candidatePath`, may be null or empty.
    /// A null `validator` is made from `binaryPath`. Null when there is none. The zeros are 0.
    virtual ObjectPtr<IValidFile> findSymbolFile(const char* expectedName, const char* binaryPath,
                                                 std::uint32_t zero1,
                                                 const ISymbolFileValidatorCallback* validator,
                                                 const char* candidatePath, std::uint32_t zero2,
                                                 std::uint32_t zero3) = 0;

    /// What the last findFile for `name` tried, in order; ends with the file that was taken, if
    /// any. Searches with one client id in one result directory of this process share these lists,
    /// which live as long as any of the searches.
    virtual std::vector<attempt_t> getAttempts(const char* name) const = 0;
    /// The same for the last findSymbolFile for `binaryPath`.
    virtual std::vector<attempt_t> getSymbolAttempts(const char* binaryPath) const = 0;
};

} // namespace SEEK_2_13
