#pragma once

#include "debug_info.h"
#include "image_impl.h"
#include "symbol_table.h"

#include <GLYPH_3_30/module_symbol_bank.h>

#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace GLYPH_3_30 {

/// What a bank makes use of.
struct bank_options_t {
    bool hasSymbols = true;
    bool hasDebugInfo = true;
};

class BankImpl : public IModuleSymbolBank {
public:
    BankImpl(SymMgrObjectPtr<ImageImpl> image, SymMgrObjectPtr<ISymbolFileResolver> resolver,
             bank_options_t options);

    std::int32_t getImageType() const noexcept override;
    std::uint64_t getPreferredLoadAddress() const noexcept override;
    status_t getSegments(SymMgrObjectPtr<ISegmentIterator>& iterator) const override;
    status_t getSection(const char* name, SymMgrObjectPtr<ISection>& section) const override;
    status_t getSectionAt(std::uint64_t address, SymMgrObjectPtr<ISection>& section) const override;
    status_t getLocation(std::uint64_t rva, SymMgrObjectPtr<IAddress>& address) const override;
    bool toAddress(std::uint64_t offsetInFile, std::uint64_t& address) const noexcept override;
    bool toOffsetInFile(std::uint64_t address, std::uint64_t& offset) const noexcept override;
    std::vector<code_stretch_t> getCode() const override;
    std::size_t readCode(std::uint64_t address, std::span<std::byte> bytes) const override;
    status_t addDebugFile(const char* path, std::string* fault) override;
    bool findSymbol(std::uint64_t address, symbol_t& symbol) const override;
    std::span<const symbol_t> getSymbolsAt(std::uint64_t address) const override;
    std::span<const symbol_t> getSymbols() const override;
    status_t getSymbolRange(const IAddress& address, SymMgrObjectPtr<ISymbolRange>& range,
                            std::uint32_t kinds, std::uint32_t options) const override;
    bool findFrames(std::uint64_t address, std::vector<source_frame_t>& frames) const override;
    std::vector<std::string> getFaults() const override;

    /// Reads the symbols unless that has been done.
    void readNow() const { symbols(); }

private:
    const SymbolTable& symbols() const;
    void readSymbols() const;
    void findDebugFile() const;
    std::vector<symbol_t> readTables() const;
    DebugInfo* debugInfo() const;
    std::unique_ptr<DebugInfo> beginDebugInfo() const;
    bool functionAt(std::uint64_t address, symbol_t& symbol) const;
    void noteFault(const std::string& fault) const;

    SymMgrObjectPtr<ImageImpl> m_image;
    SymMgrObjectPtr<ISymbolFileResolver> m_resolver;
    bank_options_t m_options;

    // Filled by the first question, and by addDebugFile before it.
    mutable std::unique_ptr<ElfFile> m_debugFile;
    mutable std::string m_debugPath;
    mutable std::once_flag m_symbolsOnce;
    mutable bool m_isRead = false;
    mutable std::unique_ptr<ElfFile> m_miniTable;
    mutable std::deque<std::string> m_names; ///< of symbols that are made up
    mutable SymbolTable m_symbols;

    mutable std::mutex m_debugMutex; ///< for what follows
    mutable bool m_isDebugBegun = false;
    mutable std::unique_ptr<DebugInfo> m_debugInfo;

    mutable std::mutex m_faultMutex;
    mutable std::vector<std::string> m_faults;
};

/// As IModuleSymbolBank::create.
status_t makeBank(SymMgrObjectPtr<IModuleSymbolBank>& bank, SymMgrObjectPtr<ImageImpl> image,
                  SymMgrObjectPtr<ISymbolFileResolver> resolver, bank_options_t options, bool lazy,
                  const char* debugFile, std::string* fault);

} // namespace GLYPH_3_30
