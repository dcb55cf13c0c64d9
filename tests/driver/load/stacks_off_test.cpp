#include "load_fixture.h"

namespace samplefold::load::testing {
namespace {

namespace context = perfdata::context;
using samplefold_1::Index;

class StacksOffTest : public LoadTest {
protected:
    std::vector<std::string> places()
    {
        return ask("SELECT ifnull(f.path, '-') || '+' || l.rva FROM dd_code_location l "
                   "LEFT JOIN dd_module_segment s ON s.id = l.mod_seg "
                   "LEFT JOIN dd_module_file f ON f.id = s.module ORDER BY 1");
    }
};

TEST_F(StacksOffTest, ThePlaceInCodeIsFilledAndThereIsNoCallsite)
{
    mmap(1, 5, 0x1000, 0x1000, "/bin/p");
    begin(false);
    const auto attr = sample(5, {10, 0x1010, {context::User, 0x1010, 0x1020}});
    EXPECT_EQ(attr.callsite, Index());
    EXPECT_EQ(attr.code_loc.rva, 0x10U);
    EXPECT_EQ(attr.code_loc.mod_seg, run().context.segmentOf(attr.seg_inst));
    EXPECT_TRUE(attr.code_loc.mod_seg.exist());
    EXPECT_EQ(rowsOf("dd_callsite"), 0) << "they are written with the batch";
}

TEST_F(StacksOffTest, EveryDistinctPlaceHasOneRow)
{
    mmap(1, 5, 0x1000, 0x1000, "/bin/p");
    mmap(1, 6, 0x5000, 0x1000, "/bin/p");
    begin(false);
    sample(5, {10, 0x1010, {context::User, 0x1010, 0x1020}});
    sample(5, {11, 0x1010, {context::User, 0x1010, 0x1030}});
    sample(6, {12, 0x5010, {}});
    sample(5, {13, 0x1018, {}});
    sample(5, {14, 0x9000, {}});
    sample(6, {15, 0x9000, {}});
    end();
    EXPECT_EQ(places(), (std::vector<std::string>{"-+36864", "/bin/p+16", "/bin/p+24"}));
}

TEST_F(StacksOffTest, AMappingInMidRunChangesThePlace)
{
    mmap(1, 5, 0x1000, 0x1000, "/bin/p");
    mmap(100, 5, 0x1000, 0x1000, "/bin/q", 0x500);
    begin(false);
    EXPECT_EQ(sample(5, {99, 0x1010, {}}).code_loc.rva, 0x10U);
    EXPECT_EQ(sample(5, {100, 0x1010, {}}).code_loc.rva, 0x510U);
    EXPECT_EQ(sample(5, {98, 0x1010, {}}).code_loc.rva, 0x10U);
}

TEST_F(StacksOffTest, GeneratedCodeIsAPlaceInItsFile)
{
    DumpBuilder dump;
    const std::size_t place = dump.load(100, 0x9000, "f", 16);
    const std::string path = addFile(dumpName(), dump.bytes());
    mmap(1, jitPid, 0x1000, 0x1000, "/bin/p");
    begin(false);
    EXPECT_EQ(sample(jitPid, {99, 0x9004, {}}).code_loc.rva, 0x9004U);
    const auto first = sample(jitPid, {100, 0x9004, {}});
    const auto again = sample(jitPid, {200, 0x9004, {}});
    EXPECT_EQ(first.code_loc.rva, place + 4);
    EXPECT_EQ(first.code_loc.mod_seg, again.code_loc.mod_seg);
    EXPECT_EQ(first.seg_inst, again.seg_inst);
    end();
    EXPECT_EQ(places(),
              (std::vector<std::string>{"-+36868", path + "+" + std::to_string(place + 4)}));
    EXPECT_EQ(ask("SELECT fn.name FROM dd_code_name n JOIN dd_function fn ON fn.id = n.function"),
              std::vector<std::string>{"f"});
}

} // namespace
} // namespace samplefold::load::testing
