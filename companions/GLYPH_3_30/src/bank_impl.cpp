#include "bank_impl.h"

#include "bank_parts.h"
#include "debug_file.h"
#include "range_impl.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace GLYPH_3_30 {
namespace {

bool isMangled(const char* name)
{
    return name[0] == '_' && name[1] == 'Z';
}

} // namespace

SegmentIteratorImpl::SegmentIteratorImpl(const Layout& layout)
{
    for (const segment_header_t& segment : layout.segments())
        m_segments.emplace_back(segment, layout.loadAddress());
}

BankImpl::BankImpl(SymMgrObjectPtr<ImageImpl> image, SymMgrObjectPtr<ISymbolFileResolver> resolver,
                   bank_options_t options)
    : m_image(std::move(image)), m_resolver(std::move(resolver)), m_options(options)
{
}

std::int32_t BankImpl::getImageType() const noexcept
{
    return m_image->layout().isFixed() ? image_type::fixed : image_type::relocatable;
}

std::uint64_t BankImpl::getPreferredLoadAddress() const noexcept
{
    return m_image->layout().loadAddress();
}

status_t BankImpl::getSegments(SymMgrObjectPtr<ISegmentIterator>& iterator) const
{
    iterator = new toolbelt2::ref_counted_t<SegmentIteratorImpl>(m_image->layout());
    return status::success;
}

status_t BankImpl::getSection(const char* name, SymMgrObjectPtr<ISection>& section) const
{
    section.reset();
    if (name == nullptr) return status::badArgument;
    const std::vector<section_header_t>& sections = m_image->layout().sections();
    for (std::size_t i = 1; i < sections.size(); ++i) {
        if (std::strcmp(sections[i].name, name) != 0) continue;
        section = new toolbelt2::ref_counted_t<SectionImpl>(sections[i], m_image);
        return status::success;
    }
    return status::notFound;
}

status_t BankImpl::getSectionAt(std::uint64_t address, SymMgrObjectPtr<ISection>& section) const
{
    section.reset();
    const section_header_t* found = m_image->layout().sectionAt(address);
    if (found == nullptr) return status::notFound;
    section = new toolbelt2::ref_counted_t<SectionImpl>(*found, m_image);
    return status::success;
}

status_t BankImpl::getLocation(std::uint64_t rva, SymMgrObjectPtr<IAddress>& address) const
{
    address.reset();
    const std::uint64_t value = rva + getPreferredLoadAddress();
    if (!m_image->layout().isLoaded(value)) return status::notFound;
    address = new toolbelt2::ref_counted_t<AddressImpl>(value, getPreferredLoadAddress());
    return status::success;
}

bool BankImpl::toAddress(std::uint64_t offsetInFile, std::uint64_t& address) const noexcept
{
    return m_image->layout().toAddress(offsetInFile, address);
}

bool BankImpl::toOffsetInFile(std::uint64_t address, std::uint64_t& offset) const noexcept
{
    return m_image->layout().toOffset(address, offset);
}

std::vector<code_stretch_t> BankImpl::getCode() const
{
    std::vector<code_stretch_t> code;
    for (const range_t& range : m_image->layout().codeInFile())
        code.push_back({range.start, range.end});
    return code;
}

std::size_t BankImpl::readCode(std::uint64_t address, std::span<std::byte> bytes) const
{
    std::size_t filled = 0;
    file_stretch_t stretch;
    while (filled < bytes.size() && m_image->layout().findInFile(address + filled, stretch)) {
        const std::uint64_t wanted = std::min<std::uint64_t>(stretch.size, bytes.size() - filled);
        const std::size_t got = m_image->file().read(stretch.offset, bytes.subspan(filled, wanted));
        filled += got;
        if (got < wanted) break;
    }
    return filled;
}

status_t BankImpl::addDebugFile(const char* path, std::string* fault)
{
    if (path == nullptr) return status::badArgument;
    std::string text;
    if (m_isRead || m_isDebugBegun || m_debugFile != nullptr) {
        if (fault != nullptr) *fault = std::string(path) + ": it comes after the first question";
        return status::tooLate;
    }
    m_debugFile = openDebugFile(*m_image, path, text);
    if (m_debugFile == nullptr) {
        if (fault != nullptr) *fault = text;
        return status::refused;
    }
    m_debugPath = path;
    return status::success;
}

bool BankImpl::findSymbol(std::uint64_t address, symbol_t& symbol) const
{
    const symbol_t* found = symbols().find(address);
    if (found != nullptr) symbol = *found;
    return found != nullptr;
}

std::span<const symbol_t> BankImpl::getSymbolsAt(std::uint64_t address) const
{
    return symbols().startingAt(address);
}

std::span<const symbol_t> BankImpl::getSymbols() const
{
    return symbols().all();
}

status_t BankImpl::getSymbolRange(const IAddress& address, SymMgrObjectPtr<ISymbolRange>& range,
                                  std::uint32_t kinds, std::uint32_t /*options*/) const
{
    range.reset();
    symbol_t symbol;
    if (!findSymbol(address.getValue(), symbol) && !functionAt(address.getValue(), symbol))
        return status::notFound;
    if ((static_cast<std::uint32_t>(symbol.kind) & kinds) == 0) return status::notFound;
    range = new toolbelt2::ref_counted_t<RangeImpl>(this, symbol, 0);
    return symbol.size != 0 ? status::success : status::guessedEnd;
}

bool BankImpl::functionAt(std::uint64_t address, symbol_t& symbol) const
{
    std::vector<source_frame_t> frames;
    if (!findFrames(address, frames) || frames.back().start == frames.back().end) return false;
    const source_frame_t& function = frames.back();
    symbol = {};
    symbol.name = function.function;
    symbol.start = function.start;
    symbol.end = function.end;
    symbol.size = function.end - function.start;
    symbol.origin = symbol_origin_t::debugInfo;
    return true;
}

bool BankImpl::findFrames(std::uint64_t address, std::vector<source_frame_t>& frames) const
{
    frames.clear();
    const SymbolTable& table = symbols();
    bool isNameShort = false;
    {
        const std::lock_guard lock(m_debugMutex);
        DebugInfo* info = debugInfo();
        if (info == nullptr || !info->findFrames(address, frames, isNameShort)) return false;
    }
    const symbol_t* symbol = isNameShort ? table.find(address) : nullptr;
    const char*& function = frames.back().function;
    // Assembler code has lines and no functions at all.
    if (symbol != nullptr && (*function == '\0' || isMangled(symbol->name)))
        function = symbol->name;
    return true;
}

std::vector<std::string> BankImpl::getFaults() const
{
    std::vector<std::string> faults;
    {
        const std::lock_guard lock(m_faultMutex);
        faults = m_faults;
    }
    const std::lock_guard lock(m_debugMutex);
    if (m_debugInfo != nullptr)
        faults.insert(faults.end(), m_debugInfo->faults().begin(), m_debugInfo->faults().end());
    return faults;
}

void BankImpl::noteFault(const std::string& fault) const
{
    const std::lock_guard lock(m_faultMutex);
    m_faults.push_back(fault);
}

} // namespace GLYPH_3_30
