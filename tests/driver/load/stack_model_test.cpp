// Random address spaces and chains over time against the model.
#include "load_fixture.h"
#include "stack_model.h"

#include <algorithm>
#include <array>
#include <random>
#include <set>

namespace samplefold::load::testing {
namespace {

namespace context = perfdata::context;
using perfdata::CpuMode;

constexpr std::uint64_t g_user = 0x1000;
constexpr std::uint64_t g_addresses = 48; ///< of each, so that everything overlaps
constexpr std::uint64_t g_lastTick = 400;

/// Processes: one with a dump and a map, one with a map that forks and dies, one without files.
constexpr std::uint32_t g_withDump = 1'900'000'001;
constexpr std::uint32_t g_withMap = 1'900'000'002;
constexpr std::uint32_t g_plain = 1'900'000'003;

/// A chain as it is recorded, and the frames that it means.
struct Chain {
    Told told;
    struct Expected {
        bool inKernel;
        std::uint64_t address;
    };
    std::vector<Expected> frames;
};

class StackModelTest : public LoadTest, public ::testing::WithParamInterface<int> {
protected:
    using Life = std::pair<std::uint64_t, ModelSpace>; ///< from its first tick on

    std::uint64_t below(std::uint64_t bound) { return m_random() % bound; }

    void tellAll()
    {
        for (const std::uint32_t pid : {g_withDump, g_withMap, g_plain})
            m_lives[pid].emplace_back(0, emptySpace(pid));
        m_kernel.modules = &m_modules;
        for (std::uint64_t tick = 1; tick <= g_lastTick; ++tick) {
            switch (below(12)) {
            case 0:
            case 1:
            case 2:
            case 3:
                tellMapping(tick);
                break;
            case 4:
                tellKernelCode(tick);
                break;
            case 5:
                tellLoad(tick);
                break;
            case 6:
                if (below(4) == 0) tellExec(tick);
                break;
            case 7:
                if (below(3) == 0) tellNewLife(tick);
                break;
            default:
                break;
            }
        }
    }

    ModelSpace& newest(std::uint32_t pid) { return m_lives[pid].back().second; }
    const ModelSpace& lifeAt(std::uint32_t pid, std::uint64_t tick)
    {
        const std::vector<Life>& lives = m_lives[pid];
        const Life* found = &lives.front();
        for (const Life& life : lives) {
            if (life.first <= tick) found = &life;
        }
        return found->second;
    }

    /// Chains of which samples repeat some.
    Chain randomChain()
    {
        Chain chain;
        const bool inKernel = below(4) == 0;
        chain.told.mode = inKernel ? CpuMode::Kernel : CpuMode::User;
        const auto address = [&](bool kernel) {
            return (kernel ? kernelBase : g_user) + below(g_addresses + 2);
        };
        chain.told.ip = address(inKernel);
        chain.frames.push_back({inKernel, chain.told.ip});
        const bool withKernelPart = inKernel && below(3) != 0;
        if (withKernelPart) append(chain, true, context::Kernel, 1 + below(3), address);
        append(chain, false, context::User, 1 + below(4), address);
        // What stands first is the sampled address, unless the kernel's part was left out.
        if (withKernelPart || !inKernel) chain.frames.erase(chain.frames.begin() + 1);
        return chain;
    }

    std::mt19937_64 m_random{static_cast<std::uint64_t>(GetParam())};
    std::map<std::uint32_t, std::vector<Life>> m_lives;
    ModelSpace m_kernel;
    DumpBuilder m_dump;

private:
    template <class Address>
    static void append(Chain& chain, bool kernel, std::uint64_t marker, std::uint64_t count,
                       const Address& address)
    {
        chain.told.chain.push_back(marker);
        for (std::uint64_t i = 0; i < count; ++i) {
            chain.told.chain.push_back(address(kernel));
            chain.frames.push_back({kernel, chain.told.chain.back()});
        }
    }

    ModelSpace emptySpace(std::uint32_t pid)
    {
        ModelSpace space;
        space.modules = &m_modules;
        space.hasCode = pid != g_plain;
        if (pid == g_withDump) {
            space.dumpPath = folder.path(dumpName(pid));
            space.dump = m_loads;
        }
        if (space.hasCode) {
            space.mapPath = folder.path(mapName(pid));
            space.map = {{0, g_user + 4, g_user + 11, g_user + 4, "low"},
                         {0, g_user + 8, g_user + 19, g_user + 8, "middle"},
                         {0, g_user + 40, g_user + 44, g_user + 40, "high"}};
            addFile(mapName(pid), "1004 8 low\n1008 c middle\n1028 5 high\n");
        }
        return space;
    }

    void tellMapping(std::uint64_t tick)
    {
        constexpr std::array pids{g_withDump, g_withMap, g_plain};
        const std::uint32_t pid = pids[below(pids.size())];
        const auto module = static_cast<std::uint32_t>(below(3));
        const std::uint64_t start = g_user + below(g_addresses);
        const std::uint64_t length = 1 + below(12);
        const std::uint64_t offset = 0x100 * below(3);
        mmap(tick, pid, start, length, m_modules[module].path, offset);
        newest(pid).mappings.map({start, start + length - 1, offset, module}, tick);
        newest(pid).laid.push_back({tick, start, start + length - 1, 0, {}});
    }

