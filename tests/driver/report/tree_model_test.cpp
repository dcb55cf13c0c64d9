// The three views against sums over whole chains, for random chains with recursion.
#include "made_chains.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <sstream>

namespace samplefold::report {
namespace {

using rowvault1::Index;

/// What was counted for a path of labels.
struct Counted {
    std::int64_t total = 0;
    std::uint64_t samples = 0;
    std::int64_t self = 0;

    bool operator==(const Counted&) const = default;
};

void PrintTo(const Counted& counted, std::ostream* out)
{
    *out << counted.total << " in " << counted.samples << " samples, self " << counted.self;
}

using Path = std::vector<std::string>;
using Paths = std::map<Path, Counted>;

struct Drawn {
    std::size_t event;
    Path chain; ///< from the outermost frame; "f@1" and "f@2" are places of f
    std::int64_t count;
    std::uint64_t tick;

    Path labels() const
    {
        Path labels;
        for (const std::string& frame : chain)
            labels.push_back(frame.substr(0, frame.find('@')));
        return labels;
    }
};

void count(Paths& paths, const Path& path, const Drawn& sample, bool isSelf)
{
    Counted& counted = paths[path];
    counted.total += sample.count;
    counted.samples += 1;
    counted.self += isSelf ? sample.count : 0;
}

Paths treeOf(const std::vector<Drawn>& samples)
{
    Paths paths;
    for (const Drawn& sample : samples) {
        const Path labels = sample.labels();
        for (std::size_t length = 1; length <= labels.size(); ++length)
            count(paths, Path(labels.begin(), labels.begin() + static_cast<long>(length)), sample,
                  length == labels.size());
    }
    return paths;
}

/// Paths from the sampled function outwards. Chains that are whole while others of their path go on
/// are counted below it as "[no caller]".
Paths callersOf(const std::vector<Drawn>& samples)
{
    Paths paths;
    for (const Drawn& sample : samples) {
        const Path labels = sample.labels();
        const Path outwards(labels.rbegin(), labels.rend());
        for (std::size_t length = 1; length <= outwards.size(); ++length)
            count(paths, Path(outwards.begin(), outwards.begin() + static_cast<long>(length)),
                  sample, false);
    }
    Paths whole;
    for (const Drawn& sample : samples) {
        const Path labels = sample.labels();
        Path outwards(labels.rbegin(), labels.rend());
        const auto next = paths.upper_bound(outwards);
        const bool goesOn = next != paths.end() && next->first.size() > outwards.size() &&
                            std::equal(outwards.begin(), outwards.end(), next->first.begin());
        outwards.push_back("[no caller]");
        if (goesOn) count(whole, outwards, sample, false);
    }
    paths.merge(whole);
    return paths;
}

/// Every run of frames whose first function comes again at most as the last; in each sample once.
Paths calleesOf(const std::vector<Drawn>& samples)
{
    Paths paths;
    for (const Drawn& sample : samples) {
        const Path labels = sample.labels();
        std::set<Path> runs;
        std::set<Path> runsToTheEnd;
        for (std::size_t first = 0; first < labels.size(); ++first) {
            Path run;
            for (std::size_t last = first; last < labels.size(); ++last) {
                run.push_back(labels[last]);
                runs.insert(run);
                if (last + 1 == labels.size()) runsToTheEnd.insert(run);
                if (last != first && labels[last] == labels[first]) break;
            }
        }
        for (const Path& run : runs)
            count(paths, run, sample, runsToTheEnd.contains(run));
    }
    return paths;
}

class TreeModelTest : public testing::MadeChainsTest,
                      public ::testing::WithParamInterface<unsigned> {
protected:
    TreeModelTest() : m_random(GetParam())
    {
        for (std::uint64_t i = 0; i < 120; ++i)
            draw();
    }

    std::size_t below(std::size_t end)
    {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(m_random);
    }

    /// Few functions, so that chains meet and recur; often the beginning of an earlier chain.
    void draw()
    {
        Drawn sample{below(2), {}, static_cast<std::int64_t>(below(50)), 100 + below(100)};
        if (!m_samples.empty() && below(3) != 0) {
            sample.chain = m_samples[below(m_samples.size())].chain;
            sample.chain.resize(1 + below(sample.chain.size()));
        }
        for (std::size_t more = below(5) + (sample.chain.empty() ? 1 : 0); more > 0; --more)
            sample.chain.push_back(std::string(1, static_cast<char>('a' + below(4))) + "@" +
                                   std::to_string(below(2)));
        this->sample(sample.chain, sample.count, m_events[sample.event], sample.tick);
        m_samples.push_back(sample);
    }

    std::vector<Drawn> drawn(std::size_t event, const TickRange& range) const
    {
        std::vector<Drawn> samples;
        for (const Drawn& sample : m_samples) {
            const bool inRange =
                sample.tick >= range.from.value_or(0) && sample.tick <= range.to.value_or(1000);
            if (sample.event == event && inRange) samples.push_back(sample);
        }
        return samples;
    }

    /// Entries of an event's list by their paths; fails where two have one path.
    static Paths pathsIn(const nlohmann::ordered_json& nodes, TreeKind kind)
    {
        Paths paths;
        std::map<std::uint64_t, Path> byId;
        for (const auto& node : nodes) {
            Path path;
            if (!node["parent"].is_null()) path = byId.at(node["parent"].get<std::uint64_t>());
            EXPECT_EQ(node["depth"], path.size());
            path.push_back(node["label"]);
            byId[node["id"].get<std::uint64_t>()] = path;
            // The view of callers has no sums of its own beside the totals.
            const auto self =
                kind == TreeKind::callers ? 0 : node["self_count"].get<std::int64_t>();
            const bool isNew =
                paths.emplace(path, Counted{node["count"], node["samples"], self}).second;
            EXPECT_TRUE(isNew) << node.dump();
        }
        return paths;
    }

    void check(TreeKind kind, Paths (*model)(const std::vector<Drawn>&), const TickRange& range)
    {
        const auto report = treesJson(kind, everything, range);
        ASSERT_EQ(report["events"].size(), 2U);
        for (std::size_t event = 0; event < 2; ++event) {
            const auto& told = report["events"][event];
            const std::vector<Drawn> samples = drawn(event, range);
            EXPECT_EQ(told["samples"], samples.size());
            EXPECT_EQ(pathsIn(told["nodes"], kind), model(samples));
        }
    }

    const Index m_events[2] = {cycles, addEvent("faults")};
    std::mt19937 m_random;
    std::vector<Drawn> m_samples;
};

TEST_P(TreeModelTest, TheTreeHasTheSumsOfAllBeginnings)
{
    check(TreeKind::tree, treeOf, {});
    check(TreeKind::tree, treeOf, {120, 170});
}

TEST_P(TreeModelTest, CallersHaveTheSumsOfAllEnds)
{
    check(TreeKind::callers, callersOf, {});
    check(TreeKind::callers, callersOf, {120, {}});
}

TEST_P(TreeModelTest, CalleesCountEachSampleOnce)
{
    check(TreeKind::callees, calleesOf, {});
    check(TreeKind::callees, calleesOf, {{}, 170});
}

TEST_P(TreeModelTest, NothingVanishesWhereEntriesAreHidden)
{
    for (const TreeKind kind : {TreeKind::tree, TreeKind::callers}) {
        const auto report = treesJson(kind, {2, 0, 5.0});
        for (const auto& event : report["events"]) {
            std::map<std::uint64_t, std::int64_t> left; // what entries do not pass on; 0: the event
            left[0] = event["count"];
            std::set<std::uint64_t> above;
            for (const auto& node : event["nodes"]) {
                const std::uint64_t parent =
                    node["parent"].is_null() ? 0 : node["parent"].get<std::uint64_t>();
                left[parent] -= node["count"].get<std::int64_t>();
                above.insert(parent);
                if (node.contains("label")) left[node["id"]] = node["count"];
                if (kind == TreeKind::tree && node.contains("label"))
                    left[node["id"]] -= node["self_count"].get<std::int64_t>();
            }
            for (const auto& [id, rest] : left) {
                // An outermost function has no callers to pass anything on to.
                const bool isEnd = kind == TreeKind::callers && !above.contains(id);
                EXPECT_TRUE(rest == 0 || isEnd) << id << " " << event.dump();
            }
        }
    }
}

TEST_P(TreeModelTest, TheTextHasTheNumbersOfTheJson)
{
    for (const TreeKind kind : {TreeKind::tree, TreeKind::callers, TreeKind::callees}) {
        const TreeLimits limits{3, 4, 2.0};
        std::vector<std::string> want;
        const auto report = treesJson(kind, limits);
        for (const auto& event : report["events"]) {
            for (const auto& node : event["nodes"]) {
                if (node.contains("label"))
                    want.push_back(node["count"].dump() + " " + node["depth"].dump() + " " +
                                   node["label"].get<std::string>());
            }
        }
        // A line of an entry: count, percentages, two blanks for each level, name, module.
        std::vector<std::string> got;
        std::istringstream text(trees(kind, limits));
        for (std::string line; std::getline(text, line);) {
            const std::size_t module = line.find("  (app)");
            const bool isEntry = module != std::string::npos || line.ends_with("[no caller]");
            if (!isEntry) continue;
            const std::size_t percent = line.rfind('%');
            const std::size_t name = line.find_first_not_of(' ', percent + 1);
            got.push_back(std::to_string(std::stoll(line)) + " " +
                          std::to_string((name - percent - 3) / 2) + " " +
                          line.substr(name, module == std::string::npos ? module : module - name));
        }
        EXPECT_EQ(got, want);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TreeModelTest, ::testing::Range(1U, 13U));

} // namespace
} // namespace samplefold::report
