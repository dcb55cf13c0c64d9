// The tool hwsamp: which PMU a processor has, and in which groups its events are counted.

#include "hwsamp/core_counters.h"
#include "hwsamp/event_list.h"
#include "hwsamp/events_file.h"
#include "hwsamp/options.h"
#include "hwsamp/platform_file.h"
#include "hwsamp/running_cpu.h"
#include "hwsamp/text_file.h"

#include <PORTA_2_18/printable.h>

#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace samplefold::hwsamp {
namespace {

constexpr int g_done = 0;
constexpr int g_failed = 1;
constexpr int g_wrongUsage = 2;

/// One line, whatever control characters stand in names.
void complain(const std::string& text)
{
    std::cerr << "hwsamp: " << PORTA_2_18::generic::printable(text) << '\n';
}

std::string fileBesideProgram(const char* name)
{
    std::error_code unknown;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", unknown);
    return (program.parent_path() / name).string();
}

void printPlatforms(const Options& options)
{
    const bool isChosen = !options.platformFile.empty();
    const std::string path =
        isChosen ? options.platformFile : fileBesideProgram("hwsamp.platforms");
    if (isChosen && !readTextFile(path)) throw ToolError(path + ": there is no such file");
    for (const Platform& platform : readPlatforms(path, complain))
        writePlatform(std::cout, platform);
    // Of several lines for one model the last one counts: what the machine says goes before a file.
    writePlatform(std::cout, runningPlatform());
}

std::vector<EventSet> eventsOf(const Options& options)
{
    std::vector<EventSet> all;
    const auto add = [&all](const std::vector<EventSet>& more) {
        all.insert(all.end(), more.begin(), more.end());
    };
    for (const std::string& file : options.eventFiles)
        add(readEventFile(file));
    for (const std::string& list : options.eventLists) {
        try {
            add(parseEvents(list));
        } catch (const ToolError& error) {
            throw UsageError(list + ": " + error.what());
        }
    }
    if (all.empty()) throw ToolError("the lists hold no event");
    return all;
}

void writeEvents(const Options& options)
{
    const std::string corePmu = runningPlatform().pmu;
    const Pfm pfm;
    std::vector<Events> sets;
    for (const EventSet& names : eventsOf(options)) {
        sets.emplace_back();
        for (const std::string& name : names)
            sets.back().push_back(eventOf(name, pfm));
    }
    writeEventsFile(options.folder, planEvents(sets, countersOf(pfm.corePmu()), corePmu));
}

void run(const Options& options)
{
    switch (options.task) {
    case task_t::help:
        std::cout << helpText;
        break;
    case task_t::version:
        std::cout << "hwsamp " << SF_HWSAMP_VERSION << '\n';
        break;
    case task_t::platforms:
        printPlatforms(options);
        break;
    case task_t::events:
        writeEvents(options);
        break;
    }
    std::cout.flush();
    if (!std::cout) throw ToolError("standard output cannot be written");
}

int runGuarded(const std::vector<std::string>& arguments)
{
    try {
        run(parseOptions(arguments));
        return g_done;
    } catch (const UsageError& error) {
        complain(error.what());
        return g_wrongUsage;
    } catch (const std::exception& error) {
        complain(error.what());
        return g_failed;
    }
}

} // namespace
} // namespace samplefold::hwsamp

int main(int count, char** words)
{
    return samplefold::hwsamp::runGuarded({words + 1, words + count});
}
