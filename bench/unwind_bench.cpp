// How long the stacks of the kept deeptree recording take to unwind, against `perf script` on the
// same recording with the same binaries in the same run. perf's share is what printing chains takes
// more than printing the same samples without them (-G). Of ours the same is done: passes over the
// recording that unwind, less passes that only hand over the samples. Every figure is the least
// processor time of several runs, user and system.
#include "driver/unwind/deeptree.h"

#include <support/temporary_folder.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

namespace {

namespace fs = std::filesystem;
using samplefold::unwind::Machine;
using samplefold::unwind::testing::Deeptree;
using samplefold::unwind::testing::recordedBinary;
using samplefold::unwind::testing::Unwound;

constexpr int g_runs = 5;
constexpr int g_passes = 20; ///< of ours in a run, each with an unwinder of its own

double processorSeconds(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double least(int who, const std::function<void()>& work)
{
    double best = 1e9;
    for (int run = 0; run < g_runs; ++run) {
        const double before = processorSeconds(who);
        work();
        best = std::min(best, processorSeconds(who) - before);
    }
    return best;
}

/// Prints the samples by perf, with the binaries where the recording names them.
void runPerf(const fs::path& folder, const char* options)
{
    const std::string command = "perf script --no-inline --symfs " + folder.string() + " -i " +
                                (folder / "perf.data").string() + " -F tid,time,event,ip " +
                                options + " > /dev/null 2>&1";
    if (std::system(command.c_str()) != 0)
        std::fprintf(stderr, "perf failed: %s\n", command.c_str());
}

void prepare(const fs::path& folder)
{
    const fs::path binaries = folder / "opt/sfdemo";
    fs::create_directories(binaries);
    for (const char* name : {"deeptree", "libsfleaf.so"})
        fs::copy_file(recordedBinary(name), binaries / name);
    const std::string recording =
        std::string(SF_TEST_DATA_DIR) + "/perf/deeptree-dwarf/deeptree-dwarf.perf.data.gz";
    const std::string command = "gzip -dc " + recording + " > " + (folder / "perf.data").string();
    if (std::system(command.c_str()) != 0) std::exit(1);
}

} // namespace

int main()
{
    const samplefold_test::TemporaryFolder folder;
    prepare(folder.path());
    Deeptree recording;
    std::size_t stacks = 0;
    std::size_t frames = 0;
    const auto pass = [&](Machine machine) {
        for (int i = 0; i < g_passes; ++i) {
            const std::vector<Unwound> all = recording.unwindAll(machine);
            stacks = all.size();
            frames = 0;
            for (const Unwound& stack : all)
                frames += stack.frames.size();
        }
    };
    const double bare = least(RUSAGE_SELF, [&] { pass(Machine::other); }) / g_passes;
    const double whole = least(RUSAGE_SELF, [&] { pass(Machine::x86_64); }) / g_passes;
    const double perfBare = least(RUSAGE_CHILDREN, [&] { runPerf(folder.path(), "-G"); });
    const double perfWhole = least(RUSAGE_CHILDREN, [&] { runPerf(folder.path(), ""); });
    const double ours = (whole - bare) / static_cast<double>(stacks) * 1e6;
    const double theirs = (perfWhole - perfBare) / static_cast<double>(stacks) * 1e6;
    std::printf("%zu stacks, %zu frames\n", stacks, frames);
    std::printf("unwinding:   %8.2f us a stack, %.3f us a frame\n", ours,
                ours * static_cast<double>(stacks) / static_cast<double>(frames));
    std::printf("perf script: %8.2f us a stack; perf / ours = %.1f\n", theirs, theirs / ours);
    return 0;
}
