// How a bank gets its symbols and debug information.

#include "bank_impl.h"
#include "debug_file.h"
#include "linkage_reader.h"
#include "mini_table.h"
#include "symbol_reader.h"

#include <elf.h>

#include <utility>

namespace GLYPH_3_30 {

const SymbolTable& BankImpl::symbols() const
{
    std::call_once(m_symbolsOnce, [this] { readSymbols(); });
    return m_symbols;
}

void BankImpl::readSymbols() const
{
    m_isRead = true;
    if (m_debugFile == nullptr && m_resolver != nullptr) findDebugFile();
    if (m_options.hasSymbols) m_symbols = SymbolTable(readTables(), m_image->layout());
}

void BankImpl::findDebugFile() const
{
    symbol_file_request_t request;
    request.imagePath = m_image->getPath();
    request.buildId = m_image->getBuildId();
    request.debugLink = m_image->getDebugLink();
    for (const std::string& path : m_resolver->find(request)) {
        std::string fault;
        m_debugFile = openDebugFile(*m_image, path, fault);
        m_debugPath = path;
        if (m_debugFile != nullptr) return;
        noteFault(fault);
    }
}

std::vector<symbol_t> BankImpl::readTables() const
{
    const ElfFile& file = m_image->file();
    const Layout& layout = m_image->layout();
    const std::lock_guard lock(file.mutex());
    std::vector<symbol_t> symbols;
    GLYPH_3_30::readSymbols(file, SHT_SYMTAB, layout, symbol_origin_t::table, symbols);
    const bool isStripped = symbols.empty();
    if (m_debugFile != nullptr)
        GLYPH_3_30::readSymbols(*m_debugFile, SHT_SYMTAB, layout, symbol_origin_t::debugFile,
                                symbols);
    if (isStripped) {
        std::string fault;
        m_miniTable = readMiniTable(file, fault);
        if (!fault.empty()) noteFault(fault);
        if (m_miniTable != nullptr)
            GLYPH_3_30::readSymbols(*m_miniTable, SHT_SYMTAB, layout, symbol_origin_t::miniTable,
                                    symbols);
    }
    GLYPH_3_30::readSymbols(file, SHT_DYNSYM, layout, symbol_origin_t::dynamicTable, symbols);
    readLinkageTables(file, layout, m_names, symbols);
    return symbols;
}

DebugInfo* BankImpl::debugInfo() const
{
    if (!m_isDebugBegun && m_options.hasDebugInfo) m_debugInfo = beginDebugInfo();
    m_isDebugBegun = true;
    return m_debugInfo.get();
}

std::unique_ptr<DebugInfo> BankImpl::beginDebugInfo() const
{
    const Layout& layout = m_image->layout();
    const auto begin = [&](const ElfFile& file, const std::string& path) {
        const std::lock_guard lock(file.mutex());
        std::string fault;
        std::unique_ptr<ElfFile> alt = openAltFile(file, path, m_resolver.get(), fault);
        if (!fault.empty()) noteFault(fault);
        fault.clear();
        std::unique_ptr<DebugInfo> info = DebugInfo::begin(file, std::move(alt), layout, fault);
        if (!fault.empty()) noteFault(path + ": " + fault);
        return info;
    };
    std::unique_ptr<DebugInfo> info;
    if (m_debugFile != nullptr) info = begin(*m_debugFile, m_debugPath);
    return info != nullptr ? std::move(info) : begin(m_image->file(), m_image->getPath());
}

status_t makeBank(SymMgrObjectPtr<IModuleSymbolBank>& bank, SymMgrObjectPtr<ImageImpl> image,
                  SymMgrObjectPtr<ISymbolFileResolver> resolver, bank_options_t options, bool lazy,
                  const char* debugFile, std::string* fault)
{
    const SymMgrObjectPtr<BankImpl> made =
        new toolbelt2::ref_counted_t<BankImpl>(std::move(image), std::move(resolver), options);
    if (debugFile != nullptr && *debugFile != '\0') {
        const status_t added = made->addDebugFile(debugFile, fault);
        if (added != status::success) return added;
    }
    if (!lazy) made->readNow();
    bank = made;
    return status::success;
}

status_t IModuleSymbolBank::create(SymMgrObjectPtr<IModuleSymbolBank>& bank,
                                   const SymMgrObjectPtr<IModuleImage>& image,
                                   const SymMgrObjectPtr<ISymbolFileResolver>& resolver, bool lazy,
                                   const char* debugFile, std::string* fault)
{
    bank.reset();
    auto* own = dynamic_cast<ImageImpl*>(image.get());
    if (own != nullptr) return makeBank(bank, own, resolver, {}, lazy, debugFile, fault);
    if (fault != nullptr) *fault = "no image";
    return status::badArgument;
}

} // namespace GLYPH_3_30
