#include "names/place_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace samplefold::names {
namespace {

ModulePlaces module(std::int32_t row, std::initializer_list<std::pair<std::uint64_t, int>> places)
{
    ModulePlaces made;
    made.module = row;
    for (const auto& [rva, hits] : places)
        made.places.push_back({1, rva, 0, static_cast<std::uint64_t>(hits), false});
    return made;
}

/// "module: rva rva; module: ..." for each round.
std::vector<std::string> texts(const std::vector<std::vector<ModulePlaces>>& rounds)
{
    std::vector<std::string> list;
    for (const auto& round : rounds) {
        std::string& text = list.emplace_back();
        for (const ModulePlaces& places : round) {
            text += (text.empty() ? "" : "; ") + std::to_string(places.module) + ":";
            for (const Place& place : places.places)
                text += " " + std::to_string(place.rva);
        }
    }
    return list;
}

using rounds_t = std::vector<std::string>;

TEST(RoundsByHeatTest, TheHottestPlacesComeFirstWhateverTheirModule)
{
    const auto rounds = roundsByHeat({module(1, {{10, 5}, {20, 90}}), module(2, {{30, 70}})}, 2);
    EXPECT_EQ(texts(rounds), (rounds_t{"1: 20; 2: 30", "1: 10"}));
}

TEST(RoundsByHeatTest, WithinARoundPlacesAreByModuleAndAddressAndTheHottestModuleIsFirst)
{
    const auto rounds =
        roundsByHeat({module(1, {{40, 1}, {10, 2}}), module(2, {{7, 9}, {5, 3}})}, 100);
    EXPECT_EQ(texts(rounds), rounds_t{"2: 5 7; 1: 10 40"});
}

TEST(RoundsByHeatTest, NoPlacesAreNoRounds)
{
    EXPECT_TRUE(roundsByHeat({}, 10).empty());
    EXPECT_TRUE(roundsByHeat({module(1, {})}, 10).empty());
}

TEST(RoundsByHeatTest, EveryPlaceIsInOneRound)
{
    ModulePlaces many = module(1, {});
    for (std::uint64_t rva = 0; rva < 1000; ++rva)
        many.places.push_back({1, rva, 0, rva * 7919 % 101, false});
    std::vector<bool> seen(1000);
    std::uint64_t hottest = 101;
    for (const auto& round : roundsByHeat({many}, 64)) {
        std::size_t places = 0;
        std::uint64_t coldest = 101;
        for (const ModulePlaces& part : round) {
            for (const Place& place : part.places) {
                EXPECT_FALSE(seen[place.rva]);
                seen[place.rva] = true;
                EXPECT_LE(place.hits, hottest);
                coldest = std::min(coldest, place.hits);
                ++places;
            }
        }
        EXPECT_LE(places, 64U);
        hottest = coldest;
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), true), 1000);
}

} // namespace
} // namespace samplefold::names
