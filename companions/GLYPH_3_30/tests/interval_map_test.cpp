// The map of ranges, compared with painting an array cell by cell.

#include "interval_map.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

namespace {

using namespace GLYPH_3_30;

TEST(IntervalMap, whatIsPaintedLaterCoversWhatIsThere)
{
    constexpr std::uint32_t nothing = 0;
    std::mt19937 random(11);
    for (int round = 0; round < 500; ++round) {
        std::array<std::uint32_t, 64> cells{};
        IntervalPainter painter;
        const auto count = static_cast<std::uint32_t>(random() % 12);
        for (std::uint32_t value = 1; value <= count; ++value) {
            const std::size_t start = random() % cells.size();
            const std::size_t end = random() % (cells.size() + 1);
            painter.paint({start, end}, value); // nothing where it ends before it starts
            for (std::size_t i = start; i < end; ++i)
                cells[i] = value;
        }
        const IntervalMap map = painter.take();
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const piece_t* piece = map.find(i);
            ASSERT_EQ(piece != nullptr ? piece->value : nothing, cells[i]);
        }
    }
}

TEST(IntervalMap, theLastAddressesCanBePainted)
{
    IntervalPainter painter;
    painter.paint({10, ~std::uint64_t{0}}, 1);
    painter.paint({~std::uint64_t{0} - 1, ~std::uint64_t{0}}, 2);
    const IntervalMap map = painter.take();
    EXPECT_EQ(map.find(9), nullptr);
    EXPECT_EQ(map.find(10)->value, 1u);
    EXPECT_EQ(map.find(~std::uint64_t{0} - 1)->value, 2u);
    EXPECT_EQ(map.find(~std::uint64_t{0}), nullptr);
}

} // namespace
