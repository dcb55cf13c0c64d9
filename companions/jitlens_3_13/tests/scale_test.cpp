// Dumps that are large or made to be slow. The limits are far above what is needed and far below
// what a search that grows with the square of the records, or with the versions of a place, takes.

#include "loader_fixture.h"

#include <chrono>

namespace {

using namespace std::chrono_literals;

class DumpScale : public LoaderTest {
protected:
    static constexpr std::uint64_t records = 100'000;

    /// Seconds that `work` takes.
    template <class Work>
    static std::chrono::duration<double> timeOf(const Work& work)
    {
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::steady_clock::now() - start;
    }

    DumpBuilder dump;
};

TEST_F(DumpScale, manyVersionsAtOneAddressAreFoundByTime)
{
    for (std::uint64_t i = 0; i < records; ++i)
        dump.load(10 + i, 0x1000 + i % 7, std::to_string(i), 16);
    add(dump);
    const auto took = timeOf([this] {
        for (std::uint64_t i = 0; i < records; ++i) {
            EXPECT_EQ(at(10 + i, 0x100a), std::to_string(i) + "+" + std::to_string(10 - i % 7));
            EXPECT_EQ(region(10 + i, 0x100a, 0x100a)->loadTime, 10 + i);
        }
    });
    EXPECT_LT(took, 20s);
}

TEST_F(DumpScale, wideVersionsOverManySmallOnesDoNotMultiply)
{
    const std::string wide(4 * records, '\x90');
    for (std::uint64_t i = 0; i < records; ++i)
        dump.load(10, 0x1000 + 4 * i, "small", 4);
    for (std::uint64_t i = 0; i < 200; ++i) // each over all of the small ones
        dump.load(20 + i, 0x1000, "wide" + std::to_string(i), wide);
    add(dump);
    const auto took = timeOf([this] {
        for (std::uint64_t i = 0; i < records; i += 100) {
            EXPECT_EQ(at(10, 0x1000 + 4 * i), "small+0");
            EXPECT_EQ(at(120, 0x1000 + 4 * i), "wide100+" + std::to_string(4 * i));
        }
    });
    EXPECT_LT(took, 20s);
    EXPECT_EQ(source().functions, records + 200);
}

TEST_F(DumpScale, aLineLookUpBesideManyVersionsIsNotLinearInThem)
{
    // All hold the address 0x100f; only the last reaches down to 0x1000.
    for (std::uint64_t i = 0; i < records; ++i)
        dump.load(10 + i, 0x1008, "short", 8);
    dump.load(10 + records, 0x1000, "long", 16);
    add(dump);
    const auto took = timeOf([this] {
        for (std::uint64_t i = 0; i < records; ++i)
            EXPECT_EQ(region(10, 0x1000, 0x1001)->loadTime, 10 + records);
    });
    EXPECT_LT(took, 20s);
}

} // namespace
