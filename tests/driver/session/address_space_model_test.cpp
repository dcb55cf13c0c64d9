// Random lives of processes against the model.

#include "address_space_model.h"

#include "session/address_space.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <ostream>
#include <random>
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
        m_spaces[life].map({range.start, range.last, range.offset, range.segment, &g_path}, tick);
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
                {range.start, range.last, range.offset, range.segment, &g_path}, tick);
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
            compare(m_spaces[life], m_models[life], address, tick);
            if (life != 0) compare(m_children[life - 1], m_childModels[life - 1], address, tick);
        }
    }

    void compare(AddressSpace& space, const AddressSpaceModel& model, std::uint64_t address,
                 std::uint64_t tick)
    {
        const auto want = model.find(address, tick);
        Place place;
        std::optional<ModelPlace> got;
        if (space.find(address, tick, place)) {
            got = ModelPlace{place.segment, place.start, place.loadTime, place.rva};
            ++m_found;
        }
        ASSERT_EQ(got, want) << "address " << address << " at tick " << tick;
    }

    std::mt19937_64 m_random;
    std::uint32_t m_segments = 0;
    std::array<std::uint64_t, 3> m_lastStart{};
    InheritanceRoom m_room;
    std::array<AddressSpace, 3> m_spaces;
    std::array<AddressSpaceModel, 3> m_models;
    std::array<AddressSpace, 2> m_children;
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
