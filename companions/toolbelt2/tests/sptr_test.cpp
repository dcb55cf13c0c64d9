#include <toolbelt2/sptr.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using tb2::make_counted;
using tb2::sptr_t;

int g_alive = 0;

class INumber : public tb2::object_interface_t {
public:
    virtual int number() const = 0;
};

class NumberImpl : public INumber {
public:
    explicit NumberImpl(int number) : m_number(number) { ++g_alive; }
    ~NumberImpl() override { --g_alive; }
    int number() const override { return m_number; }

private:
    int m_number;
};

TEST(Sptr, isNullByDefault)
{
    const sptr_t<INumber> handle;
    EXPECT_TRUE(handle.is_null());
    EXPECT_FALSE(handle);
    EXPECT_EQ(handle.get(), nullptr);
    EXPECT_TRUE(sptr_t<INumber>(nullptr).is_null());
}

TEST(Sptr, reachesItsObject)
{
    const auto handle = make_counted<NumberImpl>(7);
    EXPECT_TRUE(handle);
    EXPECT_FALSE(handle.is_null());
    EXPECT_EQ(handle->number(), 7);
    EXPECT_EQ((*handle).number(), 7);
    EXPECT_EQ(handle.get()->number(), 7);
}

TEST(Sptr, theObjectLivesExactlyAsLongAsItsLastHandle)
{
    ASSERT_EQ(g_alive, 0);
    auto first = make_counted<NumberImpl>(1);
    auto second = first;
    EXPECT_EQ(g_alive, 1);
    first.reset();
    EXPECT_TRUE(first.is_null());
    EXPECT_EQ(g_alive, 1);
    EXPECT_EQ(second->number(), 1);
    second = nullptr;
    EXPECT_EQ(g_alive, 0);
}

TEST(Sptr, assignmentDropsTheFormerObject)
{
    auto handle = make_counted<NumberImpl>(1);
    handle = make_counted<NumberImpl>(2);
    EXPECT_EQ(g_alive, 1);
    EXPECT_EQ(handle->number(), 2);
}

TEST(Sptr, assignmentToItselfKeepsTheObject)
{
    auto handle = make_counted<NumberImpl>(1);
    const auto& same = handle;
    handle = same;
    EXPECT_EQ(g_alive, 1);
    EXPECT_EQ(handle->number(), 1);
}

TEST(Sptr, aMoveLeavesNullAndCountsNothing)
{
    auto source = make_counted<NumberImpl>(1);
    auto target = std::move(source);
    EXPECT_TRUE(source.is_null());
    EXPECT_EQ(g_alive, 1);
    target.reset();
    EXPECT_EQ(g_alive, 0);
}

TEST(Sptr, aHandleOnAnImplementationBecomesOneOnItsInterface)
{
    sptr_t<INumber> handle;
    {
        const auto implementation = make_counted<NumberImpl>(3);
        handle = implementation;
        EXPECT_EQ(handle.get(), implementation.get());
    }
    EXPECT_EQ(g_alive, 1);
    EXPECT_EQ(handle->number(), 3);
}

TEST(Sptr, handlesAreEqualWhenTheyHoldTheSameObject)
{
    const auto first = make_counted<NumberImpl>(1);
    const auto second = make_counted<NumberImpl>(1);
    EXPECT_EQ(first, sptr_t<NumberImpl>(first));
    EXPECT_NE(first, second);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(sptr_t<NumberImpl>(), nullptr);
}

TEST(Sptr, aBarePointerToALivingObjectCanBeTakenUpAgain)
{
    auto first = make_counted<NumberImpl>(5);
    sptr_t<INumber> second(static_cast<INumber*>(first.get()));
    first.reset();
    EXPECT_EQ(g_alive, 1);
    EXPECT_EQ(second->number(), 5);
}

TEST(Sptr, releaseByHandBalancesAddRef)
{
    auto handle = make_counted<NumberImpl>(1);
    handle->add_ref();
    INumber* const object = handle.get();
    handle.reset();
    EXPECT_EQ(g_alive, 1);
    object->release();
    EXPECT_EQ(g_alive, 0);
}

TEST(Sptr, thePlainCountDestroysAtTheLastReleaseToo)
{
    using Counted = tb2::ref_counted_t<NumberImpl, tb2::st_ref_count_impl_t>;
    sptr_t<INumber> first(new Counted(4));
    auto second = first;
    first.reset();
    EXPECT_EQ(g_alive, 1);
    second.reset();
    EXPECT_EQ(g_alive, 0);
}

TEST(Sptr, theTypeTextNamesTheImplementation)
{
    const auto handle = make_counted<NumberImpl>(1);
    EXPECT_NE(std::string(handle->get_type()).find("NumberImpl"), std::string::npos);
}

TEST(Sptr, handlesOfOneObjectMayComeAndGoOnSeveralThreads)
{
    auto shared = make_counted<NumberImpl>(1);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([mine = shared] {
            for (int round = 0; round < 20000; ++round) {
                const auto copy = mine;
                ASSERT_EQ(copy->number(), 1);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    threads.clear();
    EXPECT_EQ(g_alive, 1);
    shared.reset();
    EXPECT_EQ(g_alive, 0);
}

} // namespace
