#include "common/component_log.h"
#include "stack_verifier/verifier_parts.h"

namespace samplefold_1 {
namespace {

ComponentLog g_log;

constexpr std::uint32_t g_bankOptions =
    GLYPH_3_30::load_option::symbols | GLYPH_3_30::load_option::debugInfo;
constexpr std::uint64_t g_relativeBase = 0xFFFFFFFFFFFFFFFF;
constexpr std::int32_t g_navigatorSettings = 10;

} // namespace

StackVerifier::StackVerifier(StaticModuleInfoCache& staticModuleInfo,
                             const LoaderContext* loaderContext, bool usePATHNAV)
    : m_staticModuleInfo(&staticModuleInfo), m_loaderContext(loaderContext),
      m_usePATHNAV(usePATHNAV)
{
}

StackVerifier::~StackVerifier() = default;

bool StackVerifier::ensureSymbolManager()
{
    if (m_symbolManager != nullptr) return true;
    return GLYPH_3_30::ISymbolManager::create(m_symbolManager) == GLYPH_3_30::status::success;
}

GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank>
StackVerifier::getCachedSymbolBank(const std::string& path)
{
    const auto known = m_moduleCaches.find(path);
    if (known != m_moduleCaches.end()) return known->second.symbolBank;
    GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank> bank;
    const bool isLoaded = ensureSymbolManager() &&
                          m_symbolManager->loadBank(path.c_str(), 0, bank, nullptr, g_bankOptions,
                                                    "") == GLYPH_3_30::status::success;
    if (!isLoaded) SF_DEBUG(g_log, "Failed to load symobls for module: " << path);
    // Noted last: what ran out of memory is no failure of the module's.
    m_moduleCaches[path].symbolBank = bank;
    return bank;
}

pathnav_3::ObjectPtr<pathnav_3::IBasicBlockNavigator>
StackVerifier::getCachedBlockNavigator(const std::string& path)
{
    const auto known = m_moduleCaches.find(path);
    if (known == m_moduleCaches.end()) return nullptr;
    ModuleStackValidationCache& entry = known->second;
    if (entry.blockNavigator == nullptr) {
        entry.blockNavigator = pathnav_3::IBasicBlockNavigator::create(
            pathnav_3::IGLYPHDataSource::create(entry.symbolBank, false, g_relativeBase),
            g_navigatorSettings, 0);
    }
    return entry.blockNavigator;
}

void StackVerifier::useResolver(const boost::intrusive_ptr<jitlens_3_13::ISymbolResolver>& resolver)
{
    if (!m_usePATHNAV || resolver == m_jitResolver) return;
    m_jitNavigator = pathnav_3::IBasicBlockNavigator::create(
        pathnav_3::IJITLENSDataSource::create(resolver, pathnav_3::IJITLENSDataSource::x86_64,
                                              g_relativeBase, nullptr, nullptr),
        g_navigatorSettings, 0);
    m_jitResolver = resolver;
}

bool StackVerifier::getRva(std::uint64_t ip, std::uint64_t jitTime, std::uint64_t tsc,
                           std::uint32_t pid, SegInstMap& kernelSegments,
                           SegInstMap& processSegments, std::uint64_t& rva, SegInstInfo*& segment,
                           bool& isKernel, std::string& modulePath)
{
    segment = processSegments.findSegInst(ip, tsc);
    isKernel = segment == nullptr;
    if (isKernel) segment = kernelSegments.findSegInst(ip, tsc);
    if (segment != nullptr) {
        const static_module_info_t& info =
            m_staticModuleInfo->getModuleInfo(segment->moduleIndex, segment->modulePath);
        const std::uint64_t offset = m_staticModuleInfo->getOffsetFromModuleLoadAddress(
            segment->segInstIndex, segment->modulePath, segment->offsetInFile);
        rva = ip + offset - segment->lowAddress;
        modulePath = info.path;
        return true;
    }
    if (m_loaderContext == nullptr) {
        SF_DEBUG(g_log, "No loader context");
        return false;
    }
    std::uint64_t value = 0;
    if (m_loaderContext->resolveAddrAsJit(ip, jitTime, pid, &value) != 0) return false;
    rva = value;
    return true;
}

bool StackVerifier::resolve(std::uint64_t ip, const Moment& moment, Spot& spot)
{
    spot.ip = ip;
    return getRva(ip, moment.jitTime, moment.tsc, moment.pid, moment.kernelSegments,
                  moment.processSegments, spot.rva, spot.segment, spot.isKernel, spot.path);
}

} // namespace samplefold_1
