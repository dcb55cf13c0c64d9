#include "scratch_result.h"

#include "session/keyed_rows.h"

#include <memory>
#include <optional>

namespace samplefold::session {
namespace {

using rowvault1::Index;
using tb2::variant_t;
using lines_t = std::vector<std::string>;

class KeyedRowsTest : public testing::ScratchResultTest {
protected:
    using ThreadRows = KeyedRows<Index, std::int32_t>;
    using ModuleRows = KeyedRows<std::string, std::string>;
    using AccessRows = KeyedRows<std::uint64_t>;

    ThreadRows threads() { return {db(), "dd_thread", {"process", "tid"}}; }
    ModuleRows modules() { return {db(), "dd_module_file", {"path", "build_id"}}; }
};

TEST_F(KeyedRowsTest, ARowIsWrittenOncePerKey)
{
    ThreadRows rows = threads();
    const Index first = rows.findOrAdd({Index(3), 17});
    EXPECT_EQ(rows.findOrAdd({Index(3), 17}), first);
    EXPECT_NE(rows.findOrAdd({Index(4), 17}), first);
    EXPECT_EQ(ask("SELECT process, tid, name FROM dd_thread ORDER BY id"),
              (lines_t{"3|17|-", "4|17|-"}));
}

TEST_F(KeyedRowsTest, FurtherColumnsAreFilledForNewRowsOnly)
{
    ThreadRows rows = threads();
    int calls = 0;
    const auto fill = [&](RowWriter& writer) {
        ++calls;
        writer.set("name", variant_t("worker"));
    };
    rows.findOrAdd({Index(3), 17}, fill);
    rows.findOrAdd({Index(3), 17}, fill);
    rows.findOrAdd({Index(3), 18});
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(ask("SELECT tid, name FROM dd_thread ORDER BY id"), (lines_t{"17|worker", "18|-"}));
}

TEST_F(KeyedRowsTest, RowsOfAnEarlierLoadAreUsedAgain)
{
    const Index before = modules().findOrAdd({"/bin/a", "abcd"});
    const Index bare = modules().findOrAdd({"/bin/b", ""});
    reopen();
    ModuleRows rows = modules();
    EXPECT_EQ(rows.findOrAdd({"/bin/a", "abcd"}), before);
    EXPECT_EQ(rows.findOrAdd({"/bin/b", ""}), bare);
    const Index added = rows.findOrAdd({"/bin/a", "ef01"});
    EXPECT_NE(added, before);
    EXPECT_EQ(ask("SELECT path, build_id FROM dd_module_file ORDER BY id"),
              (lines_t{"/bin/a|abcd", "/bin/b|-", "/bin/a|ef01"}));
}

TEST_F(KeyedRowsTest, AMissingKeyOfAnotherTableIsFoundAgain)
{
    const Index before = threads().findOrAdd({Index(), 17});
    reopen();
    EXPECT_EQ(threads().findOrAdd({Index(), 17}), before);
    EXPECT_EQ(ask("SELECT process, tid FROM dd_thread"), (lines_t{"-|17"}));
}

TEST_F(KeyedRowsTest, WordsKeepAllTheirBits)
{
    constexpr std::uint64_t words[] = {0, 1, 0x7fffffffffffffff, 0x8000000000000000,
                                       0xffffffffffffffff};
    lines_t before;
    for (const std::uint64_t word : words) {
        AccessRows rows(db(), "dd_mem_access", {"source"});
        before.push_back(std::to_string(rows.findOrAdd({word}).value()));
    }
    reopen();
    AccessRows rows(db(), "dd_mem_access", {"source"});
    lines_t after;
    for (const std::uint64_t word : words)
        after.push_back(std::to_string(rows.findOrAdd({word}).value()));
    EXPECT_EQ(after, before);
    EXPECT_EQ(ask("SELECT source FROM dd_mem_access ORDER BY id"),
              (lines_t{"0", "1", "9223372036854775807", "-9223372036854775808", "-1"}));
}

TEST_F(KeyedRowsTest, OfEqualRowsTheFirstStays)
{
    RowWriter writer(db(), "dd_cpu");
    const Index first = writer.set("number", variant_t(std::int32_t{2})).commit();
    writer.set("number", variant_t(std::int32_t{2})).commit();
    reopen();
    KeyedRows<std::int32_t> rows(db(), "dd_cpu", {"number"});
    EXPECT_EQ(rows.findOrAdd({2}), first);
}

TEST_F(KeyedRowsTest, AllRowsAreVisited)
{
    ThreadRows rows = threads();
    rows.findOrAdd({Index(1), 5});
    rows.findOrAdd({Index(1), 4});
    lines_t seen;
    rows.forEach([&](const ThreadRows::key_t& key, Index row) {
        seen.push_back(std::to_string(std::get<1>(key)) + " in row " + std::to_string(row.value()));
    });
    EXPECT_EQ(seen, (lines_t{"4 in row 2", "5 in row 1"}));
}

} // namespace
} // namespace samplefold::session
