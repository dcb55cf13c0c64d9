#include "ask_all.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace glyph_test {
namespace {

using namespace GLYPH_3_30;

/// What must hold for any input.
void require(bool holds)
{
    if (!holds) std::abort();
}

std::uint64_t sumOf(const char* text)
{
    return std::strlen(text);
}

std::vector<std::uint64_t> placesOf(const IModuleSymbolBank& bank, std::size_t count)
{
    std::vector<std::uint64_t> places;
    SymMgrObjectPtr<ISegmentIterator> segments;
    require(bank.getSegments(segments) == status::success);
    for (; segments->current() != nullptr && places.size() < count; segments->advance()) {
        const ISegment& segment = *segments->current();
        if (segment.getKind() != segment_kind::loadable || (segment.getFlags() & 1) == 0) continue;
        const std::uint64_t first =
            segment.getOffsetFromLoadAddress() + bank.getPreferredLoadAddress();
        const std::uint64_t step = std::max<std::uint64_t>(1, segment.getMemorySize() / count);
        for (std::size_t i = 0; i < count && i * step < segment.getMemorySize(); ++i)
            places.push_back(first + i * step);
    }
    const auto symbols = bank.getSymbols();
    for (std::size_t i = 0; i < symbols.size() && i < count; ++i)
        places.push_back(symbols[i].start);
    return places;
}

std::uint64_t askAt(const IModuleSymbolBank& bank, std::uint64_t address)
{
    std::uint64_t sum = 0;
    symbol_t symbol;
    if (bank.findSymbol(address, symbol)) {
        require(symbol.start <= address && address < symbol.end);
        require(!bank.getSymbolsAt(symbol.start).empty());
        sum += sumOf(symbol.name) + demangle(symbol.name).size();
    }
    std::vector<source_frame_t> frames;
    require(bank.findFrames(address, frames) == !frames.empty());
    for (const source_frame_t& frame : frames) {
        require(frame.start == frame.end || (frame.start <= address && address < frame.end));
        sum += sumOf(frame.function) + sumOf(frame.file) + frame.line;
    }
    SymMgrObjectPtr<IAddress> place;
    if (bank.getLocation(address - bank.getPreferredLoadAddress(), place) != status::success)
        return sum;
    require(place->getValue() == address);
    SymMgrObjectPtr<ISymbolRange> range;
    bank.getSymbolRange(*place, range, 17, 0);
    for (std::size_t depth = 0; range != nullptr; ++depth) {
        require(depth <= frames.size());
        sum += sumOf(range->getSymbol()->getName());
        SymMgrObjectPtr<ISymbolRange> inner;
        range->getInnerRange(inner, *place);
        range = inner;
    }
    SymMgrObjectPtr<ISection> section;
    if (bank.getSectionAt(address, section) == status::success) sum += sumOf(section->getName());
    std::uint64_t offset = 0;
    std::uint64_t back = 0;
    const bool isInFile = bank.toOffsetInFile(address, offset);
    if (isInFile) require(bank.toAddress(offset, back));
    std::byte code[16];
    require((bank.readCode(address, code) != 0) == isInFile);
    return sum;
}

} // namespace

std::uint64_t askAll(std::span<const std::byte> bytes, std::size_t addresses)
{
    std::string fault;
    const SymMgrObjectPtr<IModuleImage> image = IModuleImage::create(bytes, 0, "bytes", &fault);
    require((image == nullptr) == !fault.empty() && fault.find('\n') == std::string::npos);
    if (image == nullptr) return fault.size();
    std::uint64_t sum = image->getBuildId().size() + image->getDebugLink().name.size();
    SymMgrObjectPtr<IModuleSymbolBank> bank;
    require(IModuleSymbolBank::create(bank, image, nullptr, false, "") == status::success);
    const auto symbols = bank->getSymbols();
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        require(symbols[i].start < symbols[i].end);
        require(i == 0 || symbols[i - 1].start <= symbols[i].start);
    }
    std::uint64_t behind = 0;
    for (const code_stretch_t& code : bank->getCode()) {
        require(behind <= code.start && code.start < code.end);
        behind = code.end;
    }
    for (const std::uint64_t address : placesOf(*bank, addresses))
        sum += askAt(*bank, address);
    for (const std::string& text : bank->getFaults())
        sum += text.size();
    return sum;
}

} // namespace glyph_test
