#include "command_output.h"
#include "support/temporary_folder.h"

#include <SEEK_2_13/checksum.h>
#include <SEEK_2_13/validators.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <random>
#include <string>

namespace {

using SEEK_2_13::binaryFileKind;
using SEEK_2_13::ChecksumValidator;
using SEEK_2_13::error_info_t;
using SEEK_2_13::file_kind_t;
using SEEK_2_13::IChecksum;
using SEEK_2_13::IChecksumCalculator;
using SEEK_2_13::IErrorInfoContainer;
using SEEK_2_13::IMessage;
using SEEK_2_13::IMessageMgr;
using SEEK_2_13::ObjectPtr;
using SEEK_2_13::refusal_t;
using SEEK_2_13::sourceFileKind;
using SEEK_2_13::symbolFileKind;
using SEEK_2_13::validation_result_t;
using seek_test::outputOf;
using seek_test::shellQuoted;

class ChecksumTest : public testing::Test {
protected:
    std::string textOf(const std::string& path) const
    {
        const ObjectPtr<IChecksum> sum = calculator->calculateChecksum(path.c_str());
        return sum ? sum->getText() : "none";
    }
    std::string randomFile(std::size_t size) const
    {
        std::mt19937_64 random(size);
        std::string bytes(size, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        return folder.addFile("random" + std::to_string(size), bytes);
    }

    samplefold_test::TemporaryFolder folder;
    ObjectPtr<IChecksumCalculator> calculator = IChecksumCalculator::create();
};

TEST_F(ChecksumTest, areThoseOfMd5sumForAnySize)
{
    constexpr std::size_t block = std::size_t{1} << 20;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{55}, std::size_t{64},
                                   block - 1, block, block + 1, 3 * block + 12345}) {
        const std::string path = randomFile(size);
        EXPECT_EQ(textOf(path), outputOf("md5sum < " + shellQuoted(path)).substr(0, 32)) << size;
    }
}

TEST_F(ChecksumTest, whatIsNoReadableRegularFileHasNone)
{
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(textOf(pipe), "none");
    EXPECT_EQ(textOf(folder.path("missing")), "none");
    EXPECT_EQ(textOf(folder.path()), "none");
    EXPECT_EQ(textOf("/dev/null"), "none");
    EXPECT_EQ(textOf("/dev/zero"), "none");
    EXPECT_EQ(textOf(""), "none");
    EXPECT_FALSE(calculator->calculateChecksum(nullptr));
}

TEST_F(ChecksumTest, aFileOfProcHasNone)
{
    EXPECT_EQ(textOf("/proc/self/maps"), "none");
}

TEST_F(ChecksumTest, aSparseFileOfManyTerabytesHasNone)
{
    const std::string path = folder.addFile("sparse", "x");
    std::filesystem::resize_file(path, std::uintmax_t{8} << 40);
    EXPECT_EQ(textOf(path), "none");
}

