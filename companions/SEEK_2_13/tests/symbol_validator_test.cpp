#include "command_output.h"
#include "sample_elf.h"

#include <SEEK_2_13/validators.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using SEEK_2_13::IErrorInfoContainer;
using SEEK_2_13::ISymbolFileValidatorCallback;
using SEEK_2_13::ObjectPtr;
using SEEK_2_13::refusal_t;
using SEEK_2_13::validation_result_t;
using seek_test::outputOf;
using seek_test::put;
using seek_test::SampleElf;
using seek_test::shellQuoted;

/// The build id that readelf prints; empty when it prints none.
std::string idByReadelf(const std::string& path)
{
    const std::string text = outputOf("readelf -nW " + shellQuoted(path) + " 2>/dev/null");
    const std::string before = "Build ID: ";
    const std::size_t at = text.find(before);
    if (at == std::string::npos) return {};
    const std::size_t start = at + before.size();
    return text.substr(start, text.find_first_not_of("0123456789abcdef", start) - start);
}

class SymbolValidatorTest : public testing::Test {
protected:
    std::string at(const std::string& name) const { return folder.path(name); }
    std::string idOf(const std::string& path) const
    {
        const auto validator = ISymbolFileValidatorCallback::create(path.c_str());
        return validator ? validator->getBuildId() : "no validator";
    }
    /// Splits "tool" of these bytes: the symbols go to "tool.debug", the rest stays, with a debug
    /// link.
    void split(const std::string& bytes) const
    {
        put(at("tool"), bytes);
        outputOf("cd " + shellQuoted(folder.path()) +
                 " && objcopy --only-keep-debug tool tool.debug"
                 " && objcopy --strip-all --add-gnu-debuglink=tool.debug tool");
    }
    validation_result_t test(const std::string& candidate)
    {
        errors = IErrorInfoContainer::create();
        const auto validator = ISymbolFileValidatorCallback::create(at("tool").c_str());
        return validator->validate(candidate.c_str(), *errors);
    }
    refusal_t reason() const
    {
        return errors->getErrors().size() == 1 ? errors->getErrors()[0].reason : refusal_t::none;
    }

    samplefold_test::TemporaryFolder folder;
    ObjectPtr<IErrorInfoContainer> errors;
};

TEST_F(SymbolValidatorTest, theBuildIdIsThatOfReadelf)
{
    put(at("own"), SampleElf::withId("0a0b0c0d0e0f1011"));
    EXPECT_EQ(idByReadelf(at("own")), "0a0b0c0d0e0f1011"); // so that the others are not all empty
    for (const std::string& path : {at("own"), std::string("/usr/bin/ls"),
                                    std::string("/usr/bin/g++"), std::string("/usr/bin/readelf")})
        EXPECT_EQ(idOf(path), idByReadelf(path)) << path;
}

TEST_F(SymbolValidatorTest, theBuildIdIsFoundWithoutSectionHeaders)
{
    put(at("bare"), SampleElf::withId(SampleElf::rightId));
    std::string bytes = seek_test::bytesOf(at("bare"));
    bytes.replace(40, 8, 8, '\0'); // e_shoff
    bytes.replace(60, 4, 4, '\0'); // e_shnum, e_shstrndx
    put(at("bare"), bytes);
    EXPECT_EQ(idOf(at("bare")), SampleElf::rightId);
    EXPECT_EQ(idOf(at("bare")), idByReadelf(at("bare")));
}

TEST_F(SymbolValidatorTest, aBinaryWithoutABuildIdHasNone)
{
    put(at("none"), SampleElf::withId(""));
    EXPECT_EQ(idOf(at("none")), "");
}

TEST_F(SymbolValidatorTest, aBinaryThatCannotBeReadGivesNoValidator)
{
    put(at("text"), "no ELF file");
    for (const std::string& path : {at("missing"), at(""), at("text"), std::string()})
        EXPECT_FALSE(ISymbolFileValidatorCallback::create(path.c_str())) << path;
    EXPECT_FALSE(ISymbolFileValidatorCallback::create(nullptr));
}

TEST_F(SymbolValidatorTest, theExpectedNameIsThatOfTheDebugLink)
{
    split(SampleElf::withId(SampleElf::rightId));
    const auto linked = ISymbolFileValidatorCallback::create(at("tool").c_str());
    EXPECT_STREQ(linked->getExpectedSymbolFileName(), "tool.debug");
    put(at("plain"), SampleElf::withId(SampleElf::rightId));
    const auto plain = ISymbolFileValidatorCallback::create(at("plain").c_str());
    EXPECT_EQ(plain->getExpectedSymbolFileName(), nullptr);
}

TEST_F(SymbolValidatorTest, theBuildIdDecidesWhereThereIsOne)
{
    split(SampleElf::withId(SampleElf::rightId));
    EXPECT_EQ(test(at("tool.debug")), validation_result_t::passed);
    put(at("other"), SampleElf::withId(SampleElf::wrongId));
    EXPECT_EQ(test(at("other")), validation_result_t::refused);
    EXPECT_EQ(reason(), refusal_t::buildId);
    put(at("none"), SampleElf::withId(""));
    EXPECT_EQ(test(at("none")), validation_result_t::refused);
    EXPECT_EQ(reason(), refusal_t::buildId);
}

TEST_F(SymbolValidatorTest, theCrcDecidesWithoutABuildId)
{
    split(SampleElf::withId(""));
    EXPECT_EQ(test(at("tool.debug")), validation_result_t::passed);
    // A byte behind everything that is read as ELF.
    put(at("changed"), seek_test::bytesOf(at("tool.debug")) + '\0');
    EXPECT_EQ(test(at("changed")), validation_result_t::refused);
    EXPECT_EQ(reason(), refusal_t::debugLink);
}

TEST_F(SymbolValidatorTest, nothingPassesForABinaryWithoutIdentity)
{
    put(at("tool"), SampleElf::stripped(""));
    put(at("candidate"), SampleElf::withId(""));
    EXPECT_EQ(test(at("candidate")), validation_result_t::untested);
    EXPECT_EQ(reason(), refusal_t::noIdentity);
}

TEST_F(SymbolValidatorTest, aFileWithoutSymbolsIsRefusedThoughItsBuildIdFits)
{
    split(SampleElf::withId(SampleElf::rightId));
    put(at("stripped"), SampleElf::stripped(SampleElf::rightId));
    EXPECT_EQ(test(at("stripped")), validation_result_t::refused);
    EXPECT_EQ(reason(), refusal_t::noSymbols);
    put(at("copy"), SampleElf::withId(SampleElf::rightId));
    EXPECT_EQ(test(at("copy")), validation_result_t::passed);
}

TEST_F(SymbolValidatorTest, theBinaryItselfIsNotItsSymbolFile)
{
    put(at("tool"), SampleElf::withId(SampleElf::rightId));
    EXPECT_EQ(test(at("tool")), validation_result_t::refused);
    EXPECT_EQ(reason(), refusal_t::noSymbols);
}

} // namespace
