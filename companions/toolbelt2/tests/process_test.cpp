#include "child_fixture.h"

#include "support/scoped_environment.h"

#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>

namespace toolbelt2::process {
namespace {

using namespace std::chrono_literals;

/// Whether the process does something still: one that has ended may wait for its parent's leave.
bool isAlive(pid_t id)
{
    std::ifstream file("/proc/" + std::to_string(id) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t name = text.rfind(')');
    return name != std::string::npos && text.substr(name, 3) != ") Z";
}

std::string g_raised;

void noteRaised(std::int32_t, std::string_view text, const char*, int)
{
    g_raised = text;
}

TEST_F(ChildTest, WhatTheChildPrintsReachesTheReaderWhole)
{
    EXPECT_EQ(run("printf 'one\\ntwo'"), 0);
    EXPECT_EQ(output->text, "one\ntwo");
}

TEST_F(ChildTest, OutputInPiecesComesInOrder)
{
    EXPECT_EQ(run("printf 'half a l'; sleep 0.2; printf 'ine\\n'"), 0);
    EXPECT_EQ(output->text, "half a line\n");
    EXPECT_GE(output->pieces, 2);
}

TEST_F(ChildTest, MegabytesPassThroughUnchanged)
{
    EXPECT_EQ(run("seq 1 500000"), 0);
    std::string expected;
    for (int number = 1; number <= 500000; ++number)
        expected += std::to_string(number) + "\n";
    EXPECT_TRUE(output->text == expected) << output->text.size() << " bytes";
}

TEST_F(ChildTest, ArgumentsArriveAsTheyAre)
{
    start(script("tool", "for a in \"$@\"; do printf '[%s]' \"$a\"; done"),
          {"-pl", "", "two words", "'$HOME' \\ *"});
    EXPECT_EQ(process->join().value(), 0);
    EXPECT_EQ(output->text, "[-pl][][two words]['$HOME' \\ *]");
}

TEST_F(ChildTest, AStatusOtherThanNullIsAFailureAndTheOutputIsKept)
{
    EXPECT_EQ(run("echo said; exit 3"), error::childFailed);
    EXPECT_EQ(output->text, "said\n");
}

TEST_F(ChildTest, AnEndBySignalIsAFailure)
{
    EXPECT_EQ(run("kill -SEGV $$"), error::childFailed);
}

TEST_F(ChildTest, AnEndWhoseStatusIsLostIsAFailure)
{
    g_raised.clear();
    const auto formerHandler = error_code_t::setRaiseHandler(noteRaised);
    const auto former = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(run("echo said; exit 3"), error::childFailed);
    std::signal(SIGCHLD, former);
    error_code_t::setRaiseHandler(formerHandler);
    EXPECT_EQ(output->text, "said\n");
    EXPECT_EQ(g_raised, folder.path("tool") + ": ended, and its status is lost: SIGCHLD is ignored "
                                              "or handled elsewhere");
}

TEST_F(ChildTest, AChildWhoseStatusIsLostIsStoppedInTimeStill)
{
    process->setLimits({.time = 300ms});
    const auto former = std::signal(SIGCHLD, SIG_IGN);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run("exec >&-; sleep 100"), error::tookTooLong);
    EXPECT_LT(secondsSince(begin), 20);
    std::signal(SIGCHLD, former);
}

TEST_F(ChildTest, StandardErrorHasAReaderOfItsOwn)
{
    const auto errors = make_counted<Collector>();
    EXPECT_TRUE(process->setPipeReader(2, errors).succeeded());
    EXPECT_EQ(run("echo out; echo err >&2"), 0);
    EXPECT_EQ(output->text, "out\n");
    EXPECT_EQ(errors->text, "err\n");
}

TEST_F(ChildTest, StandardInputIsEmpty)
{
    EXPECT_EQ(run("cat; echo end"), 0);
    EXPECT_EQ(output->text, "end\n");
}

TEST_F(ChildTest, WithoutAnEnvironmentTheChildHasThatOfThisProcess)
{
    const samplefold_test::ScopedEnvironment set("SF_PROCESS_TEST", "here");
    EXPECT_EQ(run("printf %s \"$SF_PROCESS_TEST\""), 0);
    EXPECT_EQ(output->text, "here");
}

TEST_F(ChildTest, AGivenEnvironmentIsAllTheChildHas)
{
    const samplefold_test::ScopedEnvironment set("SF_PROCESS_TEST", "here");
    const environment_t environment{{"OTHER", "there"}};
    start(script("tool", "printf '%s %s' \"$SF_PROCESS_TEST\" \"$OTHER\""), {}, &environment);
    EXPECT_EQ(process->join().value(), 0);
    EXPECT_EQ(output->text, " there");
}

TEST_F(ChildTest, AMissingToolFailsAtTheStartAndAtTheJoin)
{
    EXPECT_EQ(start("nothing").value(), error::cannotStart);
    EXPECT_EQ(process->join().value(), error::cannotStart);
}

TEST_F(ChildTest, AToolIsNotLookedForInPath)
{
    EXPECT_EQ(start("true").value(), error::cannotStart) << "there is one in PATH";
}

TEST_F(ChildTest, AToolOutsideTheDirectoryIsRefused)
{
    EXPECT_EQ(start("../../bin/true").value(), error::cannotStart);
    EXPECT_EQ(IProcess::create()->start("/bin/true", {}, nullptr, "/", 1, 0, 1).value(),
              error::cannotStart);
    EXPECT_EQ(IProcess::create()->start("true", {}, nullptr, "", 1, 0, 1).value(),
              error::cannotStart);
}

TEST_F(ChildTest, WhatCannotRunIsRefused)
{
    folder.addFile("text", "not executable");
    EXPECT_EQ(start("text").value(), error::cannotStart);
    folder.addFolder("folder");
    EXPECT_EQ(IProcess::create()->start("folder", {}, nullptr, folder.path(), 1, 0, 1).value(),
              error::cannotStart);
}

TEST_F(ChildTest, AnExecutableFileOfNoKnownKindIsRefused)
{
    std::filesystem::permissions(folder.addFile("bytes", std::string("\x7f"
                                                                     "EL\0\1\2",
                                                                     6)),
                                 std::filesystem::perms::owner_all);
    EXPECT_EQ(start("bytes").value(), error::cannotStart);
}

TEST_F(ChildTest, AChildThatNeverEndsIsStoppedInTime)
{
    process->setLimits({.time = 300ms});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run("echo before; sleep 100"), error::tookTooLong);
    EXPECT_LT(secondsSince(begin), 20);
    EXPECT_EQ(output->text, "before\n");
}

TEST_F(ChildTest, AChildThatClosesItsOutputAndGoesOnIsStoppedInTime)
{
    process->setLimits({.time = 300ms});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run("exec >&-; sleep 100"), error::tookTooLong);
    EXPECT_LT(secondsSince(begin), 20);
}

