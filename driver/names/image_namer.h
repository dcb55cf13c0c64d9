#pragma once

#include "names/place_namer.h"

#include <GLYPH_3_30/module_symbol_bank.h>

#include <cstdint>
#include <string>
#include <vector>

namespace samplefold::names {

/// Where an image's bytes come from.
struct ImageSource {
    std::string path;     ///< of the image
    std::string symbols;  ///< further file with its symbols; may be empty
    bool ownVdso = false; ///< instead of a file, the vdso that this process has
};

/// Names places of an executable or shared object by its symbols and debug information.
class ImageNamer final : public PlaceNamer {
public:
    explicit ImageNamer(const ImageSource& source);

    PlaceName name(const Place& place, FoundNames& names) override;
    const std::string& fault() const override { return m_fault; }

    /// Whether debug information is there, so that no further file is needed.
    bool hasDebugInformation() const;
    /// The build id of the image, hexadecimal; empty when it has none.
    const std::string& buildId() const;
    /// Address of a symbol of that name, for images that are asked by address; false when there is
    /// none.
    bool addressOf(const std::string& symbol, std::uint64_t& address) const;
    /// From here on places count by their address, to which this is added, instead of by their
    /// byte.
    void goByAddress(std::uint64_t delta);

private:
    /// Image address of `back` bytes before a place; false when the file has none.
    bool locate(const Place& place, std::uint64_t back, std::uint64_t& address) const;
    number_t function(const GLYPH_3_30::symbol_t& symbol, FoundNames& names) const;
    number_t function(const char* rawName, FoundNames& names) const;
    void addFrames(std::uint64_t address, PlaceName& found, FoundNames& names);
    number_t file(const char* path, FoundNames& names) const;

    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleImage> m_image;
    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank> m_bank;
    std::vector<GLYPH_3_30::source_frame_t> m_frames;
    bool m_byAddress = false;
    std::uint64_t m_delta = 0;
    std::string m_fault;
};

} // namespace samplefold::names
