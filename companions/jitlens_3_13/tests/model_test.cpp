// Random loads, moves and questions against a slow model that keeps every byte of a small address
// space for every tick.

#include "loader_fixture.h"

#include <algorithm>
#include <array>
#include <random>
#include <utility>
#include <vector>

namespace {

constexpr std::uint64_t g_addresses = 96;
constexpr std::uint64_t g_ticks = 48;
constexpr int g_free = -1;
constexpr int g_unknown = -2;

struct action_t {
    std::uint64_t time;
    bool isMove;
    std::uint64_t address; ///< of a move: where it goes
    std::uint64_t size;
    std::uint64_t from; ///< of a move
    int function;       ///< what is loaded or moved; g_unknown when only the place tells
};

/// Who owns each byte. Pieces are numbered, so that two of one function are told apart.
struct memory_t {
    struct piece_t {
        int function;
        std::uint64_t first;
        std::uint64_t size;
        std::uint64_t start;
    };
    std::array<int, g_addresses> owner{};
    std::vector<piece_t> pieces;

    memory_t() { owner.fill(g_free); }

    void drop(int piece) { std::replace(owner.begin(), owner.end(), piece, g_free); }
    void place(const piece_t& piece)
    {
        for (std::uint64_t a = piece.first; a < piece.first + piece.size; ++a)
            if (owner[a] != g_free) drop(owner[a]);
        pieces.push_back(piece);
        for (std::uint64_t a = piece.first; a < piece.first + piece.size; ++a)
            owner[a] = static_cast<int>(pieces.size()) - 1;
    }
    void apply(const action_t& action)
    {
        if (!action.isMove)
            return place({action.function, action.address, action.size, action.time});
        const int moved = movedBy(action);
        if (moved == g_free) return;
        const piece_t old = pieces[static_cast<std::size_t>(moved)];
        drop(moved);
        place({old.function, action.address, std::min(old.size, action.size), action.time});
    }
    /// The named function if it was last at the old place, covered or not; else what begins there.
    int movedBy(const action_t& action) const
    {
        for (std::size_t i = pieces.size(); i-- > 0;) {
            if (pieces[i].function != action.function) continue;
            if (pieces[i].first == action.from) return static_cast<int>(i);
            break;
        }
        const int there = owner[action.from];
        const bool begins =
            there != g_free && pieces[static_cast<std::size_t>(there)].first == action.from;
        return begins ? there : g_free;
    }
};

class Model : public LoaderTest {
protected:
    /// Random actions in the order of time, with many at one tick. Half of the moves know which
    /// function they move and where it was last.
    std::vector<action_t> randomActions(std::size_t count)
    {
        std::vector<std::uint64_t> times(count);
        for (std::uint64_t& time : times)
            time = 1 + random() % (g_ticks - 2);
        std::sort(times.begin(), times.end());
        std::vector<action_t> actions;
        std::vector<std::uint64_t> lastPlace; // of each function, for moves that know it
        for (const std::uint64_t time : times) {
            action_t action{};
            action.time = time;
            action.isMove = !lastPlace.empty() && random() % 3 == 0;
            action.size = 1 + random() % (random() % 8 == 0 ? 40 : 8);
            action.address = random() % (g_addresses - action.size);
            action.function = static_cast<int>(lastPlace.size());
            if (!action.isMove) {
                lastPlace.push_back(action.address);
            } else if (random() % 2 == 0) {
                const std::size_t moved = random() % lastPlace.size();
                action.function = static_cast<int>(moved);
                action.from = std::exchange(lastPlace[moved], action.address);
            } else {
                action.function = g_unknown;
                action.from = random() % g_addresses;
            }
            actions.push_back(action);
        }
        return actions;
    }

