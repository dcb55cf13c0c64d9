#include "names/code_names.h"

#include "names/image_namer.h"
#include "names/module_namers.h"
#include "names/name_rows.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <optional>
#include <thread>
#include <vector>

namespace samplefold::names {
namespace {

using clock_t = std::chrono::steady_clock;
using deadline_t = std::optional<clock_t::time_point>;

/// Places of a round: few enough that a bound on the time is kept well.
constexpr std::size_t g_roundPlaces = 4096;

bool isOver(const deadline_t& deadline)
{
    return deadline && clock_t::now() >= *deadline;
}

/// What became of one module's places in a round.
struct Task {
    const ModulePlaces* places = nullptr;
    FoundNames names;
    std::string fault;
    bool isCutShort = false;
    std::exception_ptr failure;
};

void runTask(Task& task, ModuleNamers& namers, const deadline_t& deadline)
{
    task.isCutShort = isOver(deadline);
    if (task.isCutShort) return;
    PlaceNamer& namer = namers.of(task.places->module);
    task.fault = namer.fault();
    if (!task.fault.empty()) return;
    for (const Place& place : task.places->places) {
        task.isCutShort = isOver(deadline);
        if (task.isCutShort) return;
        task.names.places.emplace_back(place, namer.name(place, task.names));
    }
}

/// Modules of a round, each by one thread.
void runTasks(std::vector<Task>& tasks, ModuleNamers& namers, const deadline_t& deadline)
{
    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        for (std::size_t i = next++; i < tasks.size(); i = next++) {
            try {
                runTask(tasks[i], namers, deadline);
            } catch (...) {
                tasks[i].failure = std::current_exception();
            }
        }
    };
    const std::size_t most = std::max(1U, std::thread::hardware_concurrency());
    std::vector<std::jthread> helpers(std::min(most, tasks.size()) - 1);
    for (std::jthread& helper : helpers)
        helper = std::jthread(work);
    work();
}

std::vector<Task> tasksOf(const std::vector<ModulePlaces>& round, ModuleNamers& namers)
{
    std::vector<Task> tasks(round.size());
    for (std::size_t i = 0; i < round.size(); ++i) {
        tasks[i].places = &round[i];
        namers.prepare(round[i].module);
    }
    return tasks;
}

} // namespace

void nameCode(rowvault1::IResult& store, session::ModuleFiles& files, const NameOptions& options,
              const was_sampled_t& wasSampled, const name_progress_t& progress)
{
    if (!options.enabled) return;
    const bool isBounded = options.seconds > 0;
    deadline_t deadline;
    if (isBounded) {
        deadline = clock_t::now() + std::chrono::duration_cast<clock_t::duration>(
                                        std::chrono::duration<double>(options.seconds));
    }
    const auto modules = readUnnamedPlaces(store, wasSampled, isBounded);
    std::uint64_t total = 0;
    for (const ModulePlaces& module : modules)
        total += module.places.size();

    ModuleNamers namers(files, options.kernel);
    NameRows rows(store.database());
    std::uint64_t done = 0;
    const auto rounds = isBounded ? roundsByHeat(modules, g_roundPlaces)
                                  : std::vector<std::vector<ModulePlaces>>{modules};
    for (const auto& round : rounds) {
        if (round.empty()) continue;
        if (progress) progress(done, total);
        std::vector<Task> tasks = tasksOf(round, namers);
        runTasks(tasks, namers, deadline);
        for (const Task& task : tasks) {
            if (task.failure) std::rethrow_exception(task.failure);
            rows.write(task.places->module, task.names);
            const rowvault1::Index module(task.places->module);
            if (!task.fault.empty()) files.setMissing(module, task.fault);
            if (task.isCutShort) files.setMissing(module, "the time for names was up");
            done += task.places->places.size();
        }
    }
    namers.noteKernelTable();
}

} // namespace samplefold::names
