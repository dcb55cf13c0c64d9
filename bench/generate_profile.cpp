// Writes a perf.data file of any size for benchmarks: system-wide samples of several threads on
// several CPUs over two modules, in the layout that `perf record -a` gives, records of a CPU in
// runs, rounds marked. With --depth samples carry call chains, as with -g; the number of distinct
// paths in them (chains and what is left of them from some frame outwards) is printed.

#include <CLI/CLI.hpp>
#include <linux/perf_event.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

struct Settings {
    std::string output;
    std::uint64_t samples = 1'000'000;
    std::uint32_t addresses = 20'000;
    std::uint32_t processes = 2;
    std::uint32_t threads = 8; ///< of all processes
    std::uint32_t cpus = 2;
    std::uint32_t depth = 1; ///< frames of a sample; 1 leaves out chains
};

constexpr std::uint64_t g_sampleType = PERF_SAMPLE_IP | PERF_SAMPLE_TID | PERF_SAMPLE_TIME |
                                       PERF_SAMPLE_ID | PERF_SAMPLE_CPU | PERF_SAMPLE_PERIOD;
constexpr std::uint64_t g_eventId = 7;
constexpr std::uint64_t g_period = 1'000'000;
constexpr std::uint64_t g_firstTime = 1'000'000'000;
constexpr std::uint64_t g_tick = 1000;          // ns between samples of the whole machine
constexpr std::uint64_t g_runLength = 64;       // samples of one CPU in a row
constexpr std::uint64_t g_roundLength = 65'536; // samples between two round marks
constexpr std::uint32_t g_finishedRound = 68;
constexpr std::uint32_t g_firstPid = 1000;
constexpr std::uint64_t g_moduleBytes = std::uint64_t{16} << 20;
constexpr std::uint64_t g_programStart = 0x555555554000;
constexpr std::uint64_t g_libraryStart = 0x7ffff7000000;
constexpr std::uint64_t g_callersStart = g_programStart + (std::uint64_t{4} << 20);
constexpr std::uint64_t g_levelBytes = std::uint64_t{1} << 18; ///< of the callers of one level
constexpr std::uint32_t g_mostDepth = 48;
constexpr std::uint64_t g_userContext = static_cast<std::uint64_t>(PERF_CONTEXT_USER);

class Writer {
public:
    explicit Writer(const std::string& path) : m_file(std::fopen(path.c_str(), "wb"), &std::fclose)
    {
        if (!m_file) throw std::runtime_error("cannot write " + path);
        std::setvbuf(m_file.get(), nullptr, _IOFBF, std::size_t{1} << 20);
    }

    template <class T>
    void put(const T& value)
    {
        putBytes(&value, sizeof value);
    }
    void putBytes(const void* bytes, std::size_t size)
    {
        if (std::fwrite(bytes, 1, size, m_file.get()) != size)
            throw std::runtime_error("write failed");
        m_offset += size;
    }
    /// Text, NUL and zeros up to a multiple of eight.
    void putText(const std::string& text)
    {
        std::vector<char> padded((text.size() / 8 + 1) * 8, '\0');
        std::memcpy(padded.data(), text.data(), text.size());
        putBytes(padded.data(), padded.size());
    }
    static std::size_t textBytes(const std::string& text) { return (text.size() / 8 + 1) * 8; }
    void seek(std::uint64_t offset)
    {
        std::fseek(m_file.get(), static_cast<long>(offset), SEEK_SET);
    }
    std::uint64_t offset() const { return m_offset; }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_file;
    std::uint64_t m_offset = 0;
};

struct Section {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

struct FileHeader {
    char magic[8] = {'P', 'E', 'R', 'F', 'I', 'L', 'E', '2'};
    std::uint64_t size = sizeof(FileHeader);
    std::uint64_t attrSize = sizeof(perf_event_attr) + sizeof(Section);
    Section attrs;
    Section data;
    Section eventTypes;
    std::uint64_t features[4] = {};
};

perf_event_attr attribute(bool withChains)
{
    perf_event_attr attr{};
    attr.type = PERF_TYPE_HARDWARE;
    attr.size = sizeof attr;
    attr.config = PERF_COUNT_HW_CPU_CYCLES;
    attr.sample_period = g_period;
    attr.sample_type = g_sampleType | (withChains ? PERF_SAMPLE_CALLCHAIN : 0);
    attr.read_format = PERF_FORMAT_ID;
    attr.mmap = 1;
    attr.comm = 1;
    attr.task = 1;
    attr.mmap2 = 1;
    attr.comm_exec = 1;
    attr.sample_id_all = 1;
    return attr;
}

void putHead(Writer& out, std::uint32_t type, std::uint16_t misc, std::size_t size)
{
    out.put(perf_event_header{type, misc, static_cast<std::uint16_t>(size)});
}

struct Trailer {
    std::uint32_t pid, tid;
    std::uint64_t time, id;
    std::uint32_t cpu, reserved;
};

void putMapping(Writer& out, std::uint32_t pid, std::uint64_t start, const std::string& path)
{
    struct Body {
        std::uint32_t pid, tid;
        std::uint64_t start, length, pageOffset;
        std::uint32_t major, minor;
        std::uint64_t inode, generation;
        std::uint32_t protection, flags;
    };
    const std::size_t size =
        sizeof(perf_event_header) + sizeof(Body) + Writer::textBytes(path) + sizeof(Trailer);
    putHead(out, PERF_RECORD_MMAP2, PERF_RECORD_MISC_USER, size);
    out.put(Body{pid, pid, start, g_moduleBytes, 0, 8, 1, 42, 0, 5, 2});
    out.putText(path);
    out.put(Trailer{pid, pid, 0, g_eventId, 0, 0});
}

void putComm(Writer& out, std::uint32_t pid, std::uint32_t tid)
{
    const std::string name = "worker-" + std::to_string(tid);
    putHead(out, PERF_RECORD_COMM, 0,
            sizeof(perf_event_header) + 8 + Writer::textBytes(name) + sizeof(Trailer));
    out.put(pid);
    out.put(tid);
    out.putText(name);
    out.put(Trailer{pid, tid, 0, g_eventId, 0, 0});
}

/// Addresses fall with a long tail, as in real programs: low numbers are hot.
class Addresses {
public:
    explicit Addresses(std::uint32_t count) : m_count(count) {}

