// What a search refuses, and what it says about it.

#include "command_output.h"
#include "seek_fixture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace {

using SEEK_2_13::attempt_t;
using SEEK_2_13::bin_file_architecture_t;
using SEEK_2_13::binaryFileKind;
using SEEK_2_13::ChecksumValidator;
using SEEK_2_13::IBinFileArchValidatorCallback;
using SEEK_2_13::IChecksumCalculator;
using SEEK_2_13::IErrorInfoContainer;
using SEEK_2_13::IFileSearch;
using SEEK_2_13::ObjectPtr;
using SEEK_2_13::place_t;
using SEEK_2_13::refusal_t;
using SEEK_2_13::validation_result_t;
namespace architecture = SEEK_2_13::architecture;
using seek_test::outputOf;
using seek_test::put;
using seek_test::SampleElf;
using seek_test::SeekTest;
using seek_test::shellQuoted;
using seek_test::told;

/// Checksum first, then architecture, as the finder above has it.
class BinaryValidator final : public ChecksumValidator {
public:
    BinaryValidator(const std::string& sum, bin_file_architecture_t code)
        : ChecksumValidator(IChecksumCalculator::create(), binaryFileKind,
                            IChecksumCalculator::create()->parseChecksum(0, sum.c_str()), {}, {},
                            {}),
          m_code(code)
    {
    }
    validation_result_t validate(const char* path, IErrorInfoContainer& errors) override
    {
        const validation_result_t result = ChecksumValidator::validate(path, errors);
        if (result != validation_result_t::passed) return result;
        return IBinFileArchValidatorCallback::create(m_code)->validate(path, errors);
    }

private:
    bin_file_architecture_t m_code;
};

/// Takes the rights of root away while it lives, since root can read everything.
class WithoutRoot {
public:
    WithoutRoot()
    {
        constexpr uid_t nobody = 65534;
        m_wasRoot = ::geteuid() == 0 && ::seteuid(nobody) == 0;
    }
    ~WithoutRoot()
    {
        if (m_wasRoot && ::seteuid(0) != 0) std::abort();
    }
    WithoutRoot(const WithoutRoot&) = delete;
    WithoutRoot& operator=(const WithoutRoot&) = delete;

private:
    bool m_wasRoot = false;
};

class IdentitySearch : public SeekTest {
protected:
    /// Directories "0", "1", ..., each with a file "tool", as far as it is made.
    std::string candidate(std::size_t number)
    {
        const std::string dir = at("dirs/" + std::to_string(number));
        std::filesystem::create_directories(dir);
        addDir(binaryFileKind, dir);
        return dir + "/tool";
    }
    const std::string good = SampleElf::withId(SampleElf::rightId);
};

TEST_F(IdentitySearch, everyReasonIsToldAndTheSearchGoesOn)
{
    const std::string sum =
        outputOf("md5sum < " + shellQuoted(put(at("good"), good))).substr(0, 32);
    const std::string missing = candidate(0);
    const std::string directory = candidate(1);
    std::filesystem::create_directory(directory);
    const std::string pipe = candidate(2);
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const std::string device = candidate(3);
    std::filesystem::create_symlink("/dev/zero", device);
    const std::string loop = candidate(4);
    std::filesystem::create_symlink(loop, loop);
    const std::string text = put(candidate(5), "no ELF file");
    const std::string otherId = put(candidate(6), SampleElf::withId(SampleElf::wrongId));
    const std::string noId = put(candidate(7), SampleElf::withId(""));
    const std::string otherSum = put(candidate(8), good + '\0');
    const std::string right = put(candidate(9), good);
    put(candidate(10), good);
    data.buildIds["tool"] = SampleElf::rightId;

    const ObjectPtr<IFileSearch> searching = search();
    BinaryValidator validator(sum, architecture::any);
    EXPECT_EQ(findBy(*searching, "tool", &validator), right);
    std::vector<std::string> attempts = told(searching->getAttempts("tool"));
    std::erase_if(attempts, [](const std::string& line) { return line.starts_with("build-id"); });
    const place_t place = place_t::addedDirectory;
    EXPECT_EQ(
        attempts,
        (std::vector<std::string>{
            told(place, missing, refusal_t::notFound),
            told(place, directory, refusal_t::notRegular), told(place, pipe, refusal_t::notRegular),
            told(place, device, refusal_t::notRegular), told(place, loop, refusal_t::unreadable),
            told(place, text, refusal_t::unreadable), told(place, otherId, refusal_t::buildId),
            told(place, noId, refusal_t::buildId), told(place, otherSum, refusal_t::checksum),
            told(place, right, refusal_t::none)}));
}

