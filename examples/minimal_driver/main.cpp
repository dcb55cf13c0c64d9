// The smallest whole driver: it makes up samples of two threads and folds them into a result.
//
//     minimal_driver RESULT_FOLDER
//
// A real driver reads its samples from somewhere; everything else is as here, and in this order.

#include <samplefold_1/loader_context.h>
#include <samplefold_1/thread_state.h>

#include <rowvault1/result.h>
#include <rowvault1/schema.h>

#include <array>
#include <cstdint>
#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using samplefold_1::Index;
using samplefold_1::pmu_sample_attribute_t;
using samplefold_1::ThreadInfo;
using tb2::variant_t;

/// Adds a row to a table that describes samples (processes, events, modules) and returns its key.
/// Samples, places in code and mappings are not written like this: they are the library's.
template <class... Columns>
Index addRow(rowvault1::IDatabase& db, const char* table, const Columns&... columns)
{
    const rowvault1::schema::table_t& schema = *rowvault1::schema::findTable(table);
    const rowvault1::OrphanRecord record = db.getAttributeTable(table)->createOrphanRecord();
    const auto set = [&](const std::pair<std::string_view, variant_t>& column) {
        record[rowvault1::schema::findColumn(schema, column.first)->position] = column.second;
    };
    (set(columns), ...);
    Index key;
    record.commit(key, 0, 0);
    return key;
}

using Column = std::pair<std::string_view, variant_t>;

Column key(std::string_view name, Index row)
{
    return {name, rowvault1::utils::indexToVariant(row)};
}

/// A module that is mapped in a process.
struct Mapping {
    std::uint64_t start;
    std::string path;
    Index instance; ///< row of dd_segment_instance
};

/// A load: options are set first, then the store, then the buckets. Call stacks are on: a sample
/// carries the callsite of its innermost frame, and the store knows the frames around it.
class MinimalContext : public samplefold_1::LoaderContext {
public:
    explicit MinimalContext(rowvault1::IResult& result)
    {
        m_linkCallsiteParents = true;
        m_instanceContainer = result.instanceContainer();
        m_sampleBandTable = result.sampleBandTable();
        m_rateBandField = m_sampleBandTable->customColumn("rate");
        m_nextAttrBandField = m_sampleBandTable->customColumn("next_attr");
        setDb(result.database());
        setResult(result.perfDatabase());
        initAttributeCaches(samplefold_1::attributeBuckets);
    }

    /// The callsite of a chain of addresses, the sampled one first. The library writes a row on
    /// every call, so that a driver asks once for each frame under its caller and remembers the
    /// answer.
    Index callsite(const std::vector<std::uint64_t>& chain, Index process, const Mapping& mapping)
    {
        Index caller;
        for (auto address = chain.rbegin(); address != chain.rend(); ++address) {
            const auto [known, isNew] = m_callsites.try_emplace({caller.value(), *address});
            if (isNew) {
                Index instance = mapping.instance; // -1 for an address that lies in no mapping
                known->second = createCallsiteInstance(
                    instance, 100, process, 0, *address, mapping.start, 0, mapping.path, caller,
                    *address == chain.front(), nullptr, samplefold_1::segment_type_t::file);
            }
            caller = known->second;
        }
        return caller;
    }

    /// Sorts what was added into its buckets, then writes it. Between the two nothing may be added.
    /// The buckets share nothing, so that a parallel loop may take them (oneTBB's parallel_for,
    /// say).
    void flush()
    {
        for (samplefold_1::PerThreadContext& bucket : m_threadContexts)
            sort(bucket);
        flushData();
    }

