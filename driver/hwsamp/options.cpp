#include "hwsamp/options.h"

#include <algorithm>

namespace samplefold::hwsamp {

const char* const helpText =
    R"(hwsamp: what samplefold asks about processors and their events

usage: hwsamp -pl [--platforms FILE]
       hwsamp -events DIR [--event-list FILE]... [EVENT]...
       hwsamp --help | --version

  -pl                Print a line per processor model with its PMU: those of the platform file, and
                     the running one last, which has number 0
  --platforms FILE   Take this platform file, not hwsamp.platforms beside the program
  -events DIR        Write DIR/hwsamp.events: the groups of events that are counted at the same time
                     when this machine counts the events
  --event-list FILE  Take events from a file, a list in each line
  EVENT              Events divided by commas, as perf takes them: names, rHEX, PMU/.../, {a,b}

Exit status: 0 done (a bad line of a platform file is told and left out), 1 the input or machine did
not allow it, 2 wrong usage.
)";

namespace {

/// Takes arguments one after the other.
class Arguments {
public:
    explicit Arguments(const std::vector<std::string>& all) : m_all(all) {}

    bool atEnd() const { return m_next == m_all.size(); }
    const std::string& take() { return m_all[m_next++]; }
    const std::string& valueOf(const std::string& option)
    {
        if (atEnd() || m_all[m_next].empty()) throw UsageError(option + " needs a value");
        return take();
    }

private:
    const std::vector<std::string>& m_all;
    std::size_t m_next = 0;
};

/// These two go before all else.
Options justTelling(task_t task)
{
    Options options;
    options.task = task;
    return options;
}

void setTask(Options& options, task_t task, const std::string& option)
{
    if (options.task != task_t::help) throw UsageError(option + ": there is a task already");
    options.task = task;
}

void checkTogether(const Options& options)
{
    const bool namesEvents = !options.eventLists.empty() || !options.eventFiles.empty();
    if (options.task == task_t::help) throw UsageError("give -pl or -events; --help tells more");
    if (options.task == task_t::platforms && namesEvents) throw UsageError("-pl takes no events");
    if (options.task == task_t::events && !namesEvents)
        throw UsageError("-events needs events, as arguments or by --event-list");
    if (options.task == task_t::events && !options.platformFile.empty())
        throw UsageError("--platforms goes with -pl alone");
}

} // namespace

Options parseOptions(const std::vector<std::string>& arguments)
{
    Options options;
    for (Arguments rest(arguments); !rest.atEnd();) {
        const std::string& argument = rest.take();
        if (argument == "--help" || argument == "-h") return justTelling(task_t::help);
        if (argument == "--version") return justTelling(task_t::version);
        if (argument == "-pl") {
            setTask(options, task_t::platforms, argument);
        } else if (argument == "-events") {
            setTask(options, task_t::events, argument);
            options.folder = rest.valueOf(argument);
        } else if (argument == "--platforms") {
            options.platformFile = rest.valueOf(argument);
        } else if (argument == "--event-list") {
            options.eventFiles.push_back(rest.valueOf(argument));
        } else if (argument.starts_with('-')) {
            throw UsageError(argument + ": there is no such option");
        } else {
            options.eventLists.push_back(argument);
        }
    }
    checkTogether(options);
    return options;
}

} // namespace samplefold::hwsamp
