#include "support/assertion_recorder.h"
#include "support/test_context.h"

#include <gtest/gtest.h>
#include <rowvault1/result.h>

#include <filesystem>
#include <map>
#include <set>
#include <unistd.h>

// The library over the store that results are kept in: what one load has written, a later one uses
// again.
namespace samplefold_test {
namespace {

using rowvault1::Index;
using rowvault1::open_mode_t;
using samplefold_1::pmu_sample_attribute_t;

constexpr int g_kinds = 300;
constexpr int g_samples = 4000;

/// One dd_sample row by its values, with the code location instead of its key.
using sample_row_t = std::vector<std::int64_t>;

class RealStore : public testing::TestWithParam<bool> {
protected:
    RealStore()
        : m_folder(std::filesystem::temp_directory_path() /
                   ("thread_state_" + std::to_string(::getpid()) + (GetParam() ? "_on" : "_off")))
    {
        std::filesystem::remove_all(m_folder);
    }
    ~RealStore() override
    {
        std::filesystem::remove_all(m_folder);
        EXPECT_TRUE(assertions.take().empty());
    }

    std::string folder(const char* name) const { return (m_folder / name).string(); }

    static std::uint64_t ipOf(int kind)
    {
        // Every third address is one of the kernel's, with its top bit set.
        return static_cast<std::uint64_t>(kind) * 16 +
               (kind % 3 == 0 ? 0xFFFFFFFF81000000 : 0x400000);
    }
    static pmu_sample_attribute_t attributeOf(int kind)
    {
        pmu_sample_attribute_t attr;
        attr.event_type = Index(kind % 4 + 1);
        attr.cpu = kind % 5 == 0 ? Index() : Index(kind % 5);
        attr.cpu_mode = Index(kind % 3 + 1);
        attr.seg_inst = Index(kind % 7 + 1);
        attr.ip = ipOf(kind);
        if (GetParam()) {
            attr.callsite = kind % 10 == 0 ? Index() : Index(kind * 3);
        } else {
            attr.code_loc.mod_seg = kind % 6 == 0 ? Index() : Index(kind % 6);
            attr.code_loc.rva = ipOf(kind) - ipOf(kind) % 64; // several kinds share a location
        }
        return attr;
    }
    /// Which kind the sample of that number has; later samples bring kinds that the first ones do
    /// not have.
    static int kindOf(int number)
    {
        return number * 7919 % (number < g_samples / 2 ? 200 : g_kinds);
    }

    /// Loads the samples first to end - 1, in batches; the count of each tells its kind.
    void load(const std::string& into, open_mode_t mode, int first, int end)
    {
        const auto result = rowvault1::openResult(into, mode);
        TestContext context;
        context.m_linkCallsiteParents = GetParam();
        context.m_instanceContainer = result->instanceContainer();
        context.m_sampleBandTable = result->sampleBandTable();
        context.emptying = true;
        context.setDb(result->database());
        context.setResult(result->perfDatabase());
        context.initAttributeCaches(256);
        samplefold_1::ThreadInfo thread(&context, Index(1), 1, true, Index(1));
        context.threads = {&thread};
        for (int i = first; i < end; ++i) {
            auto* const attr = context.addpmuSampleAttribute(attributeOf(kindOf(i)));
            thread.addSample(static_cast<std::uint64_t>(1000 + i), attr, kindOf(i) + 1, 0, 0, false,
                             0, 1);
            if (i % 700 == 699) flush(context);
        }
        flush(context);
        thread.finish(1);
        result->finish();
    }
    static void flush(TestContext& context)
    {
        context.bucketPass();
        context.flushData();
    }

