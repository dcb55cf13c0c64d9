#include "module_map/callsite_fixture.h"
#include "support/temporary_folder.h"

#include <rowvault1/result.h>

// A stack of frames over the store that results are kept in, read back by SQL.
namespace samplefold_test {
namespace {

using rowvault1::open_mode_t;
using sql_row_t = std::vector<tb2::variant_t>;

class Rows final : public rowvault1::ISqlReader {
public:
    void onColumns(std::span<const std::string>) override {}
    bool onRow(std::span<const tb2::variant_t> row) override
    {
        rows.emplace_back(row.begin(), row.end());
        return true;
    }
    std::vector<sql_row_t> rows;
};

std::vector<sql_row_t> readRows(rowvault1::IResult& result, const char* sql)
{
    Rows reader;
    rowvault1::readSql(result, sql, reader);
    return reader.rows;
}

/// Answers by address: what is not written down is no generated code.
class MapLoader : public FakeJitLoader {
public:
    std::uint32_t resolve(std::uint64_t, std::uint64_t ip, std::uint32_t, std::uint32_t,
                          std::uint64_t& rva,
                          boost::intrusive_ptr<jitlens_3_13::IModule>& found) override
    {
        const auto code = generated.find(ip);
        if (code == generated.end()) return jitlens_3_13::code::noCode;
        rva = code->second;
        found = module;
        return jitlens_3_13::code::found;
    }
    std::map<std::uint64_t, std::uint64_t> generated;
};

class JitStackInStore : public testing::Test {
protected:
    ~JitStackInStore() override { EXPECT_EQ(lines_t{}, assertions.take()); }

    void attach(TestContext& context, rowvault1::IResult& result)
    {
        context.setDb(result.database());
        context.m_jitSession = loader;
        context.createJitLoader(42);
    }
    static Index addModuleSegment(rowvault1::IResult& result, const char* name)
    {
        const auto add = [&](const char* table, std::uint16_t column, const tb2::variant_t& value) {
            const auto record = result.database()->getAttributeTable(table)->createOrphanRecord();
            record[column] = value;
            Index key;
            record.commit(key, 0, 0);
            return key;
        };
        const Index file = add("dd_module_file", 0, tb2::variant_t(name));
        return add("dd_module_segment", 0, tb2::variant_t(file.value()));
    }