    /// Writes the actions with those of different ticks mixed up.
    void writeMixed(const std::vector<action_t>& actions)
    {
        std::array<std::uint64_t, g_ticks> rank{};
        for (std::uint64_t& r : rank)
            r = random();
        std::vector<action_t> mixed = actions;
        std::stable_sort(mixed.begin(), mixed.end(), [&](const action_t& a, const action_t& b) {
            return rank[a.time] < rank[b.time];
        });
        DumpBuilder dump;
        for (const action_t& action : mixed) {
            const auto index = static_cast<std::uint64_t>(action.function + 10);
            if (action.isMove)
                dump.move(action.time, base + action.from, base + action.address, action.size,
                          index);
            else
                dump.load(action.time, base + action.address, "f" + std::to_string(action.function),
                          action.size, index);
        }
        loader = jitlens_3_13::IJitLoader::create({});
        loader->attach(nullptr, &status);
        add(dump);
    }
    static std::string answer(const memory_t& memory, std::uint64_t address)
    {
        const int owner = memory.owner[address];
        if (owner == g_free) return nothing;
        const memory_t::piece_t& piece = memory.pieces[static_cast<std::size_t>(owner)];
        return "f" + std::to_string(piece.function) + "+" + std::to_string(address - piece.first);
    }

    std::mt19937_64 random{31};
    std::uint64_t base = 0;
};

/// The model at the end of each tick.
std::vector<memory_t> play(const std::vector<action_t>& actions)
{
    std::vector<memory_t> states;
    memory_t memory;
    std::size_t next = 0;
    for (std::uint64_t tick = 0; tick < g_ticks; ++tick) {
        for (; next < actions.size() && actions[next].time == tick; ++next)
            memory.apply(actions[next]);
        states.push_back(memory);
    }
    return states;
}

TEST_F(Model, randomLoadsAndMovesResolveLikeTheModel)
{
    for (std::size_t round = 0; round < 40; ++round) {
        base = round % 3 == 0 ? forever - (g_addresses - 1) : 0x7f0000000000;
        const std::vector<action_t> actions = randomActions(4 + 3 * round);
        writeMixed(actions);
        const std::vector<memory_t> states = play(actions);
        for (std::uint64_t tick = 0; tick < g_ticks; ++tick)
            for (std::uint64_t address = 0; address < g_addresses; ++address)
                ASSERT_EQ(at(tick, base + address), answer(states[tick], address))
                    << "round " << round << " tick " << tick << " address " << address;
    }
}

/// Start of the earliest piece that is in the range at `time` or at a later tick.
std::uint64_t earliestStart(const std::vector<memory_t>& states, std::uint64_t time,
                            std::uint64_t first, std::uint64_t last)
{
    std::uint64_t start = g_ticks;
    for (std::uint64_t tick = time; tick < g_ticks; ++tick)
        for (std::uint64_t address = first; address <= last; ++address) {
            const int owner = states[tick].owner[address];
            if (owner != g_free)
                start = std::min(start, states[tick].pieces[static_cast<std::size_t>(owner)].start);
        }
    return start;
}

TEST_F(Model, findRegionAnswersLikeTheModel)
{
    for (std::size_t round = 0; round < 30; ++round) {
        base = round % 3 == 0 ? forever - (g_addresses - 1) : 0x10000;
        const std::vector<action_t> actions = randomActions(4 + 4 * round);
        writeMixed(actions);
        const std::vector<memory_t> states = play(actions);
        for (int question = 0; question < 300; ++question) {
            const std::uint64_t time = random() % g_ticks;
            const std::uint64_t first = random() % g_addresses;
            const std::uint64_t last =
                std::min(g_addresses - 1, first + random() % (1 + random() % g_addresses));
            const std::uint64_t wanted = earliestStart(states, time, first, last);
            const auto found = region(time, base + first, base + last);
            ASSERT_EQ(found ? found->loadTime : g_ticks, wanted)
                << "round " << round << " time " << time << " [" << first << ", " << last << "]";
            if (!found) continue;
            EXPECT_TRUE(found->first <= base + last && base + first <= found->last);
            EXPECT_GT(found->unloadTime, time);
            EXPECT_EQ(rvaAt(found->loadTime, found->first), found->rva);
        }
    }
}

TEST_F(Model, ignoredTimesAnswerLikeTheModelAtItsEnd)
{
    for (std::size_t round = 0; round < 20; ++round) {
        base = 0x10000;
        const std::vector<action_t> actions = randomActions(4 + 4 * round);
        writeMixed(actions);
        loader->ignoreTimes(pid);
        const memory_t end = play(actions).back();
        for (std::uint64_t address = 0; address < g_addresses; ++address)
            ASSERT_EQ(at(random(), base + address), answer(end, address));
    }
}

} // namespace
