#include "made_chains.h"

#include "report/code_labels.h"

namespace samplefold::report {
namespace {

using rowvault1::Index;
using rowvault1::utils::indexToVariant;
using testing::number;
using testing::text;

class CodeLabelsTest : public testing::MadeChainsTest {
protected:
    /// What a place is called: text, then module in brackets.
    std::string labelOf(Index location)
    {
        const CodeLabels labels(result());
        const CodeLabel& label = labels[labels.of(location.value())];
        return label.text + " [" + label.module + "]" + (label.isFunction ? " function" : "");
    }
    CodeLabels::Key keyOf(Index location) { return CodeLabels(result()).of(location.value()); }
};

TEST_F(CodeLabelsTest, APlaceWithoutANameShowsByModuleAndAddress)
{
    EXPECT_EQ(labelOf(place("/lib/libfoo.so", 0x1a2b)), "libfoo.so+0x1a2b [/lib/libfoo.so]");
}

TEST_F(CodeLabelsTest, APlaceOutsideModulesShowsByAddress)
{
    EXPECT_EQ(labelOf(place("", 0x7f0012345678)), "0x7f0012345678 []");
    EXPECT_EQ(labelOf(place("", 0xffffffff81000000)), "0xffffffff81000000 []");
}

TEST_F(CodeLabelsTest, AddressesThatAreNoCodeHaveTheirOwnForms)
{
    EXPECT_EQ(labelOf(place("", 0)), "0x0 []");
    EXPECT_EQ(labelOf(place("", 1)), "[chain cut off] []");
    EXPECT_EQ(labelOf(place("", 2)), "0xfffffffffffffffe []");
    EXPECT_EQ(labelOf(place("", 3)), "0xfffffffffffffffd []");
    EXPECT_EQ(labelOf(place("", 4)), "0x4 []");
    EXPECT_EQ(labelOf(place("/bin/a", 1)), "a+0x1 [/bin/a]");
}

TEST_F(CodeLabelsTest, ASegmentThatIsEmptyIsNone)
{
    const Index cut = add("dd_code_location", {{"rva", tb2::variant_t(std::uint64_t{1})}});
    EXPECT_EQ(labelOf(cut), "[chain cut off] []");
}

TEST_F(CodeLabelsTest, ANamedPlaceShowsItsFunctionAndTheFunctionsModule)
{
    const Index own = place("/memory", 0x10);
    name("/memory", 0x10, "compiled", "/jit/source");
    const Index other = place("/memory", 0x20);
    name("/memory", 0x20, "plain");
    EXPECT_EQ(labelOf(own), "compiled [/jit/source] function");
    EXPECT_EQ(labelOf(other), "plain [/memory] function");
}

TEST_F(CodeLabelsTest, AllPlacesOfAFunctionHaveOneLabel)
{
    name("/bin/a", 1, "f", "/bin/a");
    name("/bin/a", 2, "f", "/bin/a");
    name("/bin/b", 1, "f", "/bin/b");
    EXPECT_EQ(keyOf(place("/bin/a", 1)), keyOf(place("/bin/a", 2)));
    EXPECT_NE(keyOf(place("/bin/a", 1)), keyOf(place("/bin/b", 1)));
}

TEST_F(CodeLabelsTest, AFunctionIsNotAPlaceOfTheSameText)
{
    name("/bin/a", 1, "a+0x2", "/bin/a");
    EXPECT_NE(keyOf(place("/bin/a", 1)), keyOf(place("/bin/a", 2)));
}

TEST_F(CodeLabelsTest, WhatIsNotThereIsUnknown)
{
    EXPECT_EQ(keyOf(Index(77)), CodeLabels::unknown);
    EXPECT_EQ(keyOf(Index()), CodeLabels::unknown);
}

TEST_F(CodeLabelsTest, BrokenNamesFallBackToTheAddress)
{
    const Index nameless = add("dd_function", {{"module", number(1)}});
    const Index segment = add("dd_module_segment", {{"module", number(500)}});
    for (const auto& [rva, function] : {std::pair{std::uint64_t{8}, nameless}, {9, Index(400)}}) {
        add("dd_code_name", {{"mod_seg", indexToVariant(segment)},
                             {"rva", tb2::variant_t(rva)},
                             {"function", indexToVariant(function)}});
        const Index location = add("dd_code_location", {{"rva", tb2::variant_t(rva)},
                                                        {"mod_seg", indexToVariant(segment)}});
        EXPECT_EQ(labelOf(location), "0x" + std::to_string(rva) + " []");
    }
}

TEST_F(CodeLabelsTest, SeveralNamesOfOnePlaceLeaveItOnePlace)
{
    name("/bin/a", 1, "first");
    name("/bin/a", 1, "second");
    sample(frame(Index(), place("/bin/a", 1)), 5);
    EXPECT_EQ(treesJson(TreeKind::tree)["events"][0]["nodes"].size(), 1U);
    EXPECT_EQ(treesJson(TreeKind::tree)["events"][0]["count"], 5);
}

} // namespace
} // namespace samplefold::report
