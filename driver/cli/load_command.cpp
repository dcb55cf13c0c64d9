#include "cli/commands.h"
#include "cli/progress_line.h"
#include "load/load_profile.h"

#include <iostream>
#include <memory>
#include <string>

namespace samplefold::cli {
namespace {

struct Settings {
    load::LoadOptions load;
    std::string storeEach = "on";
    std::string stacks;
    std::string jit = "on";
};

void runLoad(Settings& settings, int& exitCode)
{
    settings.load.storeEachSample = settings.storeEach == "on";
    if (!settings.stacks.empty()) settings.load.stacks = settings.stacks == "on";
    settings.load.jit.enabled = settings.jit == "on";
    ProgressLine progress;
    const load::LoadReport report = load::loadProfile(
        settings.load, [&](const char* step, std::uint64_t done, std::uint64_t total) {
            progress.show(step, done, total);
        });
    progress.wipe();
    std::cout << "loaded " << report.rows << " sample rows from " << report.samples << " samples ("
              << report.dropped << " dropped) into " << report.databasePath << '\n';
    if (report.fault.empty()) return;
    std::cerr << "samplefold: " << report.fault << '\n';
    exitCode = exitFailure;
}

} // namespace

void addLoadCommand(CLI::App& app, int& exitCode)
{
    const auto settings = std::make_shared<Settings>();
    CLI::App* const command =
        app.add_subcommand("load", "Load a perf.data recording into a result");
    command->add_option("INPUT", settings->load.input, "perf.data file, or - for standard input")
        ->required();
    command->add_option("-o,--output", settings->load.result, "Folder of the result")
        ->required()
        ->type_name("RESULT");
    command->add_flag("--append", settings->load.append, "Load into an existing result");
    command
        ->add_option("--store-each-sample", settings->storeEach,
                     "on: a row per sample; off: one row per thread and attribute with the sum of "
                     "the counts")
        ->check(CLI::IsMember({"on", "off"}))
        ->capture_default_str();
    command
        ->add_option("--stacks", settings->stacks,
                     "on: store call chains (the default where the recording has them); off: only "
                     "where each sample was")
        ->check(CLI::IsMember({"on", "off"}));
    command
        ->add_option("--jit-dir", settings->load.jit.directories,
                     "Folder with perf-PID.map or jit-PID.dump files, beside the input's own and "
                     "/tmp; may be given several times")
        ->type_name("DIR")
        ->allow_extra_args(false);
    command->add_option("--jit", settings->jit, "off: leave generated code unresolved")
        ->check(CLI::IsMember({"on", "off"}))
        ->capture_default_str();
    command->callback([settings, &exitCode] { runLoad(*settings, exitCode); });
}

} // namespace samplefold::cli
