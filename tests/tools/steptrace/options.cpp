#include "options.h"

#include <CLI/CLI.hpp>

namespace steptrace {

void addOptions(CLI::App& app, Options& options)
{
    const CLI::Range records(1, 1024);
    const CLI::Range addresses(1, 4096);
    app.add_option("-o,--out", options.output, "Recording with records in call-stack mode")
        ->type_name("FILE")
        ->required();
    app.add_option("--any-out", options.anyOutput,
                   "The same samples with the last taken branches of any kind")
        ->type_name("FILE");
    app.add_option("--truth", options.truth, "The true chain of each sample, a line of JSON each")
        ->type_name("FILE");
    app.add_option("--period", options.period, "Instructions from sample to sample")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--cap", options.cap, "Addresses of the software chain at most")
        ->check(addresses)
        ->capture_default_str();
    app.add_option("--max-steps", options.maxSteps, "Instructions to run at most")
        ->capture_default_str();
    app.add_option("--max-samples", options.maxSamples, "Samples to take at most")
        ->capture_default_str();
    app.add_option("--skip", options.skip, "Instructions to run before the first sample")
        ->capture_default_str();
    app.add_option("--depth", options.depth, "Branch records at most")
        ->check(records)
        ->capture_default_str();
    app.add_option("--from", options.from,
                   "exec: trace the dynamic loader's start too; entry: from the entry point")
        ->check(CLI::IsMember({"exec", "entry"}))
        ->capture_default_str();
    app.add_option("--sw", options.software,
                   "Software chain; frame: as the kernel walks frame pointers; true: the truth")
        ->check(CLI::IsMember({"frame", "true"}))
        ->capture_default_str();
    app.add_option("command", options.command, "Path of the program, and its arguments")
        ->required();
}

} // namespace steptrace
