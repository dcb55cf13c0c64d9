#include <samplefold_1/static_module_info.h>

#include "common/component_log.h"
#include "file_finder_impl/file_finder_impl.h"

#include <GLYPH_3_30/module_symbol_bank.h>

#include <iomanip>
#include <iterator>

namespace samplefold_1 {
namespace {

using GLYPH_3_30::SymMgrObjectPtr;
using rowvault1::Index;

ComponentLog g_log;

constexpr std::uint16_t g_linkColumn = 0; ///< of an instance its segment, of a segment its module
constexpr std::int32_t g_fixedImage = 1;
constexpr std::int32_t g_otherImage = 2;

Index linkOf(rowvault1::IAttributeTable& table, const Index& row)
{
    const rowvault1::ConstRecord record(table.getRecord(row));
    return rowvault1::utils::variantToIndex(record[g_linkColumn]);
}

void logSegment(std::uint64_t offsetInFile, const static_module_segment_attrs_t& segment)
{
    SF_DEBUG(g_log, std::left << "* offsetInFile = " << std::setw(15) << offsetInFile
                              << " offsetFromLoadAddress = " << std::setw(23)
                              << segment.offsetFromLoadAddress << "fileSize = " << std::setw(12)
                              << segment.fileSize << "memorySize = " << segment.memorySize);
}

void readSegments(const GLYPH_3_30::IModuleSymbolBank& bank, static_module_info_t& info)
{
    SymMgrObjectPtr<GLYPH_3_30::ISegmentIterator> segments;
    if (bank.getSegments(segments) != GLYPH_3_30::status::success || segments == nullptr) return;
    for (; segments->current() != nullptr; segments->advance()) {
        const GLYPH_3_30::ISegment& segment = *segments->current();
        if (segment.getKind() != GLYPH_3_30::segment_kind::loadable) continue;
        const static_module_segment_attrs_t attrs{segment.getFileSize(), segment.getMemorySize(),
                                                  segment.getOffsetFromLoadAddress()};
        info.segments[segment.getOffsetInFile()].push_back(attrs);
        logSegment(segment.getOffsetInFile(), attrs);
    }
}

} // namespace

StaticModuleInfoCache::StaticModuleInfoCache(const tb2::sptr_t<rowvault1::IDatabase>& db,
                                             const std::string& resultDir)
{
    if (db.is_null()) return;
    m_fileFinder = createFileFinder(resultDir.c_str());
    m_segInstTable = db->getAttributeTable("dd_segment_instance");
    m_moduleSegTable = db->getAttributeTable("dd_module_segment");
}

StaticModuleInfoCache::~StaticModuleInfoCache()
{
    // The interface cannot be destroyed through, since it has no virtual destructor.
    delete static_cast<FileFinderImpl*>(m_fileFinder);
}

const static_module_info_t& StaticModuleInfoCache::getModuleInfo(const Index& moduleIndex,
                                                                 const std::string& modulePath)
{
    resolveStaticModuleInfo(Index(), modulePath, moduleIndex);
    return m_modulesInfo[moduleIndex];
}

std::uint64_t StaticModuleInfoCache::getOffsetFromModuleLoadAddress(const Index& segInstIndex,
                                                                    const std::string& modulePath,
                                                                    std::uint64_t offsetInFile)
{
    if (!segInstIndex.exist()) return 0;
    resolveStaticModuleInfo(segInstIndex, modulePath, Index());
    const Index module = m_moduleBySegInst[segInstIndex];
    if (!module.exist()) return 0;
    const static_module_info_t& info = m_modulesInfo[module];
    const auto next = info.segments.upper_bound(offsetInFile);
    if (next == info.segments.begin()) return 0;
    const auto& [start, segments] = *std::prev(next);
    for (const static_module_segment_attrs_t& segment : segments) {
        if (offsetInFile - start < segment.fileSize)
            return offsetInFile + segment.offsetFromLoadAddress - start;
    }
    return 0;
}

void StaticModuleInfoCache::resolveStaticModuleInfo(const Index& segInstIndex,
                                                    const std::string& modulePath,
                                                    Index moduleIndex)
{
    if (!moduleIndex.exist()) {
        if (!segInstIndex.exist()) return;
        moduleIndex = moduleOf(segInstIndex);
        if (!moduleIndex.exist()) return;
    }
    static_module_info_t& info = m_modulesInfo[moduleIndex];
    if (info.resolved) return;
    info.resolved = true;
    if (m_fileFinder != nullptr) info.path = m_fileFinder->getBinaryFilePath(modulePath.c_str());
    if (!info.path.empty()) readLayout(info);
}

/// A segment instance without a segment is asked for again, until its entry is made elsewhere.
Index StaticModuleInfoCache::moduleOf(const Index& segInstIndex)
{
    const auto known = m_moduleBySegInst.find(segInstIndex);
    if (known != m_moduleBySegInst.end()) return known->second;
    if (m_segInstTable.is_null() || m_moduleSegTable.is_null()) return Index();
    const Index segment = linkOf(*m_segInstTable, segInstIndex);
    if (!segment.exist()) return Index();
    return m_moduleBySegInst[segInstIndex] = linkOf(*m_moduleSegTable, segment);
}

void StaticModuleInfoCache::readLayout(static_module_info_t& info)
{
    const auto image = GLYPH_3_30::IModuleImage::create(info.path.c_str(), 0, false);
    if (image == nullptr) {
        SF_DEBUG(g_log, "Failed to create moduleImage for " << info.path << " module!");
        return;
    }
    SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank> bank;
    const GLYPH_3_30::status_t status =
        GLYPH_3_30::IModuleSymbolBank::create(bank, image, nullptr, true, "");
    if ((status & GLYPH_3_30::status::failure) != 0) {
        SF_DEBUG(g_log, "Failed to create symBank for " << info.path << " module!");
        return;
    }
    info.imageClass =
        bank->getImageType() == GLYPH_3_30::image_type::fixed ? g_fixedImage : g_otherImage;
    info.preferredLoadAddress = bank->getPreferredLoadAddress();
    SF_DEBUG(g_log,
             "Preferred load address for " << info.path << ": " << info.preferredLoadAddress);
    readSegments(*bank, info);
    SF_DEBUG(g_log, "");
}

} // namespace samplefold_1
