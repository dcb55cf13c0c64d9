#include "report/file_symbols.h"

#include "report/elf_names.h"
#include "report/file_check.h"
#include "report/sql_rows.h"

namespace samplefold::report {
namespace {

using GLYPH_3_30::IModuleImage;
using GLYPH_3_30::IModuleSymbolBank;
using GLYPH_3_30::SymMgrObjectPtr;

/// What the load found for a module. Texts that are not known are empty.
struct FoundFile {
    std::string path;
    std::string symbols;
    std::string buildId;
    std::string md5;
};

/// Of several searches the last one holds.
FoundFile readFoundFile(rowvault1::IResult& result, std::int64_t module)
{
    FoundFile file;
    visitRows(result,
              "SELECT s.found, s.symbols, m.build_id, m.md5 FROM dd_module_search s "
              "JOIN dd_module_file m ON m.id = s.module WHERE s.module = " +
                  std::to_string(module) + " ORDER BY s.id DESC LIMIT 1",
              [&](const auto& row) {
                  file = {toText(row[0]), toText(row[1]), toText(row[2]), toText(row[3])};
              });
    return file;
}

bool isSameAsAtLoad(const FoundFile& file, const IModuleImage& image)
{
    if (!file.buildId.empty()) return buildIdFits(file.buildId, image.getBuildId());
    return file.md5.empty() || hasChecksum(file.path, file.md5);
}

} // namespace

std::string FileSymbols::functionAt(std::int64_t module, std::uint64_t rva)
{
    const auto [entry, isNew] = m_banks.try_emplace(module);
    if (isNew) entry->second = open(module);
    const bank_t& bank = entry->second;
    std::uint64_t address = 0;
    GLYPH_3_30::symbol_t symbol;
    const bool isFound =
        bank != nullptr && bank->toAddress(rva, address) && bank->findSymbol(address, symbol);
    return isFound ? GLYPH_3_30::demangle(symbol.name) : std::string();
}

FileSymbols::bank_t FileSymbols::open(std::int64_t module)
{
    const FoundFile file = readFoundFile(m_result, module);
    if (file.path.empty()) return {};
    const auto image = IModuleImage::create(file.path.c_str(), 0, false);
    if (image == nullptr || !isSameAsAtLoad(file, *image)) return {};
    bank_t bank;
    const auto create = [&](const std::string& symbols) {
        const auto status = IModuleSymbolBank::create(bank, image, nullptr, true, symbols.c_str());
        return (status & GLYPH_3_30::status::failure) == 0;
    };
    if (create(file.symbols) || create({})) return bank;
    return {};
}

} // namespace samplefold::report