TEST_F(ChildTest, AProcessThatTheChildLeavesBehindHoldsNobodyUp)
{
    process->setLimits({.time = 300ms});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run("sleep 100 & echo $!"), error::tookTooLong) << "it holds the output";
    EXPECT_LT(secondsSince(begin), 20);
    const pid_t left = std::stoi(output->text);
    for (int tries = 0; tries < 1000 && isAlive(left); ++tries)
        ::usleep(10'000); // signals take their time
    EXPECT_FALSE(isAlive(left)) << "it goes with the group";
}

TEST_F(ChildTest, OutputWithoutEndIsCutAtTheLimit)
{
    process->setLimits({.bytes = 100'000});
    EXPECT_EQ(run("yes"), error::wroteTooMuch);
    EXPECT_EQ(output->text.size(), 100'000u);
}

TEST_F(ChildTest, OutputOfExactlyTheLimitIsAllowed)
{
    process->setLimits({.bytes = 8});
    EXPECT_EQ(run("printf 12345678"), 0);
    EXPECT_EQ(output->text, "12345678");
}

TEST_F(ChildTest, AReaderThatRefusesStopsTheChildAndTellsWhy)
{
    output->taken = 0;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(run("echo first; sleep 100"), 77);
    EXPECT_LT(secondsSince(begin), 9);
    EXPECT_EQ(output->pieces, 1);
}

TEST_F(ChildTest, ASecondJoinGivesTheFirstResult)
{
    EXPECT_EQ(run("exit 1"), error::childFailed);
    EXPECT_EQ(process->join().value(), error::childFailed);
}

TEST_F(ChildTest, AProcessRunsOnce)
{
    EXPECT_EQ(run("echo once"), 0);
    EXPECT_EQ(process->start("tool", {}, nullptr, folder.path(), 1, 0, 1).value(), error::wrongUse);
    EXPECT_EQ(process->join().value(), 0);
    EXPECT_EQ(output->text, "once\n");
}

TEST_F(ChildTest, WithoutAStartThereIsNothingToJoin)
{
    EXPECT_EQ(process->join().value(), error::wrongUse);
}

TEST_F(ChildTest, ReadersAreSetForTheTwoOutputsAndBeforeTheStart)
{
    EXPECT_EQ(process->setPipeReader(0, output).value(), error::wrongUse);
    EXPECT_EQ(process->setPipeReader(3, output).value(), error::wrongUse);
    EXPECT_EQ(process->setPipeReader(1, {}).value(), error::wrongUse);
    start(script("tool", ":"));
    EXPECT_EQ(process->setPipeReader(1, output).value(), error::wrongUse);
    EXPECT_EQ(process->join().value(), 0);
}

TEST_F(ChildTest, AChildThatNobodyJoinsEndsWithItsHandle)
{
    ASSERT_TRUE(start(script("tool", "echo $$ > \"$0.pid\"; sleep 100")).succeeded());
    const std::string file = folder.path("tool.pid");
    for (int tries = 0; tries < 1000 && std::filesystem::exists(file) == false; ++tries)
        ::usleep(10'000);
    ::usleep(50'000);
    pid_t child = 0;
    std::ifstream(file) >> child;
    ASSERT_GT(child, 0);
    process.reset();
    EXPECT_FALSE(isAlive(child));
}

TEST_F(ChildTest, NewProcessesTakeTheLimitsInForce)
{
    const limits_t former = setDefaultLimits({.time = 200ms, .bytes = 10});
    process = IProcess::create();
    EXPECT_EQ(setDefaultLimits(former).bytes, 10u);
    EXPECT_EQ(run("printf 12345678901"), error::wroteTooMuch);
    EXPECT_EQ(former.time, 10s);
    EXPECT_EQ(former.bytes, std::size_t{16} << 20);
}

TEST_F(ChildTest, AFailureIsRaisedWithTheToolsName)
{
    g_raised.clear();
    const auto former = error_code_t::setRaiseHandler(noteRaised);
    run("exit 9");
    error_code_t::setRaiseHandler(former);
    EXPECT_EQ(g_raised, folder.path("tool") + ": ended with status 9");
}

} // namespace
} // namespace toolbelt2::process
