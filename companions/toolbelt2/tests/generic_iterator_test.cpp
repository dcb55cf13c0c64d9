#include <toolbelt2/generic_iterator.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using toolbelt2::generic_iterator_t;

TEST(GenericIterator, aDefaultOneIsEmpty)
{
    EXPECT_TRUE(generic_iterator_t<int>().atEnd());
}

TEST(GenericIterator, walksTheValuesInOrder)
{
    const std::vector<int> values{3, 1, 2};
    std::vector<int> seen;
    for (generic_iterator_t<int> it(values.data(), values.size()); !it.atEnd(); it.next())
        seen.push_back(it.current());
    EXPECT_EQ(seen, values);
}

TEST(GenericIterator, pointsAtTheValuesThemselves)
{
    const std::vector<int> values{3, 1};
    const generic_iterator_t<int> it(values.data(), values.size());
    EXPECT_EQ(&it.current(), values.data());
}

TEST(GenericIterator, noValuesMeanTheEndAtOnce)
{
    const int value = 0;
    EXPECT_TRUE(generic_iterator_t<int>(&value, 0).atEnd());
    EXPECT_TRUE(generic_iterator_t<int>(nullptr, 0).atEnd());
}

} // namespace
