// Random stacks that the listing could really have: all of them are kept, and software chains that
// end early are completed by them.

#include "verifier_fixture.h"

#include <map>
#include <random>

namespace stack_test {
namespace {

/// Who calls from where: the place of the call, and the function that is entered.
struct call_t {
    const char* from;
    const char* to;
};

const std::map<std::string, std::vector<call_t>>& callsOf()
{
    static const std::map<std::string, std::vector<call_t>> s_calls{
        {"_start", {{"start_calls_main", "main"}}},
        {"main",
         {{"main_calls_work", "work"},
          {"main_calls_count", "count"},
          {"main_calls_hop", "hop"},
          {"main_calls_apply", "apply@plt"},
          {"main_calls_pointer", "by_pointer"},
          {"main_calls_bare", "bare"}}},
        {"work", {{"work_calls_leaf", "leaf"}}},
        {"count", {{"count_calls_count", "count"}}},
        {"hop", {{"landing_calls_leaf", "leaf"}}},
        {"by_pointer", {{"by_pointer_calls_leaf", "leaf"}}},
        // Through the library, which may call anything.
        {"apply@plt",
         {{"library:apply_calls_back", "callback"},
          {"library:apply_calls_back", "main"},
          {"library:apply_calls_back", "warm"},
          {"library:apply_calls_back", "select"}}},
        {"callback", {{"callback_calls_leaf", "leaf"}}},
        {"warm", {{"cold_calls_leaf", "leaf"}}},
        {"select", {{"case_zero_calls_leaf", "leaf"}}},
        {"bare", {{"bare_calls_leaf", "leaf"}}}};
    return s_calls;
}

class TruthfulStacks : public VerifierTest {
protected:
    std::size_t below(std::size_t bound)
    {
        return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
    }

    /// Oldest first, from _start() on. `ip` becomes the next call, or an address in the leaf.
    stack_t truthfulStack(std::uint64_t& ip)
    {
        stack_t records;
        std::string function = "_start";
        const std::size_t depth = 1 + below(24);
        while (records.size() < depth && callsOf().count(function) != 0) {
            const call_t call = callFrom(function);
            records.push_back(record(call.from, call.to));
            function = call.to;
        }
        ip = function == "leaf" ? at("leaf_middle") : at(callFrom(function).from);
        return records;
    }
    call_t callFrom(const std::string& function)
    {
        const auto& calls = callsOf().at(function);
        return calls[below(calls.size())];
    }

    /// Merges the first frames, as software would tell them, with the records.
    void checkMerge(StackVerifier& verifier, const stack_t& records, std::uint64_t frameOffset)
    {
        const std::size_t told = below(records.size());
        chain_t chain;
        chain_t expected;
        for (std::size_t i = 0; i < records.size(); ++i) {
            const std::uint64_t from = records[records.size() - 1 - i].from;
            expected.push_back(i < told ? from + frameOffset : from);
            if (i < told) chain.push_back(from + frameOffset);
        }
        chain.push_back(IP_SKIPPED_FRAMES);
        EXPECT_TRUE(merge(verifier, records, chain));
        EXPECT_EQ(verifier.lastMerge(), merge_outcome_t::complete);
        EXPECT_EQ(chain, expected);
    }
    /// `frameOffset`: where software frames lie, counted from the call.
    void run(StackVerifier& verifier, std::uint64_t frameOffset)
    {
        // Before calls are followed in a module its symbols have been asked for.
        verifier.getCachedSymbolBank(program().path());
        verifier.getCachedSymbolBank(library().path());
        for (int round = 0; round < 5000 && !HasFailure(); ++round) {
            SCOPED_TRACE(round);
            std::uint64_t ip = 0;
            const stack_t records = truthfulStack(ip);
            stack_t kept = records;
            EXPECT_TRUE(verify(verifier, kept, ip));
            EXPECT_EQ(kept, records);
            checkMerge(verifier, records, frameOffset);
        }
    }

    std::mt19937_64 random{19690720};
};

TEST_F(TruthfulStacks, AreKeptAndMergedWithNavigation)
{
    run(navigating, 1);
}

TEST_F(TruthfulStacks, AreKeptAndMergedWithoutNavigation)
{
    run(plain, 5);
}

TEST_F(TruthfulStacks, LoseNoMoreThanABadRecordAndTheOlderOnes)
{
    for (int round = 0; round < 5000 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        std::uint64_t ip = 0;
        const stack_t good = truthfulStack(ip);
        const std::size_t bad = below(good.size());
        stack_t records = good;
        records[bad].to = nowhere;
        EXPECT_TRUE(verify(navigating, records, ip));
        EXPECT_EQ(records,
                  stack_t(good.begin() + static_cast<std::ptrdiff_t>(bad) + 1, good.end()));
    }
}

} // namespace
} // namespace stack_test
