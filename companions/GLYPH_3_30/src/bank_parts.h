#pragma once

#include "layout.h"

#include <GLYPH_3_30/address.h>
#include <GLYPH_3_30/module_symbol_bank.h>

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

// The small objects that a bank hands out. Each keeps what its answers point to.
namespace GLYPH_3_30 {

class SegmentImpl final : public ISegment {
public:
    SegmentImpl(const segment_header_t& header, std::uint64_t loadAddress)
        : m_header(header), m_loadAddress(loadAddress)
    {
    }
    std::uint32_t getKind() const noexcept override { return m_header.kind; }
    std::uint64_t getFileSize() const noexcept override { return m_header.fileSize; }
    std::uint64_t getMemorySize() const noexcept override { return m_header.memorySize; }
    std::uint64_t getOffsetFromLoadAddress() const noexcept override
    {
        return m_header.address - m_loadAddress;
    }
    std::uint64_t getOffsetInFile() const noexcept override { return m_header.offset; }
    std::uint32_t getFlags() const noexcept override { return m_header.flags; }

private:
    segment_header_t m_header;
    std::uint64_t m_loadAddress;
};

class SegmentIteratorImpl : public ISegmentIterator {
public:
    explicit SegmentIteratorImpl(const Layout& layout);

    const ISegment* current() const noexcept override
    {
        return m_at < m_segments.size() ? &m_segments[m_at] : nullptr;
    }
    void advance() noexcept override
    {
        if (m_at < m_segments.size()) ++m_at;
    }

private:
    std::vector<SegmentImpl> m_segments;
    std::size_t m_at = 0;
};

class SectionImpl : public ISection {
public:
    SectionImpl(const section_header_t& header,
                SymMgrObjectPtr<const tb2::object_interface_t> owner)
        : m_header(header), m_owner(std::move(owner))
    {
    }
    const char* getName() const noexcept override { return m_header.name; }
    std::uint64_t getStart() const noexcept override { return m_header.address; }
    std::uint64_t getSize() const noexcept override { return m_header.size; }
    std::uint64_t getOffsetInFile() const noexcept override { return m_header.offset; }
    std::uint64_t getFlags() const noexcept override { return m_header.flags; }

private:
    section_header_t m_header;
    SymMgrObjectPtr<const tb2::object_interface_t> m_owner; ///< of the name
};

class AddressImpl : public IAddress {
public:
    AddressImpl(std::uint64_t value, std::uint64_t loadAddress)
        : m_value(value), m_loadAddress(loadAddress)
    {
    }
    std::uint64_t getRva() const noexcept override { return m_value - m_loadAddress; }
    std::uint64_t getValue() const noexcept override { return m_value; }

private:
    std::uint64_t m_value;
    std::uint64_t m_loadAddress;
};

} // namespace GLYPH_3_30
