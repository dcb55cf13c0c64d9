#pragma once

#include <GLYPH_3_30/address.h>
#include <GLYPH_3_30/export.h>
#include <GLYPH_3_30/module_image.h>
#include <GLYPH_3_30/object_ptr.h>
#include <GLYPH_3_30/section.h>
#include <GLYPH_3_30/segment.h>
#include <GLYPH_3_30/source_frame.h>
#include <GLYPH_3_30/status.h>
#include <GLYPH_3_30/symbol.h>
#include <GLYPH_3_30/symbol_file_resolver.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace GLYPH_3_30 {

namespace image_type {
inline constexpr std::int32_t fixed = 1;       ///< linked to run at one address (ET_EXEC)
inline constexpr std::int32_t relocatable = 2; ///< runs at any (ET_DYN)
} // namespace image_type

/// Image addresses [start, end).
struct code_stretch_t {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
};

/// Layout, symbols and debug information of a module. Symbols are read by the first question for
/// them, debug information piece by piece as it is asked for. All answers are for image addresses
/// unless they say RVA, which counts from the load address. Any thread, apart from addDebugFile;
/// questions for debug information wait for one another.
class GLYPH_API IModuleSymbolBank : public tb2::object_interface_t {
public:
    /// A bank over `image`. `resolver`, which may be null, is asked for a separate debug file and
    /// for files that this one refers to. With `lazy` false symbols are read now. `debugFile` is
    /// the path of a separate debug file, empty for none; one that does not fit makes this fail.
    static status_t create(SymMgrObjectPtr<IModuleSymbolBank>& bank,
                           const SymMgrObjectPtr<IModuleImage>& image,
                           const SymMgrObjectPtr<ISymbolFileResolver>& resolver, bool lazy,
                           const char* debugFile, std::string* fault = nullptr);

    /// An image_type.
    virtual std::int32_t getImageType() const noexcept = 0;
    /// Lowest address of a loadable segment, rounded down to a page of 4096 bytes; 0 without any.
    virtual std::uint64_t getPreferredLoadAddress() const noexcept = 0;
    virtual status_t getSegments(SymMgrObjectPtr<ISegmentIterator>& iterator) const = 0;
    /// The first section of that name.
    virtual status_t getSection(const char* name, SymMgrObjectPtr<ISection>& section) const = 0;
    /// The section that has the address in memory.
    virtual status_t getSectionAt(std::uint64_t address,
                                  SymMgrObjectPtr<ISection>& section) const = 0;

    /// The place at an RVA; notFound outside of the loadable segments.
    virtual status_t getLocation(std::uint64_t rva, SymMgrObjectPtr<IAddress>& address) const = 0;
    /// Image address of a byte of the file, by the first loadable segment that has it.
    virtual bool toAddress(std::uint64_t offsetInFile, std::uint64_t& address) const noexcept = 0;
    /// The byte of the file at an image address; false where memory has no byte of the file.
    virtual bool toOffsetInFile(std::uint64_t address, std::uint64_t& offset) const noexcept = 0;

    /// The code that the file holds, by address and without overlaps: executable sections or, in a
    /// file without sections, executable segments, as far as loadable segments have bytes of them.
    virtual std::vector<code_stretch_t> getCode() const = 0;
    /// Copies what the loadable segments have in the file, from an image address on. Ends early at
    /// the first byte that is not in the file or cannot be read; returns how many bytes there were.
    virtual std::size_t readCode(std::uint64_t address, std::span<std::byte> bytes) const = 0;

    /// Prepares: take symbols and debug information from the file at `path` too. It must have the
    /// build id of the image or, where one of them has none, the checksum of its debug link;
    /// otherwise it is refused, and *fault tells why, in one line. One thread, before any question.
    virtual status_t addDebugFile(const char* path, std::string* fault = nullptr) = 0;

    /// The symbol that holds the address. Functions with a size go before labels with a size, of
    /// each the one that starts last. Where none of them lies, a symbol without a size reaches to
    /// the next symbol or to the end of its section. Of aliases, which start together: a function
    /// before a label; what has an entry in a table before an entry of the linkage table; an
    /// exported one before a local one; then fewer leading underscores; global before weak; the
    /// longer one; by name.
    virtual bool findSymbol(std::uint64_t address, symbol_t& symbol) const = 0;
    /// All symbols that start there, in that order of preference.
    virtual std::span<const symbol_t> getSymbolsAt(std::uint64_t address) const = 0;
    /// All symbols of code, by address and preference; equal ones of several tables are one.
    virtual std::span<const symbol_t> getSymbols() const = 0;
    /// The range of the function at an address, if its kind is in the mask of symbol_kind_t. The
    /// number behind the mask is 0. guessedEnd when the symbol has no size. Where no table has a
    /// symbol, a function of the debug information counts.
    virtual status_t getSymbolRange(const IAddress& address, SymMgrObjectPtr<ISymbolRange>& range,
                                    std::uint32_t kinds, std::uint32_t options) const = 0;

    /// The functions at an address, innermost first, with the line of each: for the first that of
    /// the address, for each further one that of the call to the one before it. The last is the
    /// function that has the code. False, with no frames, when debug information does not cover the
    /// address.
    virtual bool findFrames(std::uint64_t address, std::vector<source_frame_t>& frames) const = 0;

    /// What of symbols and debug information could not be read so far, one line each.
    virtual std::vector<std::string> getFaults() const = 0;
};

} // namespace GLYPH_3_30
