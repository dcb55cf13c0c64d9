#pragma once

#include <GLYPH_3_30/export.h>
#include <GLYPH_3_30/module_image.h>

#include <string>
#include <vector>

namespace GLYPH_3_30 {

/// What a search for a file with debug information can go by.
struct symbol_file_request_t {
    std::string imagePath;  ///< of the file that needs it
    std::string buildId;    ///< of the file that is needed, in hexadecimal; may be empty
    debug_link_t debugLink; ///< name and checksum of the file that is needed; the name may be empty
    std::string altName; ///< not empty: the file shared by several debug files is needed; its path
};

/// Finds files with debug information; implemented by the user of a bank.
class GLYPH_API ISymbolFileResolver : public tb2::object_interface_t {
public:
    /// Paths to try in this order; the first that fits is taken. One call at a time per bank, which
    /// must not be asked anything meanwhile.
    virtual std::vector<std::string> find(const symbol_file_request_t& request) = 0;
};

} // namespace GLYPH_3_30
