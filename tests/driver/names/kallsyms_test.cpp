#include "names/kallsyms.h"

#include "support/temporary_folder.h"

#include <gtest/gtest.h>

namespace samplefold::names {
namespace {

constexpr const char* g_table = "ffffffff81000000 T _text\n"
                                "ffffffff81000000 T _stext\n"
                                "ffffffff81000100 t do_work\n"
                                "ffffffff81000180 D some_data\n"
                                "ffffffff81000200 t __alias\n"
                                "ffffffff81000200 T alias\n"
                                "ffffffff81000200 T _alias\n"
                                "ffffffffc0001000 t mod_init\t[nf_tables]\n"
                                "ffffffff81000300 W weak_one\n";

class KallsymsTest : public testing::Test {
protected:
    std::string nameAt(std::uint64_t address)
    {
        const auto symbol = table->find(address);
        return symbol ? std::string(symbol->name) : "-";
    }
    static std::string faultOf(const std::string& content)
    {
        std::string fault;
        EXPECT_FALSE(Kallsyms::parse(content, fault));
        return fault;
    }

    std::string fault;
    std::optional<Kallsyms> table = Kallsyms::parse(g_table, fault);
};

TEST_F(KallsymsTest, AFunctionReachesToTheNextOneAndDataDoesNotEndIt)
{
    EXPECT_EQ(nameAt(0xffffffff81000100), "do_work");
    EXPECT_EQ(nameAt(0xffffffff810001ff), "do_work");
    EXPECT_EQ(nameAt(0xffffffff81000300), "weak_one");
    EXPECT_EQ(table->find(0xffffffff81000150)->start, 0xffffffff81000100U);
    EXPECT_EQ(table->find(0xffffffff81000150)->end, 0xffffffff81000200U);
}

TEST_F(KallsymsTest, OfAliasesAnExportedOneWithFewUnderscoresIsTaken)
{
    EXPECT_EQ(nameAt(0xffffffff81000200), "alias");
    EXPECT_EQ(nameAt(0xffffffff81000000), "_text") << "of equal ones the first";
}

TEST_F(KallsymsTest, NothingIsBeforeTheFirstOrBehindTheLastPage)
{
    EXPECT_EQ(nameAt(0xffffffff80ffffff), "-");
    EXPECT_EQ(nameAt(0xffffffffc0001fff), "mod_init");
    EXPECT_EQ(nameAt(0xffffffffc0002000), "-");
    EXPECT_EQ(nameAt(0), "-");
}

TEST_F(KallsymsTest, AModulesFunctionTellsItsModule)
{
    EXPECT_EQ(table->find(0xffffffffc0001000)->module, "nf_tables");
    EXPECT_EQ(table->find(0xffffffff81000100)->module, "");
}

TEST_F(KallsymsTest, ASymbolIsFoundByName)
{
    EXPECT_EQ(table->addressOf("_stext"), 0xffffffff81000000U);
    EXPECT_FALSE(table->addressOf("mod_init")) << "it is not the kernel's own";
    EXPECT_FALSE(table->addressOf("nothing"));
}

TEST_F(KallsymsTest, HiddenAddressesAreTold)
{
    EXPECT_NE(faultOf("0000000000000000 T _text\n0000000000000000 t work\n").find("kptr_restrict"),
              std::string::npos);
}

TEST_F(KallsymsTest, AFileOfAnotherKindIsRefusedWithTheLine)
{
    EXPECT_NE(faultOf("ffffffff81000000 T _text\nhello world\n").find("line 2"), std::string::npos);
    EXPECT_NE(faultOf("ffffffff81000000 TT _text\n").find("line 1"), std::string::npos);
    EXPECT_NE(faultOf("fffffffff81000000 T _text\n").find("line 1"), std::string::npos)
        << "an address of 17 digits";
    EXPECT_NE(faultOf("\x7f"
                      "ELF\x02\x01")
                  .find("line 1"),
              std::string::npos);
    EXPECT_EQ(faultOf(""), "it has no functions");
}

TEST_F(KallsymsTest, ATableWithoutAnEndOfLineIsReadToItsEnd)
{
    const auto cut = Kallsyms::parse("ffffffff81000000 T _text", fault);
    ASSERT_TRUE(cut) << fault;
    EXPECT_EQ(cut->find(0xffffffff81000001)->name, "_text");
}

TEST_F(KallsymsTest, AFolderOrAMissingFileIsNoTable)
{
    const samplefold_test::TemporaryFolder folder;
    EXPECT_FALSE(Kallsyms::read(folder.path(""), fault));
    EXPECT_EQ(fault, "is no regular file");
    EXPECT_FALSE(Kallsyms::read(folder.path("none"), fault));
    EXPECT_EQ(fault, "No such file or directory");
}

TEST_F(KallsymsTest, ATableStaysWholeWhenItIsMoved)
{
    // A short text lies inside of its string object.
    auto small = Kallsyms::parse("81000000 T a\n", fault);
    const Kallsyms moved = std::move(*small);
    EXPECT_EQ(moved.find(0x81000000)->name, "a");
}

} // namespace
} // namespace samplefold::names
