#include "mini_table.h"

#include "notes.h"

#include <lzma.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace GLYPH_3_30 {
namespace {

/// Symbols shrink to a fifth or so. What grows more is no table.
constexpr std::size_t g_maxGrowth = 64;
constexpr std::size_t g_spareBytes = 1 << 16;
constexpr std::size_t g_maxBytes = std::size_t{1} << 28;
constexpr std::uint64_t g_decoderBytes = std::uint64_t{1} << 27;

/// Unpacks at most `limit` bytes of an xz stream. False when it is damaged or longer.
bool unpack(std::span<const std::byte> packed, std::size_t limit, std::vector<char>& bytes)
{
    lzma_stream stream = LZMA_STREAM_INIT;
    if (::lzma_stream_decoder(&stream, g_decoderBytes, 0) != LZMA_OK) return false;
    stream.next_in = reinterpret_cast<const std::uint8_t*>(packed.data());
    stream.avail_in = packed.size();
    lzma_ret state = LZMA_OK;
    while (state == LZMA_OK && bytes.size() < limit) {
        const std::size_t filled = bytes.size();
        bytes.resize(std::min(limit, std::max(2 * filled, g_spareBytes)));
        stream.next_out = reinterpret_cast<std::uint8_t*>(bytes.data()) + filled;
        stream.avail_out = bytes.size() - filled;
        state = ::lzma_code(&stream, LZMA_FINISH);
        bytes.resize(bytes.size() - stream.avail_out);
    }
    ::lzma_end(&stream);
    return state == LZMA_STREAM_END;
}

} // namespace

std::unique_ptr<ElfFile> readMiniTable(const ElfFile& file, std::string& fault)
{
    const std::span<const std::byte> packed = rawBytes(findSection(file.elf(), ".gnu_debugdata"));
    if (packed.empty()) return nullptr;
    std::vector<char> bytes;
    const std::size_t limit = std::min(packed.size() * g_maxGrowth + g_spareBytes, g_maxBytes);
    if (!unpack(packed, limit, bytes)) {
        fault = "the compressed symbol table is damaged or too large";
        return nullptr;
    }
    std::unique_ptr<ElfFile> table = ElfFile::fromBytes(std::move(bytes), fault);
    if (table == nullptr) fault.insert(0, "the compressed symbol table is ");
    return table;
}

} // namespace GLYPH_3_30
