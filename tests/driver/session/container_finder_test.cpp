#include "side_band_fixture.h"

#include "session/container_finder.h"
#include "session/containers.h"

namespace samplefold::session {
namespace {

using testing::SideBandTest;
using lines_t = std::vector<std::string>;

constexpr std::uint64_t initialPid = 4026531836; ///< as "ls -l /proc/1/ns/pid" shows it
constexpr std::uint64_t hostMount = 4026531841;

class ContainerFinderTest : public SideBandTest {
protected:
    void namespaces(std::uint64_t time, std::uint32_t pid, std::uint64_t pidInode,
                    std::uint64_t mountInode, std::uint32_t tid = 0)
    {
        Bytes body;
        body.u32(pid).u32(tid != 0 ? tid : pid).u64(7);
        for (const std::uint64_t inode : {11ULL, 12ULL, 13ULL, 0ULL, 15ULL, 1ULL, 17ULL}) {
            body.u64(4); // device
            body.u64(inode == 0 ? pidInode : inode == 1 ? mountInode : inode);
        }
        add(16, body, time, 0);
    }
    void cgroup(std::uint64_t id, std::string_view path)
    {
        Bytes body;
        body.u64(id).paddedText(path);
        add(19, body, 0, 0);
    }
    void sampleIn(std::uint64_t time, std::uint32_t pid, std::uint64_t cgroupId)
    {
        Bytes body;
        body.u64(0x1000).u32(pid).u32(pid).u64(time).u64(cgroupId);
        file().add(9, body);
    }

    ContainerMembers find(const std::vector<ContainerOption>& options = {})
    {
        file().event(event());
        m_bytes = file().file();
        const auto recording = perfdata::Recording::fromBytes(m_bytes.span(), "test");
        EXPECT_FALSE(recording.fault());
        return findContainers(recording, options, {});
    }
    /// Who is in which container, "pid label since" each.
    lines_t found(const std::vector<ContainerOption>& options = {})
    {
        const ContainerMembers members = find(options);
        lines_t lines;
        for (const auto& [pid, member] : members.byPid)
            lines.push_back(std::to_string(pid) + " " + members.containers[member.container].label +
                            " " + std::to_string(member.since));
        return lines;
    }

