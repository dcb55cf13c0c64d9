#include "platform_info/pipe_callback.h"

#include <gtest/gtest.h>

namespace samplefold_1 {
namespace {

TEST(PipeCallback, AppendsEveryPiece)
{
    const auto callback = tb2::make_counted<PipeCallback>();
    EXPECT_TRUE(callback->onRead("Platform: 1, P", 14).succeeded());
    EXPECT_TRUE(callback->onRead("", 0).succeeded());
    EXPECT_TRUE(callback->onRead("MU: and more", 4).succeeded());
    EXPECT_EQ(callback->m_output, "Platform: 1, PMU: ");
}

TEST(PipeCallback, KeepsBytesOfEveryValue)
{
    const auto callback = tb2::make_counted<PipeCallback>();
    callback->onRead("a\0b\xff", 4);
    EXPECT_EQ(callback->m_output, std::string("a\0b\xff", 4));
}

} // namespace
} // namespace samplefold_1