TEST_F(ChecksumTest, aTextOfEitherCaseEqualsTheCalculatedOne)
{
    const std::string path = folder.addFile("abc", "abc"); // RFC 1321, A.5
    const auto sum = calculator->calculateChecksum(path.c_str());
    const auto upper = calculator->parseChecksum(0, "900150983CD24FB0D6963F7D28E17F72");
    const auto other = calculator->parseChecksum(0, "900150983cd24fb0d6963f7d28e17f73");
    ASSERT_TRUE(sum && upper && other);
    EXPECT_STREQ(upper->getText(), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_TRUE(sum->equals(*upper));
    EXPECT_TRUE(upper->equals(*sum));
    EXPECT_FALSE(sum->equals(*other));
}

TEST_F(ChecksumTest, anEmptyTextAndAnotherKindAreNone)
{
    EXPECT_FALSE(calculator->parseChecksum(0, ""));
    EXPECT_FALSE(calculator->parseChecksum(0, nullptr));
    EXPECT_FALSE(calculator->parseChecksum(1, "900150983cd24fb0d6963f7d28e17f72"));
}

TEST_F(ChecksumTest, aTextThatIsNoMd5EqualsNoFile)
{
    const std::string path = folder.addFile("abc", "abc");
    for (const char* text : {"abc", "900150983cd24fb0d6963f7d28e17f7", "no checksum"}) {
        const auto parsed = calculator->parseChecksum(0, text);
        ASSERT_TRUE(parsed) << text;
        EXPECT_FALSE(parsed->equals(*calculator->calculateChecksum(path.c_str()))) << text;
    }
}

/// The validator as a driver derives it.
class SumValidator final : public ChecksumValidator {
public:
    SumValidator(const char* expected, file_kind_t kind)
        : ChecksumValidator(IChecksumCalculator::create(), kind,
                            IChecksumCalculator::create()->parseChecksum(0, expected),
                            IMessageMgr::create()->getBinaryMismatchMessage(),
                            IMessageMgr::create()->getSymbolMismatchMessage(),
                            IMessageMgr::create()->getSourceMismatchMessage())
    {
    }
};

class ChecksumValidatorTest : public testing::Test {
protected:
    validation_result_t test(const char* expected, const std::string& path,
                             file_kind_t kind = binaryFileKind)
    {
        errors = IErrorInfoContainer::create();
        return SumValidator(expected, kind).validate(path.c_str(), *errors);
    }
    error_info_t onlyError() const
    {
        return errors->getErrors().size() == 1 ? errors->getErrors()[0] : error_info_t{};
    }

    static constexpr const char* sumOfAbc = "900150983cd24fb0d6963f7d28e17f72";
    static constexpr const char* sumOfNothing = "d41d8cd98f00b204e9800998ecf8427e";
    samplefold_test::TemporaryFolder folder;
    std::string abc = folder.addFile("abc", "abc");
    ObjectPtr<IErrorInfoContainer> errors;
};

TEST_F(ChecksumValidatorTest, passesWithTheExpectedChecksumAndWithNone)
{
    EXPECT_EQ(test(sumOfAbc, abc), validation_result_t::passed);
    EXPECT_TRUE(errors->getErrors().empty());
    EXPECT_EQ(test("", abc), validation_result_t::passed);
    EXPECT_EQ(static_cast<int>(validation_result_t::passed), 2);
}

TEST_F(ChecksumValidatorTest, refusesAnotherChecksumAndTellsBoth)
{
    EXPECT_EQ(test(sumOfNothing, abc), validation_result_t::refused);
    EXPECT_EQ(onlyError().reason, refusal_t::checksum);
    EXPECT_NE(onlyError().text.find(sumOfNothing), std::string::npos);
    EXPECT_NE(onlyError().text.find(sumOfAbc), std::string::npos);
}

TEST_F(ChecksumValidatorTest, theKindChoosesTheMessage)
{
    const ObjectPtr<IMessageMgr> messages = IMessageMgr::create();
    const std::pair<file_kind_t, ObjectPtr<IMessage>> kinds[] = {
        {binaryFileKind, messages->getBinaryMismatchMessage()},
        {symbolFileKind, messages->getSymbolMismatchMessage()},
        {sourceFileKind, messages->getSourceMismatchMessage()}};
    for (const auto& [kind, message] : kinds) {
        EXPECT_EQ(test(sumOfNothing, abc, kind), validation_result_t::refused);
        EXPECT_TRUE(onlyError().text.starts_with(std::string(message->getText()) + ": ")) << kind;
    }
}

TEST_F(ChecksumValidatorTest, aFileThatCannotBeReadIsUntested)
{
    EXPECT_EQ(test(sumOfAbc, folder.path("missing")), validation_result_t::untested);
    EXPECT_EQ(onlyError().reason, refusal_t::unreadable);
}

/// Notes which of the six operations is called.
class NotingValidator final : public ChecksumValidator {
public:
    explicit NotingValidator(file_kind_t kind)
        : ChecksumValidator(IChecksumCalculator::create(), kind,
                            IChecksumCalculator::create()->parseChecksum(0, "other"), {}, {}, {})
    {
    }
    // The names with three arguments, then those with two.
    void fillErrorMessageForBinFile(const char*, IErrorInfoContainer&, const char*) const override
    {
        called += "B";
    }
    void fillErrorMessageForSymFile(const char*, IErrorInfoContainer&, const char*) const override
    {
        called += "S";
    }
    void fillErrorMessageForSrcFile(const char*, IErrorInfoContainer&, const char*) const override
    {
        called += "C";
    }
    void fillErrorMessageForBinFile(const char*, IErrorInfoContainer&) const override
    {
        called += "b";
    }
    void fillErrorMessageForSymFile(const char*, IErrorInfoContainer&) const override
    {
        called += "s";
    }
    void fillErrorMessageForSrcFile(const char*, IErrorInfoContainer&) const override
    {
        called += "c";
    }
    mutable std::string called;
};

TEST_F(ChecksumValidatorTest, aDerivedClassFillsTheErrorsItsOwnWay)
{
    errors = IErrorInfoContainer::create();
    std::string called;
    for (const file_kind_t kind : {binaryFileKind, symbolFileKind, sourceFileKind})
        for (const std::string& path : {abc, folder.path("missing")}) {
            NotingValidator validator(kind);
            validator.validate(path.c_str(), *errors);
            called += validator.called;
        }
    EXPECT_EQ(called, "BbSsCc");
    EXPECT_TRUE(errors->getErrors().empty());
}

} // namespace