    /// All dd_sample rows by their keys.
    static std::map<std::int32_t, sample_row_t> sampleRows(rowvault1::IResult& result)
    {
        const auto query = result.database()->createQuery("dd_sample", 2);
        std::vector<const char*> names{"event_type", "cpu", "cpu_mode", "seg_inst", "ip"};
        if (GetParam()) {
            names.push_back("callsite");
        } else {
            names.insert(names.end(), {"callsite.code_loc.rva", "callsite.code_loc.mod_seg"});
        }
        const std::uint16_t key = query->addColumn("rowid");
        std::vector<std::uint16_t> columns;
        for (const char* name : names)
            columns.push_back(query->addColumn(name));
        std::map<std::int32_t, sample_row_t> rows;
        for (const auto set = query->execute(); !set->atEnd(); set->next()) {
            sample_row_t& row =
                rows[rowvault1::utils::variantToIndex(set->current()->get(key)).value()];
            for (const std::uint16_t column : columns) {
                const tb2::variant_t& value = set->current()->get(column);
                row.push_back(value.is_null() ? -1
                                              : static_cast<std::int64_t>(value.integer_bits()));
            }
        }
        return rows;
    }
    static sample_row_t expectedRow(int kind)
    {
        const pmu_sample_attribute_t attr = attributeOf(kind);
        sample_row_t row{attr.event_type.value(), attr.cpu.value(), attr.cpu_mode.value(),
                         attr.seg_inst.value(), static_cast<std::int64_t>(attr.ip)};
        if (GetParam()) {
            row.push_back(attr.callsite.value());
        } else {
            row.push_back(static_cast<std::int64_t>(attr.code_loc.rva));
            row.push_back(attr.code_loc.mod_seg.value());
        }
        return row;
    }

    /// Checks that the rows are those of the first `kinds` kinds, each once.
    static void expectKinds(const std::map<std::int32_t, sample_row_t>& rows, int kinds)
    {
        std::multiset<sample_row_t> found;
        for (const auto& [key, row] : rows)
            found.insert(row);
        std::multiset<sample_row_t> expected;
        for (int kind = 0; kind < kinds; ++kind)
            expected.insert(expectedRow(kind));
        EXPECT_EQ(expected, found);
    }

    AssertionRecorder assertions;

private:
    std::filesystem::path m_folder;
};

INSTANTIATE_TEST_SUITE_P(StacksOffAndOn, RealStore, testing::Bool(),
                         [](const auto& one) { return one.param ? "StacksOn" : "StacksOff"; });

/// Tells of every instance row whose dd_sample row is not that of the kind in its count.
class KindReader final : public rowvault1::IInstanceReader {
public:
    KindReader(const std::map<std::int32_t, sample_row_t>& samples, sample_row_t (*expected)(int))
        : m_samples(samples), m_expected(expected)
    {
    }
    bool onInstance(const rowvault1::instance_row_t& row) override
    {
        const int kind = static_cast<int>(row.integers[1].value_or(0)) - 1;
        const auto sample = m_samples.find(row.keys[0].value_or(-1));
        if (sample == m_samples.end() || sample->second != m_expected(kind)) ++wrong;
        ticks.insert(row.timestamp);
        return true;
    }

    int wrong = 0;
    std::multiset<std::uint64_t> ticks;

private:
    const std::map<std::int32_t, sample_row_t>& m_samples;
    sample_row_t (*m_expected)(int);
};

TEST_P(RealStore, LoadingInTwoHalvesGivesTheSameDistinctRowsAsLoadingAtOnce)
{
    load(folder("once"), open_mode_t::create, 0, g_samples);
    load(folder("halves"), open_mode_t::create, 0, g_samples / 2);
    std::map<std::int32_t, sample_row_t> afterFirst;
    {
        const auto result = rowvault1::openResult(folder("halves"), open_mode_t::read_only);
        afterFirst = sampleRows(*result);
        expectKinds(afterFirst, 200);
    }
    load(folder("halves"), open_mode_t::append, g_samples / 2, g_samples);

    const auto once = rowvault1::openResult(folder("once"), open_mode_t::read_only);
    const auto halves = rowvault1::openResult(folder("halves"), open_mode_t::read_only);
    const auto rows = sampleRows(*halves);
    expectKinds(sampleRows(*once), g_kinds);
    expectKinds(rows, g_kinds);
    for (const auto& [key, row] : afterFirst) {
        EXPECT_EQ(row, rows.at(key)) << "row " << key << " of the first half keeps its key";
    }
    for (const char* table : {"dd_callsite", "dd_code_location"}) {
        EXPECT_EQ(once->database()->getAttributeTable(table)->size(),
                  halves->database()->getAttributeTable(table)->size())
            << table;
    }
    KindReader reader(rows, &RealStore::expectedRow);
    halves->instanceContainer()->read(0, ~std::uint64_t{0}, reader);
    EXPECT_EQ(0, reader.wrong) << "rows of both halves refer to the row of their attribute";
    std::multiset<std::uint64_t> ticks;
    for (std::uint64_t i = 0; i < g_samples; ++i)
        ticks.insert(1000 + i);
    EXPECT_EQ(ticks, reader.ticks) << "each sample is one row";
}

} // namespace
} // namespace samplefold_test
