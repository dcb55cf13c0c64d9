#pragma once

#include <SEEK_2_13/export.h>
#include <SEEK_2_13/object_ptr.h>

#include <cstdint>
#include <string>
#include <vector>

namespace SEEK_2_13 {

/// Why a candidate was not taken.
enum class refusal_t : std::uint8_t {
    none,         ///< it was taken
    notFound,     ///< there is no such file
    notRegular,   ///< a folder, pipe, device or the like
    unreadable,   ///< it cannot be opened or read, or is damaged
    buildId,      ///< it has another build id than expected, or none
    checksum,     ///< its checksum is another
    debugLink,    ///< its CRC is not the one in the binary's debug link
    architecture, ///< it is for another machine, or no ELF image
    noSymbols,    ///< asked for as a symbol file, it holds no symbols
    otherKernel,  ///< the kernel that runs is not the one that is looked for
    noIdentity,   ///< nothing is known by which it could be told from others
    unfinished,   ///< no candidate: a limit ended the search of this place
    validator     ///< a validator refused it and told no reason
};

/// Short name of a reason, as "build id"; lives as long as the program.
SEEK_API const char* refusalName(refusal_t refusal) noexcept;

/// What a validator has against a file.
struct error_info_t {
    refusal_t reason = refusal_t::validator;
    std::string text; ///< one line, without the file's path
};

/// Collects what validators have against one file, in the order told. One thread.
class SEEK_API IErrorInfoContainer : public tb2::object_interface_t {
public:
    static ObjectPtr<IErrorInfoContainer> create();

    virtual void add(refusal_t reason, const char* text) = 0;
    virtual const std::vector<error_info_t>& getErrors() const noexcept = 0;
};

} // namespace SEEK_2_13
