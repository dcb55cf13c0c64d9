#include "names/image_namer.h"

#include <elf.h>
#include <sys/auxv.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>

namespace samplefold::names {
namespace {

using GLYPH_3_30::IModuleImage;
using GLYPH_3_30::IModuleSymbolBank;
using GLYPH_3_30::SymMgrObjectPtr;

/// The vdso as it lies in memory: its section headers, which end it, tell how long it is.
std::span<const std::byte> ownVdso()
{
    const auto* const start = reinterpret_cast<const std::byte*>(getauxval(AT_SYSINFO_EHDR));
    if (start == nullptr) return {};
    Elf64_Ehdr header;
    std::memcpy(&header, start, sizeof header);
    return {start, header.e_shoff + std::size_t{header.e_shnum} * header.e_shentsize};
}

SymMgrObjectPtr<IModuleImage> openImage(const ImageSource& source, std::string& fault)
{
    return source.ownVdso ? IModuleImage::create(ownVdso(), 0, "[vdso]", &fault)
                          : IModuleImage::create(source.path.c_str(), 0, false, &fault);
}

} // namespace

ImageNamer::ImageNamer(const ImageSource& source)
{
    std::string fault;
    m_image = openImage(source, fault);
    if (m_image == nullptr) {
        m_fault = "the file cannot be read: " + fault;
        return;
    }
    const auto status =
        IModuleSymbolBank::create(m_bank, m_image, nullptr, true, source.symbols.c_str(), &fault);
    if ((status & GLYPH_3_30::status::failure) != 0)
        m_fault = "its symbols cannot be read: " + fault;
}

bool ImageNamer::hasDebugInformation() const
{
    SymMgrObjectPtr<GLYPH_3_30::ISection> section;
    return m_bank != nullptr && m_bank->getSection(".debug_info", section) == 0;
}

const std::string& ImageNamer::buildId() const
{
    static const std::string unknown;
    return m_image != nullptr ? m_image->getBuildId() : unknown;
}

bool ImageNamer::addressOf(const std::string& symbol, std::uint64_t& address) const
{
    if (m_bank == nullptr) return false;
    const auto symbols = m_bank->getSymbols();
    const auto found =
        std::find_if(symbols.begin(), symbols.end(),
                     [&](const GLYPH_3_30::symbol_t& each) { return each.name == symbol; });
    if (found == symbols.end()) return false;
    address = found->start;
    return true;
}

void ImageNamer::goByAddress(std::uint64_t delta)
{
    m_byAddress = true;
    m_delta = delta;
}

bool ImageNamer::locate(const Place& place, std::uint64_t back, std::uint64_t& address) const
{
    if (!m_byAddress) return m_bank->toAddress(place.rva - back, address);
    address = place.address + m_delta - back;
    return true;
}

PlaceName ImageNamer::name(const Place& place, FoundNames& names)
{
    PlaceName found;
    std::uint64_t address = 0;
    GLYPH_3_30::symbol_t symbol;
    // A place to which a call returns is named by the call, which is before it, unless there is
    // nothing: a frame may be no return address at all.
    const bool isBefore =
        place.isCaller && locate(place, 1, address) && m_bank->findSymbol(address, symbol);
    if (!isBefore && !locate(place, 0, address)) {
        found.missing = names.reasons.number("the module's file has no code there");
        return found;
    }
    if (isBefore || m_bank->findSymbol(address, symbol)) found.function = function(symbol, names);
    addFrames(address, found, names);
    if (found.function == none) {
        const bool hasAny = !m_bank->getSymbols().empty();
        found.missing = names.reasons.number(hasAny ? "no symbol of the module's file holds it"
                                                    : "the module's file has no symbols");
    }
    return found;
}

number_t ImageNamer::function(const GLYPH_3_30::symbol_t& symbol, FoundNames& names) const
{
    Function function;
    function.name = GLYPH_3_30::demangle(symbol.name);
    if (function.name != symbol.name) function.rawName = symbol.name;
    function.hasRange = m_bank->toOffsetInFile(symbol.start, function.start);
    if (function.hasRange) function.size = symbol.end - symbol.start;
    return names.functions.number(function);
}

number_t ImageNamer::function(const char* rawName, FoundNames& names) const
{
    Function function;
    function.name = *rawName != '\0' ? GLYPH_3_30::demangle(rawName) : "[unnamed]";
    if (*rawName != '\0' && function.name != rawName) function.rawName = rawName;
    return names.functions.number(function);
}

number_t ImageNamer::file(const char* path, FoundNames& names) const
{
    return *path != '\0' ? names.files.number(path) : none;
}

void ImageNamer::addFrames(std::uint64_t address, PlaceName& found, FoundNames& names)
{
    if (!m_bank->findFrames(address, m_frames) || m_frames.empty()) return;
    found.file = file(m_frames.front().file, names);
    found.line = m_frames.front().line;
    const auto& outermost = m_frames.back();
    if (found.function == none && *outermost.function != '\0')
        found.function = function(outermost.function, names);
    for (std::size_t i = m_frames.size() - 1; i-- > 0;) {
        const auto& caller = m_frames[i + 1];
        found.inlined = names.inlined.number({function(m_frames[i].function, names), found.inlined,
                                              file(caller.file, names), caller.line});
    }
}

} // namespace samplefold::names
