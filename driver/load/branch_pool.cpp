#include "load/branch_pool.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>

namespace samplefold::load {
namespace {

/// Tasks that are worth a thread of their own.
constexpr std::size_t g_tasksOfAThread = 16;

} // namespace

BranchPool::BranchPool(const BranchSetting& setting, const tb2::sptr_t<rowvault1::IDatabase>& db,
                       const std::string& resultFolder)
    : m_workers(std::max(1U, std::thread::hardware_concurrency()))
{
    for (auto& worker : m_workers)
        worker = std::make_unique<BranchResolver>(setting, db, resultFolder);
}

void BranchPool::knowSegment(const samplefold_1::SegInstInfo& segment)
{
    for (const auto& worker : m_workers)
        worker->knowSegment(segment);
}

void BranchPool::run(std::span<BranchTask> tasks)
{
    const std::size_t used =
        std::clamp(tasks.size() / g_tasksOfAThread, std::size_t{1}, m_workers.size());
    std::atomic<std::size_t> next = 0;
    std::vector<std::exception_ptr> failures(used);
    const auto work = [&](std::size_t number) {
        try {
            for (std::size_t i = next++; i < tasks.size(); i = next++)
                m_workers[number]->resolve(tasks[i]);
        } catch (...) {
            failures[number] = std::current_exception();
        }
    };
    {
        std::vector<std::jthread> helpers;
        for (std::size_t number = 1; number < used; ++number)
            helpers.emplace_back(work, number);
        work(0);
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) std::rethrow_exception(failure);
    }
}

} // namespace samplefold::load
