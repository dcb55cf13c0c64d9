// Texts of the log: numbers in them, and that they are made only for somebody who listens.

#include "common/component_log.h"
#include "stack_verifier/number_text.h"

#include "support/log_capture.h"
#include "verifier_fixture.h"

#include <sstream>

namespace stack_test {
namespace {

using samplefold_1::ComponentLog;
using samplefold_1::Hex;

std::string textOf(const Hex& number)
{
    std::ostringstream out;
    out << number;
    return out.str();
}

TEST(LogText, AnAddressIsHexadecimalWithItsPrefix)
{
    EXPECT_EQ(textOf({0xdead}), "0xdead");
    EXPECT_EQ(textOf({~std::uint64_t{0}}), "0xffffffffffffffff");
    EXPECT_EQ(textOf({0}), "0");
}

TEST(LogText, AnRvaStandsLeftInAFieldOfEighteen)
{
    EXPECT_EQ(textOf(samplefold_1::rvaText(0x1040)), "0x1040            ");
    EXPECT_EQ(textOf(samplefold_1::rvaText(~std::uint64_t{0})), "0xffffffffffffffff");
}

TEST(LogText, ANumberBehindAnAddressIsDecimalAgain)
{
    std::ostringstream out;
    out << Hex{255, 6} << "|" << 255;
    EXPECT_EQ(out.str(), "0xff  |255");
}

TEST(LogText, IsNotMadeWhenTheLevelIsOff)
{
    ComponentLog log;
    int made = 0;
    const auto piece = [&] { return ++made; };
    {
        const samplefold_test::LogCapture capture(log4cplus::INFO_LOG_LEVEL);
        SF_DEBUG(log, "piece " << piece() << piece());
        EXPECT_EQ(made, 0);
        EXPECT_TRUE(capture.entries().empty());
    }
    const samplefold_test::LogCapture capture(log4cplus::DEBUG_LOG_LEVEL);
    SF_DEBUG(log, "piece " << piece());
    EXPECT_EQ(made, 1);
    ASSERT_EQ(capture.entries().size(), 1U);
    EXPECT_EQ(capture.entries()[0].text, "piece 1");
}

class VerifierLog : public VerifierTest {};

TEST_F(VerifierLog, IsSilentBelowDebugLevel)
{
    const samplefold_test::LogCapture capture(log4cplus::INFO_LOG_LEVEL);
    stack_t records{{0, nowhere}, record("main_calls_work", "work")};
    EXPECT_TRUE(verify(navigating, records, at("work_loops")));
    chain_t chain;
    EXPECT_FALSE(merge(navigating, {{nowhere, nowhere}}, chain));
    EXPECT_TRUE(capture.entries().empty());
}

} // namespace
} // namespace stack_test
