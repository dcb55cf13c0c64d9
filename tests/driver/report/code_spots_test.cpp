#include "made_result.h"

#include "report/code_spots.h"

namespace samplefold::report {
namespace {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using testing::Columns;
using testing::number;
using testing::text;

constexpr std::uint64_t g_kernelBase = 0xffffffff80000000;

tb2::variant_t wide(std::uint64_t value)
{
    return tb2::variant_t(value);
}

class CodeSpotsTest : public testing::MadeResultTest {
protected:
    Index module(std::string_view name) { return add("dd_module_file", {{"name", text(name)}}); }
    Index segment(Index file, std::uint64_t offset, std::uint64_t size, std::int32_t kind = 1)
    {
        return add("dd_module_segment",
                   {{"module", indexToVariant(file)},
                    {"offset", tb2::variant_t(static_cast<std::int64_t>(offset))},
                    {"size", tb2::variant_t(static_cast<std::int64_t>(size))},
                    {"kind", number(kind)}});
    }
    Index map(Index owner, Index mapped, std::uint64_t address, std::uint64_t tick)
    {
        return add("dd_segment_instance", {{"process", indexToVariant(owner)},
                                           {"mod_seg", indexToVariant(mapped)},
                                           {"address", wide(address)},
                                           {"extra", wide(tick)}});
    }
    Index function(std::string_view name, Index file, const Columns& further = {})
    {
        Columns columns = further;
        columns.emplace_back("name", text(name));
        columns.emplace_back("module", indexToVariant(file));
        return add("dd_function", columns);
    }
    /// The place as text, with the function behind it.
    std::string spot(std::uint64_t address, std::uint64_t tick = 1000)
    {
        const CodeSpot found = CodeSpots(result(), process.value(), tick).at(address);
        return placeText(found) + (found.function.empty() ? "" : " " + found.function);
    }

    const Index process = add("dd_process", {{"pid", number(7)}});
    const Index other = add("dd_process", {{"pid", number(8)}});
    const Index kernel = add("dd_process", {{"pid", number(-1)}});
    const Index app = module("app");
    const Index code = segment(app, 0x1000, 0x500);
};

TEST_F(CodeSpotsTest, AnAddressCountsFromTheStartOfTheFile)
{
    map(process, code, 0x400000, 5);
    EXPECT_EQ(spot(0x400000), "app+0x1000");
    EXPECT_EQ(spot(0x4004ff), "app+0x14ff");
}

TEST_F(CodeSpotsTest, AnAddressOutsideOfMappingsIsPlain)
{
    map(process, code, 0x400000, 5);
    EXPECT_EQ(spot(0x400500), "0x400500");
    EXPECT_EQ(spot(0x3fffff), "0x3fffff");
}

TEST_F(CodeSpotsTest, TheLatestMappingAtTheTickCounts)
{
    map(process, segment(module("late"), 0, 0x1000), 0x400000, 200);
    map(process, code, 0x400000, 100);
    EXPECT_EQ(spot(0x400010, 99), "0x400010");
    EXPECT_EQ(spot(0x400010, 100), "app+0x1010");
    EXPECT_EQ(spot(0x400010, 199), "app+0x1010");
    EXPECT_EQ(spot(0x400010, 200), "late+0x10");
}

TEST_F(CodeSpotsTest, OtherProcessesMappingsAreNotSeen)
{
    map(other, code, 0x400000, 5);
    EXPECT_EQ(spot(0x400010), "0x400010");
}

TEST_F(CodeSpotsTest, TheUpperHalfIsTheKernels)
{
    map(kernel, segment(module("[kernel.kallsyms]"), 0, 0x10000), g_kernelBase, 0);
    map(process, code, g_kernelBase, 50);
    EXPECT_EQ(spot(g_kernelBase + 0x20), "[kernel.kallsyms]+0x20");
    EXPECT_EQ(spot(0x20), "0x20");
}

TEST_F(CodeSpotsTest, ANamedPlaceHasItsFunction)
{
    map(process, code, 0x400000, 5);
    add("dd_code_name", {{"mod_seg", indexToVariant(code)},
                         {"rva", wide(0x1010)},
                         {"function", indexToVariant(function("work", app))}});
    EXPECT_EQ(spot(0x400010), "app+0x1010 work");
    EXPECT_EQ(spot(0x400011), "app+0x1011");
}

TEST_F(CodeSpotsTest, AFunctionIsKnownAsFarAsItGoes)
{
    map(process, code, 0x400000, 5);
    function("work", app, {{"start", wide(0x1010)}, {"size", wide(0x20)}});
    function("elsewhere", module("else"), {{"start", wide(0x1000)}, {"size", wide(0x200)}});
    EXPECT_EQ(spot(0x40000f), "app+0x100f");
    EXPECT_EQ(spot(0x400010), "app+0x1010 work");
    EXPECT_EQ(spot(0x40002f), "app+0x102f work");
    EXPECT_EQ(spot(0x400030), "app+0x1030");
}

/// A call at the very end of `last` returns to the first byte of `next`, and that place has the
/// name of the call.
TEST_F(CodeSpotsTest, ANameThatIsOfTheCallBeforeAPlaceIsNotThePlaces)
{
    map(process, code, 0x400000, 5);
    const Index last = function("last", app, {{"start", wide(0x1000)}, {"size", wide(0x10)}});
    add("dd_code_name", {{"mod_seg", indexToVariant(code)},
                         {"rva", wide(0x1010)},
                         {"function", indexToVariant(last)}});
    EXPECT_EQ(spot(0x400010), "app+0x1010");
    function("next", app, {{"start", wide(0x1010)}, {"size", wide(0x10)}});
    EXPECT_EQ(spot(0x400010), "app+0x1010 next");
}

TEST_F(CodeSpotsTest, GeneratedCodeIsToldByItsPiece)
{
    map(process, code, 0x400000, 5);
    const Index jit = module("[jit]");
    const Index piece = map(process, segment(jit, 0, 0x40, 3), 0x400100, 50);
    add("dd_jit_region", {{"seg_inst", indexToVariant(piece)},
                          {"process", indexToVariant(process)},
                          {"address", wide(0x400100)},
                          {"size", wide(0x40)},
                          {"start_tsc", wide(50)},
                          {"end_tsc", wide(60)},
                          {"rva", wide(0x300)},
                          {"function", indexToVariant(function("made", jit))}});
    EXPECT_EQ(spot(0x400110, 49), "app+0x1110");
    EXPECT_EQ(spot(0x400110, 50), "[jit]+0x310 made");
    EXPECT_EQ(spot(0x40013f, 60), "[jit]+0x33f made");
    EXPECT_EQ(spot(0x400140, 55), "app+0x1140");
    EXPECT_EQ(spot(0x400110, 61), "app+0x1110");
}

TEST_F(CodeSpotsTest, PlaceholdersOfUnknownCodeAreNoMappings)
{
    add("dd_segment_instance", {{"process", indexToVariant(process)}, {"address", wide(0)}});
    EXPECT_EQ(spot(0x10), "0x10");
}

} // namespace
} // namespace samplefold::report
