// How fast a recording is read when nothing is done with it: opens it (which scans all records),
// delivers all samples in time order to a sink that only adds up, and prints millions of samples
// per second of processor time for both, and the highest resident memory, which includes pages of
// the mapped file.

#include "perfdata/recording.h"

#include <sys/resource.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <exception>

namespace {

using samplefold::perfdata::Recording;

/// Adds up a field, so that the decoding cannot be left out.
class Sum final : public samplefold::perfdata::RecordSink {
public:
    void onSample(const samplefold::perfdata::Sample& sample) override
    {
        ++samples;
        periods += sample.period;
    }

    std::uint64_t samples = 0;
    std::uint64_t periods = 0;
};

double processorSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

void run(const char* path)
{
    const double start = processorSeconds();
    const Recording recording = Recording::open(path);
    const double opened = processorSeconds();
    Sum sum;
    recording.deliver(sum);
    const double delivered = processorSeconds();
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double millions = static_cast<double>(sum.samples) / 1e6;
    std::printf(
        "samples %llu, periods %llu: scan %.1f, deliver %.1f, both %.1f million/s, %.1f MB\n",
        static_cast<unsigned long long>(sum.samples), static_cast<unsigned long long>(sum.periods),
        millions / (opened - start), millions / (delivered - opened),
        millions / (delivered - start), static_cast<double>(usage.ru_maxrss) / 1024.0);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: read_profile PERF.DATA\n", stderr);
        return 2;
    }
    try {
        run(argv[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