    std::uint64_t nextNumber(std::mt19937_64& random)
    {
        const double u = std::uniform_real_distribution<double>(0, 1)(random);
        return static_cast<std::uint64_t>(u * u * m_count);
    }
    static std::uint64_t address(std::uint64_t number)
    {
        const std::uint64_t base = number % 3 == 0 ? g_libraryStart : g_programStart;
        return base + number * 16 + 64;
    }

private:
    double m_count;
};

struct SampleBody {
    std::uint64_t ip;
    std::uint32_t pid, tid;
    std::uint64_t time, id;
    std::uint32_t cpu, reserved;
    std::uint64_t period;
};

/// Chains in which two callees share a caller, level by level.
class Chains {
public:
    explicit Chains(std::uint32_t depth) : m_depth(depth), m_seen(depth) {}

    std::size_t bytes() const { return m_depth > 1 ? (m_depth + 2) * sizeof(std::uint64_t) : 0; }
    void put(Writer& out, std::uint64_t number, std::uint64_t ip)
    {
        if (m_depth < 2) return;
        out.put(std::uint64_t{m_depth} + 1);
        out.put(g_userContext);
        out.put(ip);
        for (std::uint32_t level = 1; level < m_depth; ++level)
            out.put(g_callersStart + level * g_levelBytes + (number >> level) * 16);
        for (std::uint32_t level = 0; level < m_depth; ++level)
            m_seen[level].insert(number >> level);
    }
    std::size_t distinctPaths() const
    {
        std::size_t paths = 0;
        for (const auto& level : m_seen)
            paths += level.size();
        return paths;
    }

private:
    std::uint32_t m_depth;
    std::vector<std::unordered_set<std::uint64_t>> m_seen; ///< callers by level
};

/// Runs of the CPUs stand one after the other, so times jump back and forth within a round.
void putSamples(Writer& out, const Settings& settings)
{
    std::mt19937_64 random(42);
    Addresses addresses(settings.addresses);
    Chains chains(settings.depth);
    const std::uint64_t stride = g_runLength * settings.cpus;
    for (std::uint64_t i = 0; i < settings.samples; ++i) {
        if (i % g_roundLength == 0 && i != 0)
            putHead(out, g_finishedRound, 0, sizeof(perf_event_header));
        const auto cpu = static_cast<std::uint32_t>(i / g_runLength % settings.cpus);
        const std::uint64_t position = i / stride * stride + i % g_runLength * settings.cpus + cpu;
        const auto thread = static_cast<std::uint32_t>(random() % settings.threads);
        const std::uint32_t pid = g_firstPid + thread % settings.processes;
        const std::uint32_t tid = g_firstPid + thread;
        putHead(out, PERF_RECORD_SAMPLE, PERF_RECORD_MISC_USER,
                sizeof(perf_event_header) + sizeof(SampleBody) + chains.bytes());
        const std::uint64_t number = addresses.nextNumber(random);
        const std::uint64_t ip = Addresses::address(number);
        out.put(
            SampleBody{ip, pid, tid, g_firstTime + position * g_tick, g_eventId, cpu, 0, g_period});
        chains.put(out, number, ip);
    }
    putHead(out, g_finishedRound, 0, sizeof(perf_event_header));
    if (settings.depth > 1) std::cout << chains.distinctPaths() << " distinct paths\n";
}

void generate(const Settings& settings)
{
    Writer out(settings.output);
    FileHeader header;
    out.put(header);
    const Section ids{out.offset(), sizeof g_eventId};
    out.put(g_eventId);
    header.attrs = {out.offset(), sizeof(perf_event_attr) + sizeof(Section)};
    out.put(attribute(settings.depth > 1));
    out.put(ids);
    header.data.offset = out.offset();
    for (std::uint32_t i = 0; i < settings.threads; ++i) {
        putComm(out, g_firstPid + i % settings.processes, g_firstPid + i);
    }
    for (std::uint32_t pid = g_firstPid; pid < g_firstPid + settings.processes; ++pid) {
        putMapping(out, pid, g_programStart, "/opt/bench/program");
        putMapping(out, pid, g_libraryStart, "/opt/bench/libshared.so");
    }
    putSamples(out, settings);
    header.data.size = out.offset() - header.data.offset;
    out.seek(0);
    out.put(header);
}

} // namespace

int main(int argc, char** argv)
{
    Settings settings;
    CLI::App app("Writes a perf.data file for benchmarks");
    app.add_option("-o,--output", settings.output, "File to write")->required();
    app.add_option("--samples", settings.samples)->capture_default_str();
    app.add_option("--addresses", settings.addresses, "Distinct addresses")->capture_default_str();
    app.add_option("--processes", settings.processes)
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--threads", settings.threads, "Threads of all processes")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--cpus", settings.cpus)->capture_default_str();
    app.add_option("--depth", settings.depth, "Frames of a sample; 1 leaves out call chains")
        ->check(CLI::Range(1U, g_mostDepth))
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    try {
        generate(settings);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
