#include "scratch_result.h"

#include "session/containers.h"
#include "session/module_files.h"

namespace samplefold::session {
namespace {

using testing::ScratchResultTest;
using lines_t = std::vector<std::string>;

class ContainersTest : public ScratchResultTest {
protected:
    static ContainerMembers members(std::vector<Container> containers,
                                    std::map<std::int32_t, ContainerMember> byPid)
    {
        return {std::move(containers), std::move(byPid), {}};
    }
    /// Containers of one process, 5, in a container with that root.
    Containers oneWith(const std::string& root)
    {
        return Containers(db(), members({{"web", "root " + root, root}}, {{5, {0, 0}}}), quality);
    }
    lines_t rows()
    {
        return ask("SELECT p.pid, p.host_root, d.label, d.detail FROM dd_process_in_container p "
                   "JOIN dd_container_desc d ON d.id = p.container ORDER BY p.id");
    }

    QualityLog quality;
};

TEST_F(ContainersTest, AProcessHasARowThatNamesItsContainer)
{
    const Containers containers(db(),
                                members({{"web", "one", "/srv/lib/web/root"}, {"db", "two", ""}},
                                        {{5, {0, 0}}, {6, {0, 0}}, {7, {1, 0}}}),
                                quality);
    EXPECT_EQ(rows(), (lines_t{"5|/srv/lib|web|one", "6|/srv/lib|web|one", "7|/./|db|two"}));
    EXPECT_EQ(ask("SELECT count(*) FROM dd_container_desc"), lines_t{"2"});
}

TEST_F(ContainersTest, ALaterLoadUsesTheRowsThatAreThere)
{
    oneWith("/a/b/c");
    reopen();
    const Containers again = oneWith("/a/b/c");
    EXPECT_EQ(rows(), (lines_t{"5|/a|web|root /a/b/c"}));
    EXPECT_EQ(again.pathOf(5, 1, "/a/b/c/usr/bin/t"), "web:/usr/bin/t");
}

class EveryRoot : public ContainersTest, public ::testing::WithParamInterface<const char*> {
protected:
    std::string below(const std::string& path) const
    {
        const std::string root = GetParam();
        return root == "/" ? path : root + path;
    }
};

TEST_P(EveryRoot, APathBelowItIsShownAsTheContainerSeesIt)
{
    EXPECT_EQ(oneWith(GetParam()).pathOf(5, 1, below("/usr/bin/t")), "web:/usr/bin/t");
}

TEST_P(EveryRoot, APathThatIsNotNormalisedIsCountedRight)
{
    EXPECT_EQ(oneWith(GetParam()).pathOf(5, 1, below("//usr/./bin/x/../t")), "web:/usr/bin/t");
}

TEST_P(EveryRoot, TheLibraryReadsTheRowsTheSameWay)
{
    oneWith(GetParam());
    samplefold_1::ProcessInContainer library(db());
    library.init(db());
    EXPECT_EQ(library.getPathInContainer(5, below("/usr/bin/t")), "web:/usr/bin/t");
    EXPECT_EQ(library.addPrefixToContainerPath(5, "/usr/bin/t"), "web:/usr/bin/t");
}

INSTANTIATE_TEST_SUITE_P(OfAnyDepth, EveryRoot,
                         ::testing::Values("/", "/a", "/a/b", "/a/b/c", "/a/b/c/d/merged"));

TEST_F(ContainersTest, APathOutsideTheRootIsTheInsideViewAlready)
{
    const Containers containers = oneWith("/a/b/c/d");
    EXPECT_EQ(containers.pathOf(5, 1, "/usr/bin/t"), "web:/usr/bin/t");
    EXPECT_EQ(containers.pathOf(5, 1, "/x/y/z/a/b/usr"), "web:/x/y/z/a/b/usr")
        << "what is stored occurs in it";
    EXPECT_EQ(containers.pathOf(5, 1, "/a/b/c/data/t"), "web:/a/b/c/data/t");
}

TEST_F(ContainersTest, APathOutsideAShortRootIsTheInsideViewToo)
{
    EXPECT_EQ(oneWith("/a").pathOf(5, 1, "/usr/bin/t"), "web:/usr/bin/t");
}

TEST_F(ContainersTest, WithoutARootEveryPathIsTheInsideView)
{
    const Containers containers(db(), members({{"pidns-7", "", ""}}, {{5, {0, 0}}}), quality);
    EXPECT_EQ(containers.pathOf(5, 1, "/usr/bin/t"), "pidns-7:/usr/bin/t");
    samplefold_1::ProcessInContainer library(db());
    library.init(db());
    EXPECT_EQ(library.getPathInContainer(5, "/usr/bin/t"), "pidns-7:/usr/bin/t");
}

TEST_F(ContainersTest, NamesThatAreNoFilesKeepTheirForm)
{
    const Containers containers = oneWith("/");
    for (const char* const name :
         {"", "[vdso]", "[vsyscall]", "[heap]", "//anon", "/dev/zero", "/memfd:x", "plain"})
        EXPECT_EQ(containers.pathOf(5, 1, name), name);
}

TEST_F(ContainersTest, OtherProcessesKeepTheirPaths)
{
    const Containers containers = oneWith("/a");
    EXPECT_EQ(containers.pathOf(6, 1, "/a/usr/bin/t"), "/a/usr/bin/t");
    EXPECT_EQ(containers.pathOf(-1, 1, "/lib/modules/x.ko"), "/lib/modules/x.ko");
}

TEST_F(ContainersTest, AProcessThatEntersAContainerKeepsThePathsFromBefore)
{
    const Containers containers(db(), members({{"web", "", ""}}, {{5, {0, 100}}}), quality);
    EXPECT_EQ(containers.pathOf(5, 99, "/usr/bin/enter"), "/usr/bin/enter");
    EXPECT_EQ(containers.pathOf(5, 100, "/usr/bin/t"), "web:/usr/bin/t");
}

TEST_F(ContainersTest, ANumberOfAnEarlierLoadInAnotherContainerIsTold)
{
    oneWith("/a/b/c");
    reopen();
    const Containers other(db(), members({{"db", "d", "/q"}}, {{5, {0, 0}}, {6, {0, 0}}}), quality);
    EXPECT_EQ(other.pathOf(5, 1, "/q/usr/bin/t"), "/q/usr/bin/t");
    EXPECT_EQ(other.pathOf(6, 1, "/q/usr/bin/t"), "db:/usr/bin/t");
    EXPECT_EQ(quality.count("processes whose number is that of one in another container of an "
                            "earlier load"),
              1U);
    EXPECT_EQ(ask("SELECT host_root FROM dd_process_in_container WHERE pid = 5"), lines_t{"/a"});
}

TEST_F(ContainersTest, ProcessesThatTheRecordingDoesNotHaveAreTold)
{
    ContainerMembers found = members({{"web", "", "/a"}}, {{5, {0, 0}}});
    found.unknownPids = {5};
    const Containers containers(db(), std::move(found), quality);
    EXPECT_EQ(quality.count("processes given with --container that the recording does not have"),
              1U);
}

TEST_F(ContainersTest, FilesAreLookedForBelowTheRootsThatAreKnown)
{
    const Containers containers(
        db(), members({{"web", "", "/srv/web"}, {"pidns-7", "", ""}}, {{5, {0, 0}}}), quality);
    FileSearchOptions options;
    options.pathMaps.push_back({"/from", "/to"});
    containers.addPathMaps(options);
    ASSERT_EQ(options.pathMaps.size(), 2U);
    EXPECT_EQ(options.pathMaps[0].from, "/from");
    EXPECT_EQ(options.pathMaps[1].from, "web:");
    EXPECT_EQ(options.pathMaps[1].to, "/srv/web");
}

TEST_F(ContainersTest, ALabelOfAnotherRootIsAConflict)
{
    oneWith("/srv/web");
    reopen();
    EXPECT_EQ(containerConflict(*db(), {{5, "web", "/srv/web"}}), "");
    EXPECT_EQ(containerConflict(*db(), {{5, "db", "/srv/db"}}), "");
    EXPECT_EQ(containerConflict(*db(), {{5, "web", "/srv/other"}}),
              "--container: the label web stands for another container in it (root /srv/web): "
              "give another label, or load into a new result");
}

TEST_F(ContainersTest, WithoutContainersNothingIsWritten)
{
    const Containers none(db(), {}, quality);
    EXPECT_EQ(none.pathOf(5, 1, "/usr/bin/t"), "/usr/bin/t");
    EXPECT_EQ(rows(), lines_t{});
}

} // namespace
} // namespace samplefold::session
