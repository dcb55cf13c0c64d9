#include "made_result.h"

#include <rowvault1/schema.h>

#include <cstdlib>
#include <filesystem>

namespace samplefold::report::testing {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;

namespace {

std::string makeFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "sf_report_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    return name;
}

/// Position of a column among those of its kind in the instance container, by the order of the
/// schema.
enum InstanceKey : std::uint16_t {
    sampleKey = 0,
    callsiteKey = 1,
    eventKey = 2,
    cpuKey = 3,
    threadKey = 4
};
constexpr std::uint16_t g_countColumn = 1;
constexpr std::uint16_t g_startColumn = 2;

} // namespace

MadeResultTest::MadeResultTest()
    : m_folder(makeFolder()),
      m_result(rowvault1::openResult(m_folder + "/r", rowvault1::open_mode_t::create))
{
}

MadeResultTest::~MadeResultTest()
{
    m_result = {};
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

Index MadeResultTest::add(const char* table, const Columns& columns)
{
    const rowvault1::schema::table_t& schema = *rowvault1::schema::findTable(table);
    const rowvault1::OrphanRecord record =
        m_result->database()->getAttributeTable(table)->createOrphanRecord();
    for (const auto& [name, value] : columns)
        record[rowvault1::schema::findColumn(schema, name)->position] = value;
    Index key;
    record.commit(key, 0, 0);
    m_result->drain();
    return key;
}

void MadeResultTest::add(const MadeSample& sample)
{
    const auto record = m_result->instanceContainer()->createOrphanInstanceRecord();
    record->setKey(sampleKey, sample.place.value());
    record->setKey(callsiteKey, sample.callsite.value());
    record->setKey(eventKey, sample.event.value());
    record->setKey(cpuKey, sample.cpu.value());
    record->setKey(threadKey, sample.thread.value());
    record->setInteger(g_countColumn, static_cast<std::uint64_t>(sample.count));
    if (sample.start != 0) record->setInteger(g_startColumn, sample.start);
    m_tick = sample.tick != 0 ? sample.tick : m_tick + 1;
    ASSERT_TRUE(record->insert(m_tick));
    m_result->drain();
}

Index MadeResultTest::addPlace(std::string_view path, std::uint64_t rva)
{
    Index segment;
    if (!path.empty()) {
        const std::string_view leaf = path.substr(path.rfind('/') + 1);
        const Index module = add("dd_module_file", {{"path", text(path)}, {"name", text(leaf)}});
        segment = add("dd_module_segment", {{"module", indexToVariant(module)}});
    }
    const Index location = add(
        "dd_code_location", {{"rva", tb2::variant_t(rva)}, {"mod_seg", number(segment.value())}});
    const Index callsite = add("dd_callsite", {{"code_loc", indexToVariant(location)}});
    return add("dd_sample", {{"callsite", indexToVariant(callsite)}});
}

Index MadeResultTest::addThread(std::int32_t pid, std::int32_t tid, std::string_view name)
{
    const Index process = add("dd_process", {{"pid", number(pid)}, {"name", text(name)}});
    return add("dd_thread",
               {{"process", indexToVariant(process)}, {"tid", number(tid)}, {"name", text(name)}});
}

} // namespace samplefold::report::testing