    std::vector<ThreadInfo*> threads; ///< all threads whose samples may be open

private:
    /// Finds each new attribute among what the bucket knows; lists what it does not know for
    /// writing; and points the attribute at where its row keys are kept. Its callsite's key stands
    /// in the bucket's own copy, which outlives the arrays.
    void sort(samplefold_1::PerThreadContext& bucket)
    {
        for (const std::uint64_t number : bucket.m_attributeNumbers) {
            pmu_sample_attribute_t& attr = m_sampleAttributes[number];
            const auto [known, isNew] = bucket.m_sampleAttributeKeys.try_emplace(attr, Index());
            auto& kept = const_cast<pmu_sample_attribute_t&>(known->first); // no part of the order
            kept.code_loc.callsite_key = &kept.callsite;
            if (isNew) bucket.m_sampleAttributesToAdd.push_back(&*known);
            attr.code_loc.callsite_key = &kept.callsite;
            attr.sample_key = &known->second;
        }
    }

    /// The end of every flush: empties the arrays, so that memory does not grow with the input. The
    /// newest sample of each thread is still open, and its attribute goes into the emptied array
    /// again.
    void repackAttributesForCurrentlyProcessedSamples() override
    {
        std::vector<std::vector<pmu_sample_attribute_t>> open(threads.size());
        for (std::size_t i = 0; i < threads.size(); ++i)
            threads[i]->getCopyOfLastSamples(open[i]);
        m_pmuData.reset();
        m_sampleAttributes.reset();
        for (std::size_t i = 0; i < threads.size(); ++i)
            threads[i]->setLastSamplesFromCopy(open[i]);
    }

    std::map<std::pair<std::int32_t, std::uint64_t>, Index> m_callsites; ///< by caller and address
};

void load(rowvault1::IResult& result)
{
    // 1. The context, and the rows that samples refer to.
    MinimalContext context(result);
    rowvault1::IDatabase& db = *result.database();
    const Index event = addRow(db, "dd_event_type", Column{"name", variant_t("cycles")});
    const Index cpu = addRow(db, "dd_cpu", Column{"number", variant_t(std::int32_t{0})});
    const Index process = addRow(db, "dd_process", Column{"pid", variant_t(std::int32_t{100})},
                                 Column{"name", variant_t("demo")});
    const Index module = addRow(db, "dd_module_file", Column{"name", variant_t("demo")});
    const Index segment = addRow(db, "dd_module_segment", key("module", module));

    // 2. Threads. An event slot each is enough for one event. They go before the context goes.
    std::array<Index, 2> rows;
    for (std::int32_t i = 0; i < 2; ++i)
        rows[i] =
            addRow(db, "dd_thread", key("process", process), Column{"tid", variant_t(100 + i)});
    ThreadInfo first(&context, rows[0], 1, true, rows[0]);
    ThreadInfo second(&context, rows[1], 1, true, rows[1]);
    context.threads = {&first, &second};

    // 3. Samples, flushed now and then. The mapping of the module begins at 0x400000 from tick 1
    // on.
    pmu_sample_attribute_t attr;
    attr.event_type = event;
    attr.cpu = cpu;
    const Mapping mapping{
        0x400000, "/opt/demo",
        context.addSegmentInstance(segment, 0x400000, process, variant_t(std::uint64_t{1}))};
    attr.seg_inst = mapping.instance;
    for (std::uint64_t tick = 1000; tick <= 1000000; tick += 1000) {
        attr.ip = 0x400000 + 0x10 * (tick / 1000 % 3); // three places, round and round
        attr.callsite = context.callsite({attr.ip, 0x401000, 0x402000}, process, mapping);
        for (ThreadInfo* const thread : context.threads)
            thread->addSample(tick, context.addpmuSampleAttribute(attr), 1000, 0, 1, false, 0, 1);
        if (tick % 100000 == 0) context.flush();
    }

    // 4. The end: everything is flushed, then the open samples are written.
    context.flush();
    for (ThreadInfo* const thread : context.threads)
        thread->finish(thread->lastTsc());
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: minimal_driver RESULT_FOLDER\n";
        return 2;
    }
    try {
        const auto result = rowvault1::openResult(argv[1], rowvault1::open_mode_t::create);
        load(*result);
        result->finish(); // from here on the result says that it is complete
        std::cout << result->instanceContainer()->size() << " sample rows in "
                  << result->databasePath() << '\n';
    } catch (const std::exception& error) {
        std::cerr << "minimal_driver: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