    void tellKernelCode(std::uint64_t tick)
    {
        const std::uint64_t start = kernelBase + 8 * below(g_addresses / 8);
        if (below(3) == 0) {
            ksymbol(tick, start, 1, "code", true);
            m_kernel.mappings.unmap(start, tick);
            return;
        }
        const auto length = static_cast<std::uint32_t>(1 + below(12));
        ksymbol(tick, start, length, "code");
        m_kernel.mappings.map({start, start + length - 1, 0, 3}, tick);
    }

    void tellLoad(std::uint64_t tick)
    {
        ModelCode code;
        code.tick = tick;
        code.first = g_user + below(g_addresses);
        code.last = code.first + below(8);
        code.function = "f" + std::to_string(tick);
        code.rva = m_dump.load(tick, code.first, code.function, code.last - code.first + 1);
        m_loads.push_back(code);
        newest(g_withDump).dump = m_loads;
    }

    void tellExec(std::uint64_t tick)
    {
        const std::uint32_t pid = below(2) == 0 ? g_withMap : g_plain;
        comm(tick, pid, pid, "next", execBit);
        newest(pid).mappings.unmapAll(tick);
    }

    /// A process number is used again, by a child of the process with the dump.
    void tellNewLife(std::uint64_t tick)
    {
        const std::uint32_t pid = below(2) == 0 ? g_withMap : g_plain;
        fork(tick, pid, pid, g_withDump);
        ModelSpace child = emptySpace(pid);
        child.mappings.inherit(newest(g_withDump).mappings, tick);
        m_lives[pid].emplace_back(tick, std::move(child));
    }

    const std::vector<ModelSpace::Module> m_modules{
        {"/bin/p", false}, {"/lib/l", false}, {"//anon", true}, {"[code]", false}};
    std::vector<ModelCode> m_loads;
};

TEST_P(StackModelTest, EveryFrameShowsWhatWasThereAtItsTick)
{
    tellAll();
    addFile(dumpName(g_withDump), m_dump.bytes());
    begin();

    std::vector<Chain> chains;
    for (int i = 0; i < 30; ++i)
        chains.push_back(randomChain());
    struct Settled {
        std::uint32_t pid;
        const Chain* chain;
        std::uint64_t tick;
        std::int32_t callsite;
        std::int32_t instance;
    };
    std::vector<Settled> samples;
    std::uint64_t tick = 1;
    constexpr std::array pids{g_withDump, g_withMap, g_plain};
    for (int i = 0; i < 3000; ++i) {
        // In the order of time, as samples come, but for some that come late.
        tick = std::min(g_lastTick + 5, tick + below(100) / 85);
        const std::uint64_t at = below(20) == 0 ? 1 + below(g_lastTick) : tick;
        const Chain& chain = chains[below(chains.size())];
        const std::uint32_t pid = pids[below(pids.size())];
        Told told = chain.told;
        told.tick = at;
        const auto attr = sample(pid, told);
        samples.push_back({pid, &chain, at, attr.callsite.value(), attr.seg_inst.value()});
    }

    const auto all = frames();
    std::map<std::int32_t, std::string> pathOfInstance;
    for (const std::string& row :
         ask("SELECT i.id || '|' || p.pid || ' ' || ifnull(f.path, '-') FROM dd_segment_instance i "
             "JOIN dd_process p ON p.id = i.process "
             "LEFT JOIN dd_module_segment s ON s.id = i.mod_seg "
             "LEFT JOIN dd_module_file f ON f.id = s.module"))
        pathOfInstance[std::stoi(row)] = row.substr(row.find('|') + 1);
    std::size_t compared = 0;
    std::size_t undecided = 0;
    std::set<std::string> met;
    for (const Settled& settled : samples) {
        std::int32_t callsite = settled.callsite;
        const ModelSpace& life = lifeAt(settled.pid, settled.tick);
        for (std::size_t i = 0; i < settled.chain->frames.size(); ++i) {
            const auto [inKernel, address] = settled.chain->frames[i];
            ASSERT_TRUE(all.contains(callsite)) << "the chain ends at frame " << i;
            const Frame& frame = all.at(callsite);
            callsite = frame.parent;
            const auto expected = (inKernel ? m_kernel : life).at(address, settled.tick);
            undecided += expected ? 0 : 1;
            if (!expected) continue;
            ++compared;
            met.insert(expected->module + (expected->function == "-" ? "" : ":"));
            EXPECT_EQ(frame.module, expected->module) << std::hex << address << std::dec << " of "
                                                      << settled.pid << " at " << settled.tick;
            EXPECT_EQ(frame.rva, expected->rva) << expected->module;
            EXPECT_EQ(frame.function, expected->function) << expected->module;
            if (i == 0) {
                const std::int64_t pid = inKernel ? -1 : std::int64_t{settled.pid};
                EXPECT_EQ(pathOfInstance.at(settled.instance),
                          std::to_string(pid) + " " + expected->module);
            }
        }
        EXPECT_EQ(callsite, -1) << "frames that no one told";
        if (HasFailure()) return;
    }
    EXPECT_EQ(repeatedFrames(), std::vector<std::string>{});
    EXPECT_LT(undecided, compared / 10);
    EXPECT_EQ(met.size(), 8U) << "both files, the memory, the kernel, two maps, the dump, nothing";
}

INSTANTIATE_TEST_SUITE_P(Seeds, StackModelTest, ::testing::Range(1, 25));

} // namespace
} // namespace samplefold::load::testing