    Bytes m_bytes;
};

TEST_F(ContainerFinderTest, WithoutOptionsAndNamespacesNobodyIsInAContainer)
{
    fork(100, 6, 6, 5);
    EXPECT_EQ(found(), lines_t{});
}

TEST_F(ContainerFinderTest, AGivenProcessIsInItsContainerFromTheStartOn)
{
    mmap(100, 5, 0x1000, 0x1000, "/bin/a");
    const ContainerMembers members = find({{5, "web", "/srv/web"}});
    ASSERT_EQ(members.containers.size(), 1U);
    EXPECT_EQ(members.containers[0].label, "web");
    EXPECT_EQ(members.containers[0].root, "/srv/web");
    EXPECT_EQ(members.containers[0].detail, "root /srv/web");
    EXPECT_EQ(members.byPid.at(5).since, 0U);
    EXPECT_TRUE(members.unknownPids.empty());
}

TEST_F(ContainerFinderTest, DescendantsOfAGivenProcessAreInItsContainer)
{
    fork(100, 6, 6, 5);
    fork(200, 7, 7, 6);
    fork(300, 9, 9, 8);
    EXPECT_EQ(found({{5, "web", "/a"}}), (lines_t{"5 web 0", "6 web 100", "7 web 200"}));
}

TEST_F(ContainerFinderTest, AThreadIsNoDescendant)
{
    fork(100, 5, 6, 5);
    EXPECT_EQ(found({{5, "web", "/a"}}), lines_t{"5 web 0"});
}

TEST_F(ContainerFinderTest, AChildThatIsGivenItsOwnContainerPassesThatOn)
{
    fork(100, 6, 6, 5);
    fork(200, 7, 7, 6);
    EXPECT_EQ(found({{5, "web", "/a"}, {6, "db", "/b"}}),
              (lines_t{"5 web 0", "6 db 0", "7 db 200"}));
}

TEST_F(ContainerFinderTest, DescendantsFromBeforeTheRecordingAreFoundInAnyOrder)
{
    fork(0, 2, 2, 3, synthesised);
    fork(0, 3, 3, 5, synthesised);
    fork(0, 4, 4, 2, synthesised);
    EXPECT_EQ(found({{5, "web", "/a"}}), (lines_t{"2 web 0", "3 web 0", "4 web 0", "5 web 0"}));
}

TEST_F(ContainerFinderTest, ParentsInACircleEnd)
{
    fork(0, 2, 2, 3, synthesised);
    fork(0, 3, 3, 2, synthesised);
    EXPECT_EQ(found({{2, "web", "/a"}}), (lines_t{"2 web 0", "3 web 0"}));
}

TEST_F(ContainerFinderTest, TwoProcessesCanBeGivenOneContainer)
{
    const ContainerMembers members = find({{5, "web", "/a"}, {6, "web", "/a"}});
    EXPECT_EQ(members.containers.size(), 1U);
    EXPECT_EQ(members.byPid.size(), 2U);
}

TEST_F(ContainerFinderTest, AGivenProcessThatTheRecordingDoesNotHaveIsNamed)
{
    mmap(100, 5, 0x1000, 0x1000, "/bin/a");
    EXPECT_EQ(find({{5, "web", "/a"}, {77, "web", "/a"}}).unknownPids,
              std::vector<std::int32_t>{77});
}

TEST_F(ContainerFinderTest, TheInitialPidNamespaceIsOutsideWhateverTheNumbers)
{
    namespaces(0, 3, 70, hostMount);
    namespaces(0, 5, initialPid, hostMount);
    EXPECT_EQ(found(), lines_t{"3 pidns-70 0"});
}

TEST_F(ContainerFinderTest, WithoutTheInitialOneThatOfTheLowestProcessIsOutside)
{
    namespaces(0, 9, 71, 81);
    namespaces(0, 5, 70, 80);
    namespaces(0, 7, 70, 80);
    EXPECT_EQ(found(), lines_t{"9 pidns-71 0"});
}

TEST_F(ContainerFinderTest, WhereAllShareOneNamespaceNobodyIsInAContainer)
{
    namespaces(0, 5, 70, 80);
    namespaces(100, 6, 70, 80);
    EXPECT_EQ(found(), lines_t{});
}

TEST_F(ContainerFinderTest, AMountNamespaceAloneMakesNoContainer)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(0, 5, initialPid, 81);
    EXPECT_EQ(found(), lines_t{});
}

TEST_F(ContainerFinderTest, ANamespaceThatCouldNotBeReadTellsNothing)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(0, 5, 0, 0);
    EXPECT_EQ(found(), lines_t{});
}

TEST_F(ContainerFinderTest, SingleThreadsInOtherNamespacesDoNotCount)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(0, 5, initialPid, hostMount);
    namespaces(50, 5, initialPid, 81, 6);
    EXPECT_EQ(found(), lines_t{});
}

TEST_F(ContainerFinderTest, ContainersWithOtherFilesHaveOtherLabels)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(0, 5, 70, 81);
    namespaces(0, 6, 70, 82);
    namespaces(0, 7, 70, 81);
    EXPECT_EQ(found(), (lines_t{"5 pidns-70 0", "6 pidns-70-mntns-82 0", "7 pidns-70 0"}));
}

TEST_F(ContainerFinderTest, AProcessIsInAContainerFromTheTimeThatItTells)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(100, 5, initialPid, hostMount);
    namespaces(200, 5, 70, 81);
    EXPECT_EQ(found(), lines_t{"5 pidns-70 200"});
}

