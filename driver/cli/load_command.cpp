#include "cli/commands.h"
#include "cli/progress_line.h"
#include "cli/topology_options.h"
#include "load/load_profile.h"
#include "report/text_table.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace samplefold::cli {
namespace {

struct LoadSettings {
    load::LoadOptions load;
    std::string storeEach = "on";
    std::string stacks;
    std::string jit = "on";
    std::string unwind = "on";
    std::string branches = "merge";
    std::string navigate = "on";
    std::vector<std::string> pathMaps;
    std::vector<std::string> containers;
    std::string names = "on";
};

/// A rule FROM=TO for paths.
SEEK_2_13::path_substitution_t pathRule(const std::string& text)
{
    const std::size_t split = text.find('=');
    if (split == 0 || split == std::string::npos)
        throw CLI::ValidationError("--map-path", text + " is not of the form FROM=TO");
    return {text.substr(0, split), text.substr(split + 1)};
}

std::vector<session::ContainerOption> containers(const std::vector<std::string>& texts)
{
    try {
        return session::parseContainers(texts);
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError("--container", error.what());
    }
}

load::BranchUse branchUse(const std::string& text)
{
    if (text == "off") return load::BranchUse::off;
    if (text == "raw") return load::BranchUse::raw;
    return text == "verify" ? load::BranchUse::verify : load::BranchUse::merge;
}

/// A directory that is not there would be a silent reason for missing names.
void addDirectoryOption(CLI::App& command, const char* name, std::vector<std::string>& target,
                        const char* help)
{
    command.add_option(name, target, help)
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory)
        ->allow_extra_args(false);
}

/// More than these would hide what else was said; all are in the result.
constexpr std::size_t g_mostWarnings = 5;

void warn(const std::vector<std::string>& messages)
{
    const std::size_t shown = std::min(messages.size(), g_mostWarnings);
    for (std::size_t i = 0; i < shown; ++i)
        std::cerr << "samplefold: warning: " << report::printable(messages[i]) << '\n';
    if (shown < messages.size()) {
        std::cerr << "samplefold: warning: " << messages.size() - shown
                  << " more files were not found; see samplefold modules\n";
    }
}

/// What was in the input: samples, counter values, or both.
std::string inputText(const load::LoadReport& report)
{
    const std::string values = std::to_string(report.counterValues) + " counter values";
    const std::uint64_t samples = report.samples - report.counterValues;
    if (report.counterValues != 0 && samples == 0) return values;
    return std::to_string(samples) + " samples" +
           (report.counterValues != 0 ? " and " + values : "");
}

void runLoad(LoadSettings& settings, int& exitCode)
{
    for (const std::string& rule : settings.pathMaps)
        settings.load.files.pathMaps.push_back(pathRule(rule));
    settings.load.containers = containers(settings.containers);
    checkTopologyOptions(settings.load.topology, true);
    settings.load.storeEachSample = settings.storeEach == "on";
    if (!settings.stacks.empty()) settings.load.stacks = settings.stacks == "on";
    settings.load.namesOn = settings.names == "on";
    settings.load.unwind = settings.unwind == "on";
    settings.load.branches = {branchUse(settings.branches), settings.navigate == "on"};
    settings.load.jit.enabled = settings.jit == "on";
    ProgressLine progress;
    const load::LoadReport report = load::loadProfile(
        settings.load, [&](const char* step, std::uint64_t done, std::uint64_t total) {
            progress.show(step, done, total);
        });
    progress.wipe();
    std::cout << "loaded " << report.rows << " sample rows from " << inputText(report) << " ("
              << report.dropped << " dropped) into " << report.databasePath << '\n';
    warn(report.messages);
    if (report.fault.empty()) return;
    std::cerr << "samplefold: " << report::printable(report.fault) << '\n';
    exitCode = exitFailure;
}

} // namespace

void addLoadCommand(CLI::App& app, int& exitCode)
{
    const auto settings = std::make_shared<LoadSettings>();
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
    command
        ->add_option("--unwind", settings->unwind,
                     "off: leave out what recorded copies of user stacks tell of the callers")
        ->check(CLI::IsMember({"on", "off"}))
        ->capture_default_str();
    command
        ->add_option(
            "--branch-stacks", settings->branches,
            "merge: check branch records and continue call chains with them; verify: check "
            "them; raw: take them as they are; off: leave them out")
        ->check(CLI::IsMember({"merge", "verify", "raw", "off"}))
        ->capture_default_str();
    command
        ->add_option("--navigate", settings->navigate,
                     "off: check branch records without decoding code")
        ->check(CLI::IsMember({"on", "off"}))
        ->capture_default_str();
    addDirectoryOption(*command, "--symbols", settings->load.files.symbolDirectories,
                       "Folder with binaries or files of their symbols, searched with all that is "
                       "below it; may be given several times");
    addDirectoryOption(*command, "--debug-dir", settings->load.files.debugDirectories,
                       "Folder with files of symbols as /usr/lib/debug has them; may be given "
                       "several times");
    command
        ->add_option("--map-path", settings->pathMaps,
                     "Look for modules whose path begins with FROM at TO instead; may be given "
                     "several times")
        ->type_name("FROM=TO")
        ->allow_extra_args(false);
    command
        ->add_option("--container", settings->containers,
                     "Process PID and its descendants run in a container that sees the directory "
                     "ROOT as /; its files show as LABEL:/path. May be given several times")
        ->type_name("PID=LABEL:ROOT")
        ->allow_extra_args(false);
    command
        ->add_option("--kallsyms", settings->load.kallsyms,
                     "Table of the recorded kernel's symbols, a copy of its /proc/kallsyms")
        ->type_name("FILE")
        ->check(CLI::ExistingFile);
    command
        ->add_option("--collector-cmdline", settings->load.collectorCommand,
                     "Command line of the collector as one text, where the recording does not have "
                     "its arguments or has others")
        ->type_name("TEXT");
    command
        ->add_option("--hw-feedback", settings->load.hwFeedback,
                     "Reports of CPUs about the class of their threads, which become bands on the "
                     "threads' timelines; a line each: tick, CPU, thread id, class word, value")
        ->type_name("FILE")
        ->check(CLI::ExistingFile);
    command
        ->add_option("--names", settings->names,
                     "off: leave out functions and source lines of modules")
        ->check(CLI::IsMember({"on", "off"}))
        ->capture_default_str();
    command
        ->add_option("--name-time", settings->load.nameSeconds,
                     "Seconds to spend on names, those that samples need most first; 0: as long as "
                     "it takes")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    addTopologyOptions(*command, settings->load.topology);
    command->callback([settings, &exitCode] { runLoad(*settings, exitCode); });
}

} // namespace samplefold::cli
