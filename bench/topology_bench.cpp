// The platform's topology in a result, beside what the store and the expressions cost alone:
// - initEventsMapping for 8 packages of 5,000 events; its matches; the reading of its rows;
// - matching of hostile names from 1 KB to 1 MB, which must grow with their length and no faster;
// - loadIoTopology of 4,096 functions; writing of the same rows without the library.
#include "support/scratch_result.h"

#include <samplefold_1/pci_devices_mapping.h>
#include <samplefold_1/xlk_link_info.h>

#include <benchmark/benchmark.h>
#include <boost/regex.hpp>

namespace {

using namespace samplefold_1;
using samplefold_test::ScratchResult;
using tb2::variant_t;

constexpr int g_packages = 8;
constexpr int g_events = 5000;
constexpr int g_units = 12;
constexpr unsigned g_functions = 4096;

/// Events as a machine has them: most are of IO channels, some of units, mesh stops and memory.
std::vector<std::string> eventNames()
{
    std::vector<std::string> names;
    for (int i = 0; i < g_events; ++i) {
        const std::string end = "[UNIT" + std::to_string(i % g_units) + "]";
        const std::string part = std::to_string(i / g_units % 8);
        switch (i % 8) {
        case 5:
            names.push_back("UNC_I_FAF_INSERTS" + end);
            break;
        case 6:
            names.push_back("UNC_CHA_TOR_INSERTS.IO_MISS:tid=0x" + part + end);
            break;
        case 7:
            names.push_back("UNC_M_CAS_COUNT.RD" + end);
            break;
        default:
            names.push_back("UNC_IIO_DATA_REQ_OF_CPU.MEM_READ.PART" + part + end);
        }
    }
    return names;
}

void addEventsAndPackages(const ScratchResult& result)
{
    for (int i = 0; i < g_packages; ++i)
        result.addNamed("dd_package", "package_" + std::to_string(i));
    for (const std::string& name : eventNames())
        result.addNamed("dd_uncore_event_type", name);
}

/// All places are in the tables already, so that the phase reads only.
void initEventsMapping(benchmark::State& state)
{
    const ScratchResult result;
    addEventsAndPackages(result);
    PciDevicesMapping().initEventsMapping(result.db(), 0);
    for (auto _ : state)
        PciDevicesMapping().initEventsMapping(result.db(), 0);
    state.counters["pairs"] = g_packages * g_events;
}
BENCHMARK(initEventsMapping)->Unit(benchmark::kMillisecond);

/// No place is there yet: the phase makes them all.
void initEventsMappingOfUnknownPlaces(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        {
            const ScratchResult result;
            addEventsAndPackages(result);
            benchmark::DoNotOptimize(result.count("dd_uncore_event_type"));
            state.ResumeTiming();
            PciDevicesMapping().initEventsMapping(result.db(), 0);
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
}
BENCHMARK(initEventsMappingOfUnknownPlaces)->Unit(benchmark::kMillisecond)->Iterations(3);

void matchesAlone(benchmark::State& state)
{
    const std::vector<std::string> names = eventNames();
    for (auto _ : state) {
        for (int package = 0; package < g_packages; ++package) {
            for (const std::string& name : names) {
                boost::cmatch groups;
                benchmark::DoNotOptimize(boost::regex_match(name.data(), name.data() + name.size(),
                                                            groups,
                                                            PciDevicesMapping::m_pciEventPattern));
            }
        }
    }
}
BENCHMARK(matchesAlone)->Unit(benchmark::kMillisecond);

void eventRowsAlone(benchmark::State& state)
{
    const ScratchResult result;
    addEventsAndPackages(result);
    const auto table = result.table("dd_uncore_event_type");
    for (auto _ : state) {
        for (int package = 0; package < g_packages; ++package) {
            for (const auto keys = table->enumerateRows(); !keys->atEnd(); keys->next()) {
                const rowvault1::ConstRecord row(table->getRecord(keys->current()));
                benchmark::DoNotOptimize(rowvault1::utils::variantToString(row[0]));
            }
        }
    }
}
BENCHMARK(eventRowsAlone)->Unit(benchmark::kMillisecond);

std::string repeated(const std::string& piece, std::size_t size)
{
    std::string text;
    while (text.size() < size)
        text += piece;
    return text;
}

/// Names that offer many ways to be split, or go wrong only at their end.
std::string hostileName(std::size_t kind, std::size_t size)
{
    const std::string end = "[UNIT3]";
    switch (kind) {
    case 0:
        return repeated("A_", size);
    case 1:
        return repeated("_", size) + end + "x";
    case 2:
        return repeated("A", size) + end;
    case 3:
        return "A_" + repeated("A", size) + end;
    case 4:
        return "UNC_IIO_" + repeated("PART1", size) + end;
    case 5:
        return "UNC_IIO_" + repeated("PART1:tid=0x1[UNIT2]", size) + end;
    case 6:
        return "UNC_IIO_X.PART" + repeated("1", size) + end;
    case 7:
        return "UNC_IIO_X.PART" + repeated("1", size) + "x" + end;
    case 8:
        return "UNC_IIO_X[UNIT" + repeated("1", size) + "]";
    default:
        return "UNC_CHA_X:tid=0x" + repeated("f", size) + "x" + end;
    }
}

void hostileEventName(benchmark::State& state)
{
    const auto size = static_cast<std::size_t>(state.range(1));
    const ScratchResult result;
    const Index key = result.addNamed("dd_uncore_event_type",
                                      hostileName(static_cast<std::size_t>(state.range(0)), size));
    PciDevicesMapping mapping;
    mapping.initEventsMapping(result.db(), 0);
    for (auto _ : state) {
        int unit = -1;
        int channel = -1;
        int tid = -1;
        mapping.getIoAttrsForUncoreEvent(key, unit, channel, tid);
        benchmark::DoNotOptimize(unit + channel + tid);
    }
    state.SetComplexityN(state.range(1));
}

void hostileLinkName(benchmark::State& state)
{
    const auto size = static_cast<std::size_t>(state.range(1));
    const ScratchResult result;
    result.addNamed("dd_package", repeated("_1", size));
    result.addNamed("dd_uncore_event_type",
                    hostileName(static_cast<std::size_t>(state.range(0)), size));
    for (auto _ : state)
        XlkLinkInfo().init(result.db());
    state.SetComplexityN(state.range(1));
}

void registerHostileNames()
{
    using bench_t = void (*)(benchmark::State&);
    const std::pair<const char*, bench_t> benches[] = {{"hostileEventName", hostileEventName},
                                                       {"hostileLinkName", hostileLinkName}};
    for (const auto& [name, bench] : benches) {
        for (int kind = 0; kind < 10; ++kind) {
            auto* const one = benchmark::RegisterBenchmark(
                (std::string(name) + "/kind" + std::to_string(kind)).c_str(), bench);
            for (int size = 1 << 10; size <= 1 << 20; size <<= 2)
                one->Args({kind, size});
            one->Unit(benchmark::kMicrosecond)->MinTime(0.02)->Complexity(benchmark::oN);
        }
    }
}

void addFunctions(PciDevicesMapping& mapping)
{
    for (unsigned i = 0; i < g_functions; ++i) {
        const auto bus = static_cast<unsigned short>(i / 16);
        const Index package(1 + static_cast<int>(bus) / 32);
        const int place = bus % 32;
        const bool bridge = i % 16 == 0;
        mapping.addPciDeviceInfo(
            bridge ? "PCI Express root port" : "Network adapter " + std::to_string(bus % 9),
            package, place / 4, place % 4, bridge ? "PCI bridge" : "Ethernet controller", 0, bus,
            static_cast<unsigned short>(i % 16 / 8), static_cast<unsigned short>(i % 8),
            bridge ? 6 : 2, 1, 2, 16, "16 GT/s", 8, "8 GT/s", "slot");
    }
    for (int unit = 0; unit < 64; ++unit)
        mapping.addIoUnitToTidMapping(Index(1 + unit / 8), unit % 8, unit);
}

void loadTopology(const ScratchResult& result)
{
    PciDevicesMapping mapping;
    mapping.initIoTopologyLoading(result.db());
    addFunctions(mapping);
    mapping.loadIoTopology();
    // The rows that wait for the writer are part of the work.
    benchmark::DoNotOptimize(result.count("dd_pci_device_info"));
}

template <class Work>
void onFreshResults(benchmark::State& state, const Work& work)
{
    for (auto _ : state) {
        state.PauseTiming();
        {
            const ScratchResult result;
            state.ResumeTiming();
            work(result);
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
}

void topologyLoad(benchmark::State& state)
{
    onFreshResults(state, loadTopology);
}
BENCHMARK(topologyLoad)->Unit(benchmark::kMillisecond)->Iterations(10);

struct table_rows_t {
    const char* table;
    std::uint16_t columns;
    int changed; ///< column that is written after the row; -1 for none
    std::vector<std::vector<variant_t>> rows{};
};

/// Writes the rows as the library does: the changed column of each row in a second step.
void writeRows(const ScratchResult& result, const std::vector<table_rows_t>& tables)
{
    for (const table_rows_t& one : tables) {
        const auto table = result.table(one.table);
        for (const auto& values : one.rows) {
            const rowvault1::OrphanRecord row = table->createOrphanRecord();
            for (std::uint16_t column = 0; column < one.columns; ++column) {
                if (column != one.changed && !values[column].is_null())
                    row[column] = values[column];
            }
            Index key;
            row.commit(key, 0, 0);
        }
    }
    for (const table_rows_t& one : tables) {
        if (one.changed < 0) continue;
        const auto column = static_cast<std::uint16_t>(one.changed);
        const auto table = result.table(one.table);
        for (std::size_t i = 0; i < one.rows.size(); ++i) {
            const rowvault1::StoredRecord row(
                table->getRecord(Index(static_cast<std::int32_t>(i) + 1)));
            row[column] = one.rows[i][column];
        }
    }
    benchmark::DoNotOptimize(result.count("dd_pci_device_info"));
}

void topologyRowsAlone(benchmark::State& state)
{
    const ScratchResult loaded;
    loadTopology(loaded);
    std::vector<table_rows_t> tables{
        {"dd_pci_device_info", 15, -1},  {"dd_pci_device_class", 2, -1},
        {"dd_io_traffic_source", 4, -1}, {"dd_io_channel_info", 5, -1},
        {"dd_io_unit_info", 4, 3},       {"dd_mesh_stop", 3, 2}};
    double rows = 0;
    for (table_rows_t& one : tables) {
        const auto table = loaded.table(one.table);
        for (const auto keys = table->enumerateRows(); !keys->atEnd(); keys->next()) {
            const rowvault1::ConstRecord record(table->getRecord(keys->current()));
            auto& values = one.rows.emplace_back();
            for (std::uint16_t column = 0; column < one.columns; ++column)
                values.push_back(record[column]);
            ++rows;
        }
    }
    onFreshResults(state, [&](const ScratchResult& result) { writeRows(result, tables); });
    state.counters["rows"] = rows;
}
BENCHMARK(topologyRowsAlone)->Unit(benchmark::kMillisecond)->Iterations(10);

} // namespace

int main(int argc, char** argv)
{
    registerHostileNames();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
