#include <samplefold_1/loader_context.h>

#include <toolbelt2/path.h>

// Generated code: who knows it, and the rows that make its frames look like any other frame.
namespace samplefold_1 {
namespace {

using rowvault1::utils::indexToVariant;
using tb2::variant_t;

namespace jit_file_column {
constexpr std::uint16_t name = 0, path = 1, jitKind = 4;
}
namespace module_file_column {
constexpr std::uint16_t name = 0, path = 1, jitKind = 6, attributes = 12;
}
namespace module_attributes_column {
constexpr std::uint16_t hasClass = 1, resolvable = 2;
}
namespace module_segment_column {
constexpr std::uint16_t module = 0, kind = 1, offset = 2, size = 3, protection = 4, jitFile = 5;
}

constexpr std::int32_t g_generatedSegment = 3;

/// Kind of a generated module as the result store numbers it.
std::int32_t jitKindOf(std::int32_t moduleKind)
{
    switch (moduleKind) {
    case 0:
        return 1;
    case 1:
        return 2;
    case 2:
        return 3;
    case 3:
        return 4;
    case 5:
        return 12;
    default:
        return -1;
    }
}

} // namespace

void LoaderContext::createJitLoader(std::uint32_t pid)
{
    if (pid == 0) return;
    if (m_jitSession == nullptr) {
        const JitPathOptionParser directories(m_jitOptions);
        m_jitSession = jitlens_3_13::IJitLoader::create(tb2::generic_iterator_t<const char*>(
            directories.cStrings.data(), directories.cStrings.size()));
    }
    {
        decltype(m_jitLoaders)::accessor entry;
        m_jitLoaders.insert(entry, pid);
        entry->second = m_jitSession;
    }
    if (m_jitStatus == 0) m_jitSession->attach(m_jitDataPath.c_str(), &m_jitStatus);
}

boost::intrusive_ptr<jitlens_3_13::IJitLoader> LoaderContext::getJitLoader(std::uint32_t pid) const
{
    if (pid == 0) return nullptr;
    decltype(m_jitLoaders)::const_accessor entry;
    return m_jitLoaders.find(entry, pid) ? entry->second : nullptr;
}

std::uint32_t LoaderContext::resolveAddrAsJit(std::uint64_t ip, std::uint64_t jitTime,
                                              std::uint32_t pid, std::uint64_t* rva) const
{
    if (!m_jitEnabled) return jitlens_3_13::code::noCode;
    const jit_loader_t loader = getJitLoader(pid);
    if (loader == nullptr || jitTime == 0) return jitlens_3_13::code::noCode;
    std::uint64_t relative = 0;
    boost::intrusive_ptr<jitlens_3_13::IModule> module;
    const std::uint32_t code = loader->resolve(jitTime, ip, pid, m_jitStatus, relative, module);
    if (rva != nullptr) *rva = relative;
    return code;
}

Index LoaderContext::jitFileKey(std::int32_t jitKind)
{
    decltype(m_jitFileKeys)::accessor entry;
    const bool isNew = m_jitFileKeys.insert(entry, std::string());
    Index& jitFileKey = entry->second;
    if (!isNew) {
        PORTA_ASSERT_TEXT(jitFileKey.exist(), "jitFileKey.exist()");
        return jitFileKey;
    }
    const rowvault1::OrphanRecord record = m_ddJitFileTable->createOrphanRecord();
    record[jit_file_column::name] = variant_t("");
    record[jit_file_column::path] = variant_t("");
    record[jit_file_column::jitKind] = variant_t(jitKind);
    record.commit(jitFileKey, 0, 0);
    return jitFileKey;
}

Index LoaderContext::addJitModuleAttributes(const jitlens_3_13::IModule& module) const
{
    const attribute_table_t table = m_db->getAttributeTable("dd_module_file_attributes");
    const rowvault1::OrphanRecord row =
        table ? table->createOrphanRecord() : rowvault1::OrphanRecord();
    PORTA_ASSERT_TEXT(!row.isNull(), "!row.isNull()");
    row[module_attributes_column::hasClass] =
        variant_t(std::int32_t{module.classValue() == 0 ? 0 : 1});
    row[module_attributes_column::resolvable] = variant_t(std::int32_t{1});
    Index key;
    row.commit(key, 0, 0);
    return key;
}

Index LoaderContext::addJitModuleFile(const jitlens_3_13::IModule& module,
                                      std::int32_t jitKind) const
{
    const rowvault1::OrphanRecord record = m_ddModuleFileTable->createOrphanRecord();
    record[module_file_column::name] = variant_t(tb2::path_t(module.name()).leaf());
    record[module_file_column::path] = variant_t(module.name());
    record[module_file_column::jitKind] = variant_t(jitKind);
    record[module_file_column::attributes] = indexToVariant(addJitModuleAttributes(module));
    Index key;
    record.commit(key, 0, 0);
    return key;
}

Index LoaderContext::getJitSegmentInstance(
    Index process, const boost::intrusive_ptr<jitlens_3_13::IModule>& module)
{
    const std::int32_t jitKind = jitKindOf(module->kind());
    const Index jitFile = jitFileKey(jitKind);

    // Held to the end, so that threads on one module come one after the other.
    decltype(m_jitModuleFileKeys)::accessor entry;
    const bool isNew = m_jitModuleFileKeys.insert(entry, std::string(module->name()));
    Index& modFileKey = entry->second;
    if (isNew)
        modFileKey = addJitModuleFile(*module, jitKind);
    else
        PORTA_ASSERT_TEXT(modFileKey.exist(), "modFileKey.exist()");

    const variant_t none(std::int32_t{0});
    const rowvault1::OrphanRecord record = m_moduleSegmentTable->createOrphanRecord();
    record[module_segment_column::module] = indexToVariant(modFileKey);
    record[module_segment_column::kind] = variant_t(g_generatedSegment);
    record[module_segment_column::offset] = none;
    record[module_segment_column::size] = none;
    record[module_segment_column::protection] = none;
    record[module_segment_column::jitFile] = indexToVariant(jitFile);
    Index segment;
    record.commit(segment, 0, 0);
    return addSegmentInstance(segment, 0, process, variant_t());
}

} // namespace samplefold_1
