// Builds the bytes of small recordings for tests: files and pipes, record by record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace samplefold::perfdata::testing {

/// Appends little-endian values to a growing block of bytes.
class Bytes {
public:
    template <class T>
    Bytes& put(T value)
    {
        static_assert(std::is_arithmetic_v<T>);
        return append(std::as_bytes(std::span(&value, 1)));
    }
    Bytes& u8(std::uint8_t value) { return put(value); }
    Bytes& u16(std::uint16_t value) { return put(value); }
    Bytes& u32(std::uint32_t value) { return put(value); }
    Bytes& u64(std::uint64_t value) { return put(value); }
    Bytes& words(std::initializer_list<std::uint64_t> values)
    {
        for (const std::uint64_t value : values)
            u64(value);
        return *this;
    }
    /// Not inlined: g++ 12 warns of overflows that cannot be when it unfolds long chains of calls.
    [[gnu::noinline]] Bytes& append(std::span<const std::byte> bytes)
    {
        for (const std::byte byte : bytes)
            m_bytes.push_back(byte);
        return *this;
    }
    Bytes& append(const Bytes& bytes) { return append(bytes.span()); }
    /// Text with its NUL, padded with NULs to a multiple of 8 bytes.
    Bytes& paddedText(std::string_view text)
    {
        chars(text);
        return zeros(8 - text.size() % 8);
    }
    /// Text as features store it: a 32-bit length of the padded text, then the text.
    Bytes& featureText(std::string_view text)
    {
        u32(static_cast<std::uint32_t>(text.size() + 8 - text.size() % 8));
        return paddedText(text);
    }
    Bytes& chars(std::string_view text)
    {
        return append(std::as_bytes(std::span(text.data(), text.size())));
    }
    Bytes& zeros(std::size_t count)
    {
        m_bytes.resize(m_bytes.size() + count);
        return *this;
    }
    template <class T>
    void overwrite(std::size_t at, T value)
    {
        std::memcpy(m_bytes.data() + at, &value, sizeof value);
    }

    [[nodiscard]] std::size_t size() const { return m_bytes.size(); }
    [[nodiscard]] std::span<const std::byte> span() const { return m_bytes; }
    [[nodiscard]] std::vector<std::byte>& vector() { return m_bytes; }

private:
    std::vector<std::byte> m_bytes;
};

/// The fields of an attribute that tests care about.
struct AttrSpec {
    std::uint32_t type = 1; ///< software
    std::uint64_t config = 0;
    std::uint64_t periodOrFreq = 1;
    std::uint64_t sampleType = 0;
    std::uint64_t readFormat = 0;
    std::uint64_t flags = 0;
    std::uint64_t branchSampleType = 0;
    std::uint64_t regsUser = 0;
    std::uint64_t regsIntr = 0;
    std::uint32_t size = 128;
    std::vector<std::uint64_t> ids;
};

/// The attribute at its size, without ids.
inline Bytes attrBytes(const AttrSpec& spec)
{
    Bytes full;
    full.u32(spec.type).u32(spec.size).u64(spec.config).u64(spec.periodOrFreq).u64(spec.sampleType);
    full.u64(spec.readFormat).u64(spec.flags).u32(0).u32(0).u64(0).u64(0); // wakeup to config2: 72
                                                                           // bytes
    full.u64(spec.branchSampleType).u64(spec.regsUser).u32(0).u32(0).u64(spec.regsIntr);
    if (full.size() < spec.size) full.zeros(spec.size - full.size());
    full.vector().resize(spec.size);
    return full;
}

/// A record of this type and body; its head gets the size.
inline Bytes record(std::uint32_t type, const Bytes& body, std::uint16_t misc = 0)
{
    Bytes whole;
    whole.u32(type).u16(misc).u16(static_cast<std::uint16_t>(body.size() + 8)).append(body);
    return whole;
}

/// Collects events and records, then gives the bytes of a file or of a pipe.
class PerfFileBuilder {
public:
    PerfFileBuilder& event(AttrSpec spec)
    {
        m_events.push_back(std::move(spec));
        return *this;
    }
    PerfFileBuilder& add(std::uint32_t type, const Bytes& body, std::uint16_t misc = 0)
    {
        m_records.append(record(type, body, misc));
        return *this;
    }
    /// Bytes between records, such as the data after an AUXTRACE record.
    PerfFileBuilder& addRaw(const Bytes& bytes)
    {
        m_records.append(bytes);
        return *this;
    }
    /// Features must be added in the order of their numbers.
    PerfFileBuilder& feature(std::uint32_t number, Bytes content)
    {
        m_features.emplace_back(number, std::move(content));
        return *this;
    }

    [[nodiscard]] const Bytes& records() const { return m_records; }
    /// Where the records of file() start.
    [[nodiscard]] std::size_t recordsOffset() const
    {
        return headSize + idsSize() + m_events.size() * entrySize();
    }

    [[nodiscard]] Bytes file() const
    {
        Bytes out;
        out.chars("PERFILE2").u64(headSize).u64(entrySize());
        out.u64(headSize + idsSize()).u64(m_events.size() * entrySize());
        out.u64(recordsOffset()).u64(m_records.size());
        out.u64(0).u64(0);
        std::uint64_t bits[4] = {};
        for (const auto& [number, content] : m_features)
            bits[number / 64] |= std::uint64_t{1} << (number % 64);
        for (const std::uint64_t word : bits)
            out.u64(word);
        putIdsAndAttrs(out);
        out.append(m_records);
        putFeatures(out);
        return out;
    }

    [[nodiscard]] Bytes pipe() const
    {
        Bytes out;
        out.chars("PERFILE2").u64(16);
        for (const AttrSpec& spec : m_events)
            out.append(record(64, attrWithIds(spec)));
        return out.append(m_records);
    }

    static constexpr std::size_t headSize = 104;

    /// Body of an attribute record.
    [[nodiscard]] static Bytes attrWithIds(const AttrSpec& spec)
    {
        Bytes body = attrBytes(spec);
        for (const std::uint64_t id : spec.ids)
            body.u64(id);
        return body;
    }

private:
    [[nodiscard]] std::size_t entrySize() const
    {
        return (m_events.empty() ? 128 : m_events.front().size) + 16;
    }
    [[nodiscard]] std::size_t idsSize() const
    {
        std::size_t count = 0;
        for (const AttrSpec& spec : m_events)
            count += spec.ids.size();
        return count * 8;
    }
    void putIdsAndAttrs(Bytes& out) const
    {
        for (const AttrSpec& spec : m_events)
            for (const std::uint64_t id : spec.ids)
                out.u64(id);
        std::uint64_t idsAt = headSize;
        for (const AttrSpec& spec : m_events) {
            out.append(attrBytes(spec)).u64(idsAt).u64(spec.ids.size() * 8);
            idsAt += spec.ids.size() * 8;
        }
    }
    void putFeatures(Bytes& out) const
    {
        std::uint64_t at = out.size() + m_features.size() * 16;
        for (const auto& [number, content] : m_features) {
            out.u64(at).u64(content.size());
            at += content.size();
        }
        for (const auto& [number, content] : m_features)
            out.append(content);
    }

    std::vector<AttrSpec> m_events;
    Bytes m_records;
    std::vector<std::pair<std::uint32_t, Bytes>> m_features;
};

} // namespace samplefold::perfdata::testing
