#include "perfdata/expander.h"

#include "perfdata/byte_reader.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <zstd.h>

namespace samplefold::perfdata {

namespace {

constexpr std::size_t chunkBytes = std::size_t{1} << 17;
constexpr std::uint64_t alwaysAllowedBytes = std::uint64_t{64} << 20;
constexpr std::uint64_t highestRatio = 1000;
constexpr std::uint64_t reportEvery = std::uint64_t{1} << 20;

struct FreeStream {
    void operator()(ZSTD_DStream* stream) const { ZSTD_freeDStream(stream); }
};

/// The payload of a compressed record.
std::span<const std::byte> payloadOf(const RecordView& record)
{
    ByteReader reader(record.bodyBytes());
    if (record.kind() == RecordType::Compressed2) {
        const auto size = reader.take<std::uint64_t>(); // what is beyond is padding
        return reader.bytes(size);
    }
    return reader.bytes(reader.left());
}

/// Turns compressed payloads into whole records in the spool.
class Expander {
public:
    Expander(Spool& spool, std::uint64_t maxBytes)
        : m_spool(spool), m_maxBytes(maxBytes), m_stream(ZSTD_createDStream())
    {
        ZSTD_initDStream(m_stream.get());
    }

    /// What is wrong, or nullptr.
    const char* addCompressed(std::span<const std::byte> payload)
    {
        ZSTD_inBuffer input = {payload.data(), payload.size(), 0};
        for (;;) {
            const std::size_t had = m_partial.size();
            m_partial.resize(had + chunkBytes);
            ZSTD_outBuffer output = {m_partial.data() + had, chunkBytes, 0};
            const std::size_t status = ZSTD_decompressStream(m_stream.get(), &output, &input);
            m_partial.resize(had + output.pos);
            if (ZSTD_isError(status) != 0) return "compressed data is damaged";
            if (const char* what = writeWholeRecords()) return what;
            if (input.pos == input.size && output.pos < chunkBytes) return nullptr;
        }
    }

    const char* addPlain(std::span<const std::byte> bytes)
    {
        if (m_spool.size() + bytes.size() > m_maxBytes)
            return "the records expand beyond all measure";
        m_spool.write(bytes);
        return nullptr;
    }

    [[nodiscard]] bool hasPartialRecord() const { return !m_partial.empty(); }

private:
    const char* writeWholeRecords()
    {
        std::size_t whole = 0;
        while (m_partial.size() - whole >= recordHeadSize) {
            const std::uint32_t size = viewRecord(m_partial.data() + whole).size;
            if (size < recordHeadSize) return "a compressed record has an impossible size";
            if (size > m_partial.size() - whole) break;
            if (const char* what = addPlain({m_partial.data() + whole, size})) return what;
            whole += size;
        }
        m_partial.erase(m_partial.begin(), m_partial.begin() + static_cast<std::ptrdiff_t>(whole));
        return nullptr;
    }

    Spool& m_spool;
    std::uint64_t m_maxBytes;
    std::unique_ptr<ZSTD_DStream, FreeStream> m_stream;
    std::vector<std::byte> m_partial; ///< start of a record whose end is still to come
};

std::uint64_t allowedBytes(std::uint64_t inputBytes, std::uint64_t wanted)
{
    const std::uint64_t byRatio =
        inputBytes > UINT64_MAX / highestRatio ? UINT64_MAX : inputBytes * highestRatio;
    return std::min(wanted, std::max(byRatio, alwaysAllowedBytes));
}

} // namespace

ExpansionResult expandRecords(std::span<const std::byte> stream, const std::string& name,
                              const ExpansionLimits& limits, CountTable& counts,
                              const std::function<void(std::uint64_t)>& onBlock)
{
    Spool spool(limits.spoolFolder, name);
    Expander expander(spool, allowedBytes(stream.size(), limits.maxBytes));
    std::optional<StreamFault> fault;
    std::uint64_t reported = 0;
    RecordView record;
    std::uint64_t extent = 0;
    for (std::uint64_t position = 0; position < stream.size() && !fault; position += extent) {
        const char* what = checkRecord(stream, position, record, extent);
        if (what == nullptr &&
            (record.kind() == RecordType::Compressed || record.kind() == RecordType::Compressed2)) {
            counts.add(record.type, extent);
            what = expander.addCompressed(payloadOf(record));
        } else if (what == nullptr) {
            what = expander.addPlain({record.start, static_cast<std::size_t>(extent)});
        }
        if (what != nullptr) fault = StreamFault{position, what};
        if (position - reported >= reportEvery) onBlock(reported = position);
    }
    if (!fault && expander.hasPartialRecord())
        fault = StreamFault{stream.size(), "the compressed data ends within a record"};
    return {spool.finish(), fault};
}

} // namespace samplefold::perfdata
