#include "sample_elf.h"
#include "support/native_image_file.h"

#include <SEEK_2_13/validators.h>

#include <gtest/gtest.h>

#include <elf.h>
#include <sys/stat.h>

#include <string>
#include <utility>

namespace {

using SEEK_2_13::bin_file_architecture_t;
using SEEK_2_13::IBinFileArchValidatorCallback;
using SEEK_2_13::IErrorInfoContainer;
using SEEK_2_13::ObjectPtr;
using SEEK_2_13::refusal_t;
using SEEK_2_13::validation_result_t;
namespace architecture = SEEK_2_13::architecture;

class ArchitectureTest : public testing::Test {
protected:
    validation_result_t test(bin_file_architecture_t code, const std::string& path)
    {
        errors = IErrorInfoContainer::create();
        return IBinFileArchValidatorCallback::create(code)->validate(path.c_str(), *errors);
    }
    refusal_t reason() const
    {
        return errors->getErrors().size() == 1 ? errors->getErrors()[0].reason : refusal_t::none;
    }
    /// A head of this machine number, in either byte order.
    std::string headOf(unsigned machine, bool isLittle = true) const
    {
        std::string bytes = samplefold_test::nativeImageBytes();
        bytes[EI_DATA] = isLittle ? ELFDATA2LSB : ELFDATA2MSB;
        bytes[isLittle ? 18 : 19] = static_cast<char>(machine & 255);
        bytes[isLittle ? 19 : 18] = static_cast<char>(machine >> 8);
        return folder.addFile("head" + std::to_string(machine), bytes);
    }

    samplefold_test::TemporaryFolder folder;
    ObjectPtr<IErrorInfoContainer> errors;
};

TEST_F(ArchitectureTest, theRunningProgramIsOfThisMachine)
{
    EXPECT_EQ(test(architecture::x86_64, "/proc/self/exe"), validation_result_t::passed);
    EXPECT_EQ(test(architecture::any, "/proc/self/exe"), validation_result_t::passed);
    EXPECT_EQ(test(architecture::aarch64, "/proc/self/exe"), validation_result_t::refused);
    EXPECT_EQ(reason(), refusal_t::architecture);
    EXPECT_EQ(architecture::any, 16U);
}

TEST_F(ArchitectureTest, eachCodeTakesItsMachineAndNoOther)
{
    const std::pair<bin_file_architecture_t, unsigned> machines[] = {
        {architecture::i386, 3},      {architecture::x86_64, 62}, {architecture::arm, 40},
        {architecture::aarch64, 183}, {architecture::riscv, 243}, {architecture::ppc64, 21},
        {architecture::s390, 22}};
    for (const auto& [code, machine] : machines)
        for (const auto& [otherCode, otherMachine] : machines)
            EXPECT_EQ(test(code, headOf(otherMachine)), code == otherCode
                                                            ? validation_result_t::passed
                                                            : validation_result_t::refused)
                << code << " " << otherMachine;
}

TEST_F(ArchitectureTest, anyTakesNoMachineThatHasNoCode)
{
    EXPECT_EQ(test(architecture::any, headOf(8)), validation_result_t::refused); // MIPS
}

TEST_F(ArchitectureTest, theOtherByteOrderIsRead)
{
    EXPECT_EQ(test(architecture::s390, headOf(22, false)), validation_result_t::passed);
    EXPECT_EQ(test(architecture::ppc64, headOf(22, false)), validation_result_t::refused);
}

TEST_F(ArchitectureTest, aNumberThatIsNoCodeGivesNoValidator)
{
    for (const bin_file_architecture_t code : {0U, 8U, 15U, 17U, 62U, ~0U})
        EXPECT_FALSE(IBinFileArchValidatorCallback::create(code)) << code;
}

TEST_F(ArchitectureTest, whatIsNoElfFileIsUntested)
{
    const std::string head = samplefold_test::nativeImageBytes();
    const std::string wrongClass = head.substr(0, 4) + '\7' + head.substr(5);
    for (const std::string& bytes :
         {std::string(), std::string("text"), head.substr(0, 15), head.substr(0, 63), wrongClass}) {
        const std::string path = folder.addFile("file", bytes);
        EXPECT_EQ(test(architecture::any, path), validation_result_t::untested) << bytes.size();
        EXPECT_EQ(reason(), refusal_t::architecture);
    }
}

TEST_F(ArchitectureTest, whatIsNoRegularFileIsUntestedAndDoesNotHang)
{
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(test(architecture::any, pipe), validation_result_t::untested);
    EXPECT_EQ(reason(), refusal_t::notRegular);
    EXPECT_EQ(test(architecture::any, folder.path()), validation_result_t::untested);
    EXPECT_EQ(reason(), refusal_t::notRegular);
    EXPECT_EQ(test(architecture::any, folder.path("missing")), validation_result_t::untested);
    EXPECT_EQ(reason(), refusal_t::notFound);
}

} // namespace
