// Random stacks in random address spaces: whatever comes in, the answers keep their promises.

#include "verifier_fixture.h"

#include <algorithm>
#include <memory>
#include <random>

namespace stack_test {
namespace {

class RandomStacks : public VerifierTest {
protected:
    std::uint64_t below(std::uint64_t bound)
    {
        return std::uniform_int_distribution<std::uint64_t>(0, bound - 1)(random);
    }
    bool oneIn(std::uint64_t count) { return below(count) == 0; }

    /// Segments of the programs, of files that are none, and of rows that do not exist.
    void addModules()
    {
        const std::string text = folder.addFile("text", "no program");
        SegInstMap all;
        for (const std::string& path :
             {program().path(), fixedProgram().path(), bareProgram().path(), library().path(), text,
              std::string("/no/such/file"), std::string("[vdso]"), std::string()})
            mapAs(all, path, 0, 0, 0);
        pool = all.values;
        pool.push_back({0, 0, 0, ~std::uint64_t{0}, program().path(), 0, Index(), Index()});
    }

    /// A map of up to `count` segments, some over others, some at the ends of their half.
    std::unique_ptr<SegInstMap> randomMap(std::uint64_t count, bool isKernel)
    {
        auto space = std::make_unique<SegInstMap>();
        const std::uint64_t half = isKernel ? 0xffff800000000000 : 0;
        for (std::uint64_t left = below(count + 1); left > 0; --left) {
            SegInstInfo segment = pool[below(pool.size())];
            segment.lowAddress = half + (below(64) << 12);
            if (oneIn(8)) segment.lowAddress = half + 0x7ffffffff000;
            // The one at the end of the kernel's half ends with the last address of all.
            segment.highAddress = segment.lowAddress + (below(8) << 12) + 0xfff;
            segment.highAddress |= segment.highAddress < segment.lowAddress ? ~std::uint64_t{0} : 0;
            segment.offsetInFile = below(8) << 12;
            if (oneIn(2)) segment.offsetInFile = 0x1000;
            if (oneIn(4)) segment.loadTime = below(2 * tsc);
            if (oneIn(4)) segment.unloadTime = below(2 * tsc);
            space->values.push_back(segment);
        }
        return space;
    }

    std::uint64_t addressIn(const SegInstMap& space)
    {
        if (space.values.empty()) return below(0x50000);
        const SegInstInfo& segment = space.values[below(space.values.size())];
        switch (below(6)) {
        case 0:
            return segment.lowAddress;
        case 1:
            return segment.highAddress + below(3) - 1;
        case 2:
            return segment.lowAddress + below(segment.highAddress - segment.lowAddress + 1);
        default:
            return segment.lowAddress + places[below(places.size())] - 0x1000;
        }
    }
    std::uint64_t address()
    {
        switch (below(16)) {
        case 0:
            return 0;
        case 1:
            return ~std::uint64_t{0};
        case 2:
            return random();
        case 3:
            return jit + below(0x1001);
        case 4:
        case 5:
            return addressIn(*kernelMap);
        default:
            return addressIn(*processMap);
        }
    }
    stack_t stackOf(std::uint64_t count)
    {
        stack_t records(below(count + 1));
        for (branch_t& entry : records)
            entry = {address(), address()};
        return records;
    }
    chain_t chainFor(const stack_t& records)
    {
        chain_t chain;
        for (std::uint64_t left = below(3); left > 0; --left)
            chain.push_back(addressIn(*kernelMap));
        if (oneIn(2)) chain.push_back(address());
        auto next = records.rbegin();
        for (std::uint64_t left = below(4); left > 0 && next != records.rend(); --left)
            chain.push_back(oneIn(8) ? address() : (next++)->from + below(9));
        if (!oneIn(4)) chain.push_back(IP_SKIPPED_FRAMES);
        return chain;
    }
    std::uint64_t verifyOnce(StackVerifier& verifier, stack_t& records, std::uint64_t ip)
    {
        EXPECT_TRUE(verifier.verify(records, ip, jitTime, tsc, pid, *kernelMap, *processMap));
        return records.size();
    }

    void checkVerify(StackVerifier& verifier, stack_t& records, std::uint64_t ip)
    {
        const stack_t input = records;
        const std::size_t kept = verifyOnce(verifier, records, ip);
        ASSERT_LE(kept, input.size());
        EXPECT_EQ(records, stack_t(input.end() - static_cast<std::ptrdiff_t>(kept), input.end()));
        EXPECT_EQ(verifier.lastLinks().size(), std::min(kept + 1, input.size()));
        const links_t links(verifier.lastLinks().begin(),
                            verifier.lastLinks().begin() + static_cast<std::ptrdiff_t>(kept));
        EXPECT_EQ(verifyOnce(verifier, records, ip), kept) << "what was kept is kept again";
        EXPECT_EQ(verifier.lastLinks(), links) << "for the same reasons";
        seen.insert(seen.end(), links.begin(), links.end());
    }

