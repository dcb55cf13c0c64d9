// The image of the kernel, asked for by a flag.

#include "seek_fixture.h"

#include <sys/utsname.h>

#include <filesystem>

namespace {

using SEEK_2_13::binaryFileKind;
using SEEK_2_13::IFileSearch;
using SEEK_2_13::ObjectPtr;
using SEEK_2_13::place_t;
using SEEK_2_13::refusal_t;
namespace search_flag = SEEK_2_13::search_flag;
using seek_test::put;
using seek_test::SampleElf;
using seek_test::SeekTest;
using seek_test::told;

class KernelSearch : public SeekTest {
protected:
    KernelSearch()
    {
        utsname name = {};
        ::uname(&name);
        release = name.release;
    }
    std::string findKernel(const std::string& name = "kcore") const
    {
        return find(name, nullptr, search_flag::kernelImage);
    }
    /// The note that a kernel shows, written by hand: sizes 4 and 20, type 3, "GNU", the id.
    void showNotes(std::string_view hex) const
    {
        std::string bytes("\4\0\0\0\x14\0\0\0\3\0\0\0GNU\0", 16);
        for (std::size_t i = 0; i < hex.size(); i += 2)
            bytes += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
        put(at("notes"), bytes);
    }

    std::string release;
};

TEST_F(KernelSearch, goesThroughItsPlacesInOrder)
{
    addDir(binaryFileKind, at("dir"));
    const std::pair<place_t, std::string> places[] = {
        {place_t::kernelCore, at("kcore")},
        {place_t::bootFolder, at("boot/vmlinux-" + release)},
        {place_t::debugRoot, at("debug/boot/vmlinux-" + release)},
        {place_t::archive, result + "/archive/vmlinux-" + release},
        {place_t::archive, result + "/archive/vmlinux"},
        {place_t::archive, result + "/archive/kcore"},
        {place_t::addedDirectory, at("dir/vmlinux-" + release)},
        {place_t::addedDirectory, at("dir/vmlinux")},
        {place_t::addedDirectory, at("dir/kcore")}};
    for (const auto& [place, path] : places)
        put(path, "image");
    std::vector<std::string> expected;
    for (const auto& [place, path] : places) {
        expected.push_back(told(place, path, refusal_t::none));
        const ObjectPtr<IFileSearch> searching = search();
        EXPECT_EQ(findBy(*searching, "kcore", nullptr, search_flag::kernelImage), path);
        EXPECT_EQ(told(searching->getAttempts("kcore")), expected);
        expected.back() = told(place, path, refusal_t::notFound);
        std::filesystem::remove(path);
    }
    EXPECT_EQ(findKernel(), "");
}

TEST_F(KernelSearch, theNameAloneDoesNotAskForTheKernel)
{
    put(at("kcore"), "image");
    put(at("boot/vmlinux-" + release), "image");
    EXPECT_EQ(find("kcore"), "");
}

TEST_F(KernelSearch, theKernelThatRunsIsNotTakenForAnother)
{
    put(at("kcore"), "image");
    put(at("boot/vmlinux-1.2.3-other"), "image");
    put(at("boot/vmlinux-" + release), "image");
    data.places.kernelRelease = "1.2.3-other";
    const ObjectPtr<IFileSearch> searching = search();
    EXPECT_EQ(findBy(*searching, "kcore", nullptr, search_flag::kernelImage),
              at("boot/vmlinux-1.2.3-other"));
    EXPECT_EQ(searching->getAttempts("kcore")[0].refusal, refusal_t::otherKernel);
}

TEST_F(KernelSearch, aReleaseThatIsAPathNamesNoFile)
{
    put(at("secret"), "secret");
    put(at("boot/vmlinux-x/y"), "y");
    data.places.kernelRelease = "x/../../secret";
    EXPECT_EQ(findKernel(), "");
}

TEST_F(KernelSearch, anExpectedIdIsComparedWithTheNotesOfTheKernelThatRuns)
{
    data.buildIds["kcore"] = SampleElf::rightId;
    put(at("kcore"), "a core that nobody reads");
    const std::string image =
        put(at("boot/vmlinux-" + release), SampleElf::withId(SampleElf::rightId));
    EXPECT_EQ(findKernel(), image); // no notes
    showNotes(SampleElf::wrongId);
    EXPECT_EQ(findKernel(), image);
    showNotes(SampleElf::rightId);
    EXPECT_EQ(findKernel(), at("kcore"));
    put(image, SampleElf::withId(SampleElf::wrongId));
    showNotes(SampleElf::wrongId);
    EXPECT_EQ(findKernel(), "");
}

TEST_F(KernelSearch, anImageUnderItsBuildIdComesBeforeOneByName)
{
    data.buildIds["kcore"] = SampleElf::rightId;
    const std::string image = SampleElf::withId(SampleElf::rightId);
    put(at("boot/vmlinux-" + release), image);
    const std::string cached =
        put(at("cache/.build-id/01/" + std::string(SampleElf::rightId.substr(2)) + "/elf"), image);
    EXPECT_EQ(findKernel(), cached);
}

TEST_F(KernelSearch, theRealPlacesAnswerWithoutHanging)
{
    data.places = {};
    const std::string found = findKernel();
    EXPECT_TRUE(found.empty() || std::filesystem::is_regular_file(found)) << found;
}

} // namespace
