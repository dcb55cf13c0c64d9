#include "driver/session/scratch_result.h"

#include "load/branch_rows.h"

#include <cstring>

namespace samplefold::load {
namespace {

using lines_t = std::vector<std::string>;
using rowvault1::Index;

class BranchRowsTest : public session::testing::ScratchResultTest {
protected:
    static BranchTask task()
    {
        BranchTask made;
        made.records = {{0x401000, 0x402000}, {0xffffffff81000010, 0xffffffff81000020}};
        made.verdicts = "k-";
        made.source = ChainSource::software;
        return made;
    }
};

TEST_F(BranchRowsTest, RecordsAreStoredNewestFirst)
{
    BranchRows(db()).head(task(), Index(), "");
    EXPECT_EQ(ask("SELECT records FROM dd_lbr_head"),
              (lines_t{"ffff81000010ffff81000020000000401000000000402000"}));
    EXPECT_EQ(ask("SELECT position, \"from\", \"to\", verdict, kept FROM branch_records"),
              (lines_t{"0|0xffffffff81000010|0xffffffff81000020|kept: between user and kernel|1",
                       "1|0x401000|0x402000|cut: older than a record that was cut|0"}));
}

TEST_F(BranchRowsTest, EqualStacksShareARowUnlessSomethingElseCameOut)
{
    BranchRows rows(db());
    const Index first = rows.head(task(), Index(), "");
    EXPECT_EQ(rows.head(task(), Index(), ""), first);
    BranchTask other = task();
    other.verdicts = "kk";
    EXPECT_NE(rows.head(other, Index(), ""), first);
    EXPECT_NE(rows.head(task(), Index(7), ""), first);
    EXPECT_NE(rows.head(task(), Index(), "000012"), first);
}

TEST_F(BranchRowsTest, AnotherLoadUsesTheRowsAgain)
{
    const Index first = BranchRows(db()).head(task(), Index(3), "000012");
    reopen();
    EXPECT_EQ(BranchRows(db()).head(task(), Index(3), "000012"), first);
    EXPECT_EQ(ask("SELECT count(*) FROM dd_link_verdict"),
              (lines_t{std::to_string(verdict::meanings().size())}));
}

/// A sample whose records have these words of flags.
class SampleOf {
public:
    explicit SampleOf(const std::vector<std::uint64_t>& flags)
    {
        for (const std::uint64_t word : flags) {
            const perfdata::Branch branch{1, 2, word};
            const std::size_t at = m_bytes.size();
            m_bytes.resize(at + sizeof branch);
            std::memcpy(&m_bytes[at], &branch, sizeof branch);
        }
        m_sample.branches = perfdata::PackedSpan<perfdata::Branch>(m_bytes.data(), flags.size());
    }
    const perfdata::Sample& operator*() const { return m_sample; }

private:
    std::vector<std::byte> m_bytes;
    perfdata::Sample m_sample;
};

TEST_F(BranchRowsTest, WhatAllRecordsAgreeInIsToldOnce)
{
    BranchDetails details;
    details.read(*SampleOf({2 | 17 << 4, 2 | 17 << 4}));
    EXPECT_EQ(details.common(), "000172");
    EXPECT_EQ(details.each(), "");
}

TEST_F(BranchRowsTest, WhatDiffersIsToldPerRecord)
{
    BranchDetails details;
    details.read(*SampleOf({1 | 65535 << 4, 2}));
    EXPECT_EQ(details.common(), "");
    EXPECT_EQ(details.each(), "655351000002");
}

TEST_F(BranchRowsTest, WithoutRecordsThereIsNothingToTell)
{
    BranchDetails details;
    details.read(*SampleOf({1}));
    details.read(*SampleOf({}));
    EXPECT_EQ(details.common(), "");
    EXPECT_EQ(details.each(), "");
}

} // namespace
} // namespace samplefold::load
