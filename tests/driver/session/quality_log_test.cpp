#include "scratch_result.h"

#include "session/quality_log.h"

namespace samplefold::session {
namespace {

using lines_t = std::vector<std::string>;

class QualityLogTest : public testing::ScratchResultTest {};

TEST_F(QualityLogTest, CountsOfAReasonAddUpUnderItsFirstRemedy)
{
    QualityLog log;
    log.add("lost", 3, "larger buffer", Severity::dataLoss);
    log.add("guessed", 1, "none", Severity::info);
    log.add("lost", 4, "another remedy", Severity::info);
    EXPECT_EQ(log.count("lost"), 7U);
    log.store(db());
    EXPECT_EQ(ask("SELECT reason, count, remedy, severity FROM dd_quality ORDER BY reason"),
              (lines_t{"guessed|1|none|info", "lost|7|larger buffer|data_loss"}));
}

TEST_F(QualityLogTest, ACountOfNothingIsNoRow)
{
    QualityLog log;
    log.add("lost", 0, "larger buffer", Severity::dataLoss);
    EXPECT_EQ(log.count("lost"), 0U);
    log.add("failed", 1, "try again", Severity::error);
    log.store(db());
    EXPECT_EQ(ask("SELECT reason, severity FROM dd_quality"), (lines_t{"failed|error"}));
}

} // namespace
} // namespace samplefold::session