    void checkMerge(StackVerifier& verifier, stack_t& records)
    {
        const stack_t input = records;
        const chain_t before = chainFor(records);
        chain_t after = before;
        const bool isMerged =
            verifier.merge(records, after, jitTime, tsc, pid, *kernelMap, *processMap, nullptr);
        EXPECT_EQ(records, input);
        const merge_outcome_t outcome = verifier.lastMerge();
        outcomes.push_back(outcome);
        const bool hasAnswer =
            outcome == merge_outcome_t::complete || outcome == merge_outcome_t::marked;
        EXPECT_EQ(isMerged, hasAnswer);
        if (!isMerged && outcome != merge_outcome_t::unresolvedLast) {
            EXPECT_EQ(after, before);
            return;
        }
        // The software frames up to the marker, then the records' origins from some record on,
        // perhaps the marker.
        chain_t frames = before;
        const auto marker = std::find(frames.begin(), frames.end(), IP_SKIPPED_FRAMES);
        if (marker != frames.end()) frames.erase(marker);
        ASSERT_GE(after.size(), frames.size());
        EXPECT_TRUE(std::equal(frames.begin(), frames.end(), after.begin()));
        if (outcome == merge_outcome_t::marked) {
            EXPECT_EQ(after.back(), IP_SKIPPED_FRAMES);
            after.pop_back();
        }
        const std::size_t added = after.size() - frames.size();
        ASSERT_LE(added, records.size());
        for (std::size_t i = 0; i < added; ++i)
            EXPECT_EQ(after[after.size() - 1 - i], records[i].from);
    }

    void run(StackVerifier& verifier, int rounds)
    {
        addModules();
        for (const char* place : {"main",
                                  "work",
                                  "leaf",
                                  "hop",
                                  "landing",
                                  "select",
                                  "warm",
                                  "bare",
                                  "main_calls_work",
                                  "work_calls_leaf",
                                  "landing_calls_leaf",
                                  "leaf_middle",
                                  "_start",
                                  "start_calls_main",
                                  "count",
                                  "fork",
                                  "count_calls_count",
                                  "forever",
                                  "unsized",
                                  "dispatch"})
            places.push_back(program().rva(place));
        places.push_back(program().linkageEntry());
        for (int round = 0; round < rounds; ++round) {
            SCOPED_TRACE(round);
            processMap = randomMap(6, false);
            kernelMap = randomMap(3, true);
            stack_t records = stackOf(32);
            const std::uint64_t ip = address();
            if (oneIn(2)) checkVerify(verifier, records, ip);
            checkMerge(verifier, records);
            if (HasFailure()) return;
        }
    }

    std::mt19937_64 random{20240817};
    std::vector<SegInstInfo> pool;
    std::vector<std::uint64_t> places;
    std::unique_ptr<SegInstMap> processMap;
    std::unique_ptr<SegInstMap> kernelMap;
    links_t seen;
    std::vector<merge_outcome_t> outcomes;
};

/// So that the random stacks are known to get anywhere.
template <class Outcome>
void expectAll(const std::vector<Outcome>& seen, const std::vector<Outcome>& expected)
{
    for (const Outcome outcome : expected)
        EXPECT_NE(std::count(seen.begin(), seen.end(), outcome), 0) << outcome;
}

TEST_F(RandomStacks, KeepTheirPromisesWithNavigation)
{
    run(navigating, 20000);
    using enum link_outcome_t;
    expectAll(seen,
              {generatedCode, linkageTable, otherModule, privilegeChange, symbol, basicBlocks});
    expectAll(outcomes,
              {merge_outcome_t::complete, merge_outcome_t::marked, merge_outcome_t::notNecessary,
               merge_outcome_t::noRecordsLeft, merge_outcome_t::unresolvedFrame,
               merge_outcome_t::unresolvedFrom, merge_outcome_t::otherModule,
               merge_outcome_t::otherCall, merge_outcome_t::unresolvedLast});
}

TEST_F(RandomStacks, KeepTheirPromisesWithoutNavigation)
{
    run(plain, 20000);
    using enum link_outcome_t;
    expectAll(seen,
              {generatedCode, linkageTable, otherModule, privilegeChange, symbol, basicBlocks});
    expectAll(outcomes,
              {merge_outcome_t::complete, merge_outcome_t::marked, merge_outcome_t::notNecessary,
               merge_outcome_t::noRecordsLeft, merge_outcome_t::unresolvedFrame,
               merge_outcome_t::unresolvedFrom, merge_outcome_t::otherModule,
               merge_outcome_t::otherCall, merge_outcome_t::unresolvedLast});
}

} // namespace
} // namespace stack_test