    TemporaryFolder root;
    AssertionRecorder assertions;
    boost::intrusive_ptr<MapLoader> loader = makeShared<MapLoader>();
};

constexpr std::uint64_t g_kernelAddress = 0xFFFFFFFF81000010;
constexpr std::uint64_t g_jitAddress = 0x7F0000001040;
constexpr std::uint64_t g_jitRva = 0x8000000000000001;

TEST_F(JitStackInStore, FramesAreLinkedFromTheOutermostAndKeepAllBitsOfTheirAddresses)
{
    const auto result = rowvault1::openResult(root.path("result"), open_mode_t::create);
    TestContext context;
    attach(context, *result);
    loader->generated = {{g_jitAddress, g_jitRva}};
    loader->module = makeShared<FakeJitModule>("/tmp/jit-42.dump", 0, 1);
    const Index segment =
        context.addSegmentInstance(addModuleSegment(*result, "program"), 0x400000, Index(7), {});

    Index parent;
    const auto push = [&](frame_t frame) {
        frame.parent = parent;
        parent = frame.createIn(context);
    };
    push({.segInst = segment, .ip = 0x401234, .type = segment_type_t::file});
    push({.ip = g_jitAddress});
    push({.segInst = segment, .ip = g_jitAddress});
    push({.ip = g_kernelAddress, .markFrame = true});

    const std::vector<sql_row_t> rows = readRows(*result, R"(
        WITH RECURSIVE stack(depth, id) AS (
          SELECT 0, max(id) FROM dd_callsite
          UNION ALL
          SELECT depth + 1, c.parent FROM stack JOIN dd_callsite AS c ON c.id = stack.id
           WHERE c.parent IS NOT NULL)
        SELECT l.rva, l.stored_rva, f.name, c.mark
          FROM stack JOIN dd_callsite AS c ON c.id = stack.id
          JOIN dd_code_location AS l ON l.id = c.code_loc
          LEFT JOIN dd_module_segment AS s ON s.id = l.mod_seg
          LEFT JOIN dd_module_file AS f ON f.id = s.module
         ORDER BY depth)");
    struct expected_t {
        std::uint64_t rva;
        std::string module;
        std::string mark;
    };
    const std::vector<expected_t> expected{{g_kernelAddress, "null", "s64:3"},
                                           {g_jitRva, "text:jit-42.dump", "s64:0"},
                                           {g_jitRva, "text:jit-42.dump", "s64:0"},
                                           {0x1244, "text:program", "s64:0"}};
    ASSERT_EQ(expected.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(expected[i].rva, rows[i][0].integer_bits()) << i;
        EXPECT_EQ(expected[i].rva, rows[i][1].integer_bits()) << i;
        EXPECT_EQ(expected[i].module, show(rows[i][2])) << i;
        EXPECT_EQ(expected[i].mark, show(rows[i][3])) << i;
    }
}

TEST_F(JitStackInStore, AGeneratedModuleIsAFileWithAttributesAndASegmentPerFrame)
{
    const auto result = rowvault1::openResult(root.path("result"), open_mode_t::create);
    TestContext context;
    attach(context, *result);
    loader->generated = {{g_jitAddress, 1}, {g_jitAddress + 1, 2}};
    loader->module = makeShared<FakeJitModule>("/tmp/perf-42.map", 1, 0);
    frame_t{.ip = g_jitAddress}.createIn(context);
    frame_t{.ip = g_jitAddress + 1}.createIn(context);

    const std::vector<sql_row_t> rows = readRows(*result, R"(
        SELECT f.path, f.architecture, a.has_class, a.resolvable, s.kind, j.jit_kind, i.process,
               i.address, i.extra, count(*)
          FROM dd_segment_instance AS i JOIN dd_module_segment AS s ON s.id = i.mod_seg
          JOIN dd_module_file AS f ON f.id = s.module
          JOIN dd_module_file_attributes AS a ON a.id = f.attributes
          JOIN dd_jit_file AS j ON j.id = s.jit_file
         GROUP BY f.id)");
    ASSERT_EQ(1u, rows.size());
    lines_t shown;
    for (const tb2::variant_t& value : rows[0])
        shown.push_back(show(value));
    EXPECT_EQ((lines_t{"text:/tmp/perf-42.map", "s64:2", "s64:0", "s64:1", "s64:3", "s64:2",
                       "s64:7", "s64:0", "null", "s64:2"}),
              shown);
}

TEST_F(JitStackInStore, AnInstanceOfAnEarlierLoadLeadsToItsModuleSegment)
{
    Index segment;
    Index placeholder;
    Index moduleSegment;
    {
        const auto result = rowvault1::openResult(root.path("result"), open_mode_t::create);
        TestContext context;
        attach(context, *result);
        moduleSegment = addModuleSegment(*result, "program");
        segment = context.addSegmentInstance(moduleSegment, 0x400000, Index(7), {});
        placeholder = context.getBogusSegmentInstance(Index(7));
        result->finish();
    }
    const auto result = rowvault1::openResult(root.path("result"), open_mode_t::append);
    TestContext context;
    attach(context, *result);
    code_location_t location;
    frame_t{.segInst = segment, .location = &location, .type = segment_type_t::file}.createIn(
        context);
    EXPECT_EQ(moduleSegment, location.mod_seg);
    frame_t{.segInst = placeholder, .location = &location, .type = segment_type_t::file}.createIn(
        context);
    EXPECT_EQ(Index(-1), location.mod_seg);
    result->finish();
}

} // namespace
} // namespace samplefold_test