TEST_F(ContainerFinderTest, AProcessThatGoesOnIntoAnotherContainerIsInThat)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(100, 5, 70, 81);
    namespaces(200, 5, 71, 82);
    namespaces(300, 5, 71, 82);
    EXPECT_EQ(found(), lines_t{"5 pidns-71 200"});
}

TEST_F(ContainerFinderTest, ANumberThatIsUsedAgainKeepsItsContainer)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(100, 5, 70, 81);
    fork(200, 5, 5, 1);
    namespaces(200, 5, 71, 82);
    EXPECT_EQ(found(), lines_t{"5 pidns-70 100"});
}

TEST_F(ContainerFinderTest, WhatTheUserGaveWinsOverNamespaces)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(0, 5, 70, 81);
    fork(100, 6, 6, 5);
    namespaces(100, 6, 70, 81);
    EXPECT_EQ(found({{5, "web", "/a"}}), (lines_t{"5 web 0", "6 web 100"}));
}

TEST_F(ContainerFinderTest, AChildThatTellsNoNamespacesIsWhereItsParentIs)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(0, 5, 70, 81);
    fork(100, 6, 6, 5);
    EXPECT_EQ(found(), (lines_t{"5 pidns-70 0", "6 pidns-70 100"}));
}

TEST_F(ContainerFinderTest, AChildThatTellsThatItIsOutsideStaysThere)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(0, 5, 70, 81);
    fork(100, 6, 6, 5);
    namespaces(100, 6, initialPid, hostMount);
    EXPECT_EQ(found(), lines_t{"5 pidns-70 0"});
}

TEST_F(ContainerFinderTest, TheDetailTellsWhatIsKnown)
{
    namespaces(0, 1, initialPid, hostMount);
    namespaces(0, 5, 70, 81);
    const ContainerMembers members = find();
    ASSERT_EQ(members.containers.size(), 1U);
    EXPECT_EQ(members.containers[0].detail, "pid namespace 70, mount namespace 81");
    EXPECT_EQ(members.containers[0].root, "");
}

TEST_F(ContainerFinderTest, TheControlGroupOfItsSamplesNamesAContainer)
{
    const std::string identity = "0f1e2d3c4b5a" + std::string(52, '7');
    event().sampleType |= perfdata::sampleBit::Cgroup;
    namespaces(0, 1, initialPid, hostMount);
    namespaces(0, 5, 70, 81);
    cgroup(900, "/host");
    cgroup(901, "/docker/" + identity);
    sampleIn(100, 1, 900);
    sampleIn(200, 5, 901);
    const ContainerMembers members = find();
    ASSERT_EQ(members.containers.size(), 1U);
    EXPECT_EQ(members.containers[0].label, "0f1e2d3c4b5a");
    EXPECT_EQ(members.containers[0].detail,
              "pid namespace 70, mount namespace 81, cgroup /docker/" + identity);
}

TEST_F(ContainerFinderTest, MappingsAreEnteredByThePathInTheContainer)
{
    mmap(0, 5, 0x1000, 0x1000, "/usr/bin/t"); // before what tells its container
    mmap(0, 5, 0x3000, 0x1000, "//anon");
    mmap(0, 1, 0x1000, 0x1000, "/usr/bin/t");
    namespaces(0, 1, initialPid, hostMount);
    namespaces(0, 5, 70, 81);
    file().event(event());
    m_bytes = file().file();
    const auto recording = perfdata::Recording::fromBytes(m_bytes.span(), "test");
    const Containers containers(db(), findContainers(recording, {}, {}), quality);
    ModuleCatalog modules;
    SideBandCollector(recording, processes, modules, quality, &containers).collect({});
    testing::storeModules(result(), modules);
    EXPECT_EQ(pathAt(processes.newest(5), 0x1000, 1), "pidns-70:/usr/bin/t");
    EXPECT_EQ(pathAt(processes.newest(5), 0x3000, 1), "//anon");
    EXPECT_EQ(pathAt(processes.newest(1), 0x1000, 1), "/usr/bin/t");
}

} // namespace
} // namespace samplefold::session
