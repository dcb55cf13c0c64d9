#pragma once

#include <pathnav_3/data_source.h>

#include <mutex>
#include <vector>

namespace pathnav_3 {

class GlyphSource : public IGLYPHDataSource {
public:
    /// `bank` may be null.
    explicit GlyphSource(const GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank>& bank)
        : m_bank(bank)
    {
    }

    bool findCode(std::uint64_t rva, code_range_t& range) const override;
    bool findNextCode(std::uint64_t rva, code_range_t& range) const override;
    std::size_t readCode(std::uint64_t rva, std::span<std::byte> bytes) const override;
    bool neverReturns(std::uint64_t rva) const override;

private:
    const std::vector<code_range_t>& ranges() const;
    void addRanges(const GLYPH_3_30::code_stretch_t& code,
                   const std::vector<std::uint64_t>& borders) const;

    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank> m_bank;
    mutable std::once_flag m_once;
    mutable std::vector<code_range_t> m_ranges; ///< by address; filled by the first question
};

} // namespace pathnav_3