TEST_F(IdentitySearch, aBinaryOfAnotherArchitectureIsPassedOverForTheNext)
{
    std::string foreign = good;
    foreign[18] = static_cast<char>(183); // aarch64
    const std::string first = put(candidate(0), foreign);
    const std::string second = put(candidate(1), good);
    const ObjectPtr<IFileSearch> searching = search();
    BinaryValidator validator("", architecture::x86_64);
    EXPECT_EQ(findBy(*searching, "tool", &validator), second);
    EXPECT_EQ(
        told(searching->getAttempts("tool")),
        (std::vector<std::string>{told(place_t::addedDirectory, first, refusal_t::architecture),
                                  told(place_t::addedDirectory, second, refusal_t::none)}));
}

TEST_F(IdentitySearch, theExpectedIdHoldsWithoutAValidatorToo)
{
    expectId(SampleElf::rightId);
    put(module, SampleElf::withId(SampleElf::wrongId));
    EXPECT_EQ(find(module), "");
    put(module, good);
    EXPECT_EQ(find(module), module);
}

TEST_F(IdentitySearch, theDetailNamesTheBuildIdThatWasFound)
{
    expectId(SampleElf::rightId);
    put(module, SampleElf::withId(SampleElf::wrongId));
    const ObjectPtr<IFileSearch> searching = search();
    findBy(*searching, module);
    const std::vector<attempt_t> attempts = searching->getAttempts(module.c_str());
    ASSERT_FALSE(attempts.empty());
    EXPECT_NE(attempts[0].detail.find(SampleElf::wrongId), std::string::npos);
}

TEST_F(IdentitySearch, aFileThatMayNotBeReadIsUnreadable)
{
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    const std::string first = put(candidate(0), good);
    const std::string second = put(candidate(1), good);
    std::filesystem::permissions(first, std::filesystem::perms::none);
    const ObjectPtr<IFileSearch> searching = search();
    const WithoutRoot still;
    EXPECT_EQ(findBy(*searching, "tool"), second);
    const std::vector<attempt_t> attempts = searching->getAttempts("tool");
    ASSERT_EQ(attempts.size(), 2U);
    EXPECT_EQ(attempts[0].refusal, refusal_t::unreadable);
    EXPECT_EQ(attempts[0].detail, "Permission denied");
}

TEST_F(IdentitySearch, anIdThatARecorderPaddedWithZerosFits)
{
    const std::string id16 = "0123456789abcdef0123456789abcdef";
    expectId(id16 + "00000000");
    put(module, SampleElf::withId(id16));
    EXPECT_EQ(find(module), module);
    std::filesystem::remove(module);
    const std::string linked =
        put(at("debug/.build-id/01/" + id16.substr(2)), SampleElf::withId(id16));
    EXPECT_EQ(find(module), linked);
    expectId(id16 + "00000001");
    EXPECT_EQ(find(module), "");
}

TEST_F(IdentitySearch, attemptsAreSharedByTheSearchesOfOneClient)
{
    put(module, "tool");
    const ObjectPtr<IFileSearch> first = search();
    const auto parent = manager->openContext((result + "/").c_str());
    const auto child = manager->openChildContext((result + "/part").c_str(), true);
    ASSERT_TRUE(manager->linkContexts(child, parent));
    const ObjectPtr<IFileSearch> same = manager->createFileSearch(child, "client", {});
    const ObjectPtr<IFileSearch> other = manager->createFileSearch(child, "other", {});
    EXPECT_EQ(findBy(*same, module), module);
    EXPECT_EQ(told(first->getAttempts(module.c_str())),
              std::vector<std::string>{told(place_t::path, module, refusal_t::none)});
    EXPECT_TRUE(other->getAttempts(module.c_str()).empty());
    EXPECT_TRUE(first->getAttempts("never asked for").empty());
}

TEST_F(IdentitySearch, theNextSearchForANameReplacesItsAttempts)
{
    const ObjectPtr<IFileSearch> searching = search();
    EXPECT_EQ(findBy(*searching, module), "");
    EXPECT_GT(searching->getAttempts(module.c_str()).size(), 1U);
    put(module, "tool");
    EXPECT_EQ(findBy(*searching, module), module);
    EXPECT_EQ(searching->getAttempts(module.c_str()).size(), 1U);
}

TEST_F(IdentitySearch, aSymbolFileIsFoundWithoutAValidatorOfTheCaller)
{
    put(module, good);
    outputOf("objcopy --only-keep-debug " + shellQuoted(module) + " " +
             shellQuoted(module + ".debug"));
    std::filesystem::create_directories(at("debug") + module);
    std::filesystem::rename(module + ".debug", at("debug") + module + ".debug");
    const auto file = search()->findSymbolFile(nullptr, module.c_str(), 0, nullptr, "", 0, 0);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->getPath(), at("debug") + module + ".debug");
    const std::string missing = at("missing");
    EXPECT_FALSE(search()->findSymbolFile(nullptr, missing.c_str(), 0, nullptr, "", 0, 0));
    EXPECT_FALSE(search()->findSymbolFile(nullptr, nullptr, 0, nullptr, nullptr, 0, 0));
}

} // namespace
