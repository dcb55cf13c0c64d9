// Random lives of processes against the model.

#include "address_space_model.h"

#include "owned_space.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <ostream>
#include <random>
#include <set>
#include <string>

namespace samplefold::session::testing {

void PrintTo(const ModelPlace& place, std::ostream* out)
{
    *out << "segment " << place.segment << " of the mapping at " << place.start << " from tick "
         << place.loadTime << ", byte " << place.rva;
}

namespace {

constexpr std::uint64_t g_addresses = 48;
constexpr std::uint64_t g_ticks = 24;
constexpr int g_worlds = 3000;

const std::string g_path = "/bin/program";

/// Some address spaces beside their models, told the same at random.
class World {
public:
    explicit World(std::uint64_t seed) : m_random(seed)
    {
        m_leavingOut = seed % (m_spaces.size() + 1);
        for (std::size_t life = 0; life < m_leavingOut; ++life)
            m_spaces[life].leaveOutPlainMemory();
        for (std::uint64_t tick = 0; tick < g_ticks; ++tick) {
            for (std::uint64_t count = below(4); count > 0; --count)
                step(tick);
        }
        forkOnce();
    }

    /// Asks every byte at every tick.
    void compareAll()
    {
        for (std::size_t life = 0; life < m_spaces.size(); ++life) {
            for (std::uint64_t tick = 0; tick <= g_ticks; ++tick)
                compareTick(life, tick);
        }
    }

    std::uint64_t found() const { return m_found; }

private:
    std::uint64_t below(std::uint64_t limit) { return m_random() % limit; }

    void step(std::uint64_t tick)
    {
        const std::size_t life = below(m_spaces.size());
        const std::uint64_t what = below(12);
        if (what < 9) {
            map(life, tick);
        } else if (what < 11) {
            const std::uint64_t start = m_lastStart[life];
            m_spaces[life].unmap(start, tick);
            m_models[life].unmap(start, tick);
        } else {
            m_spaces[life].unmapAll(tick);
            m_models[life].unmapAll(tick);
        }
    }

    void map(std::size_t life, std::uint64_t tick)
    {
        AddressSpaceModel::Range range;
        range.start = below(4) != 0 ? below(g_addresses) : m_lastStart[life];
        range.last = std::min(range.start + below(16), g_addresses - 1);
        range.offset = below(5) * 4096;
        range.segment = ++m_segments;
        if (below(3) == 0) m_lastStart[life] = range.start;
        const bool hasImage = below(3) != 0;
        if (!hasImage) m_plain.insert(range.segment);
        m_spaces[life].map(
            {range.start, range.last, range.offset, range.segment, &g_path, hasImage}, tick);
        m_models[life].map(range, tick);
    }

    /// A line of forks at ticks that only grow, with mappings of the children's own after them.
    void forkOnce()
    {
        std::uint64_t tick = below(g_ticks);
        for (std::size_t child = 1; child < m_spaces.size(); ++child) {
            m_children[child - 1].inherit(child == 1 ? m_spaces[0] : m_children[child - 2], tick,
                                          m_room);
            m_childModels[child - 1].inherit(child == 1 ? m_models[0] : m_childModels[child - 2],
                                             tick);
            tick += below(3);
            AddressSpaceModel::Range range{below(g_addresses), 0, below(3) * 16, ++m_segments};
            range.last = std::min(range.start + below(9), g_addresses - 1);
            m_children[child - 1].map(
                {range.start, range.last, range.offset, range.segment, &g_path, true}, tick);
            m_childModels[child - 1].map(range, tick);
            if (below(3) == 0) {
                m_children[child - 1].unmapAll(tick + 2);
                m_childModels[child - 1].unmapAll(tick + 2);
            }
            tick += below(3);
        }
    }

    void compareTick(std::size_t life, std::uint64_t tick)
    {
        for (std::uint64_t address = 0; address < g_addresses; ++address) {
            const bool leavesOutPlain = life < m_leavingOut;
            compare(m_spaces[life], m_models[life], leavesOutPlain, address, tick);
            if (life != 0)
                compare(m_children[life - 1], m_childModels[life - 1], false, address, tick);
        }
    }

    static std::optional<ModelPlace> find(AddressSpace& space, std::uint64_t address,
                                          std::uint64_t tick)
    {
        Place place;
        if (!space.find(address, tick, place)) return std::nullopt;
        return ModelPlace{place.segment, place.start, place.loadTime, place.rva};
    }

    void compare(AddressSpace& space, const AddressSpaceModel& model, bool leavesOutPlain,
                 std::uint64_t address, std::uint64_t tick)
    {
        auto want = model.find(address, tick);
        if (leavesOutPlain && want && m_plain.contains(want->segment)) want.reset();
        const auto got = find(space, address, tick);
        ASSERT_EQ(got, want) << "address " << address << " at tick " << tick;
        if (got) ++m_found;

        const TickSpan steady = space.steadySpan(tick);
        ASSERT_TRUE(steady.holds(tick));
        const std::uint64_t length = std::min(steady.until, g_ticks + 10) - steady.from;
        const std::uint64_t other = steady.from + below(std::max<std::uint64_t>(length, 1));
        if (steady.holds(other)) {
            ASSERT_EQ(find(space, address, other), want) << "tick " << other << " as " << tick;
        }
    }

    std::mt19937_64 m_random;
    std::uint32_t m_segments = 0;
    std::set<std::uint32_t> m_plain; ///< segments without an image
    std::size_t m_leavingOut = 0;    ///< so many of the first lives leave such memory out
    std::array<std::uint64_t, 3> m_lastStart{};
    InheritanceRoom m_room;
    std::array<OwnedSpace, 3> m_spaces;
    std::array<AddressSpaceModel, 3> m_models;
    std::array<OwnedSpace, 2> m_children;
    std::array<AddressSpaceModel, 2> m_childModels;
    std::uint64_t m_found = 0;
};

TEST(AddressSpaceModelTest, RandomLivesAreSeenAsTheModelSeesThem)
{
    std::uint64_t found = 0;
    for (int seed = 0; seed < g_worlds && !HasFatalFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        World world(static_cast<std::uint64_t>(seed));
        world.compareAll();
        found += world.found();
    }
    EXPECT_GT(found, std::uint64_t{g_worlds} * 100) << "the worlds are too empty to say much";
}

} // namespace
} // namespace samplefold::session::testing
