#include "writer_queue.h"

#include <algorithm>
#include <utility>

namespace rowvault1 {
namespace {

constexpr std::size_t g_keptBatches = 4; // enough to go round between the two threads

} // namespace

WriterQueue::WriterQueue(write_t write, std::size_t maxBytes)
    : m_write(std::move(write)), m_maxBytes(maxBytes), m_thread([this] { run(); })
{
}

WriterQueue::~WriterQueue()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_filled.notify_one();
    m_thread.join();
}

void WriterQueue::push(std::unique_ptr<RowBatch> batch)
{
    const std::size_t bytes = batch->bytes();
    {
        std::unique_lock lock(m_mutex);
        m_written.wait(lock, [&] { return m_bytes == 0 || m_bytes + bytes <= m_maxBytes; });
        m_bytes += bytes;
        m_waiting.push_back(std::move(batch));
    }
    m_filled.notify_one();
}

void WriterQueue::waitIdle()
{
    std::unique_lock lock(m_mutex);
    m_written.wait(lock, [&] { return m_waiting.empty() && !m_writing; });
}

std::unique_ptr<RowBatch> WriterQueue::takeFree(const table_plan_t& plan)
{
    const std::lock_guard lock(m_mutex);
    const auto found =
        std::ranges::find_if(m_free, [&](const auto& batch) { return &batch->plan() == &plan; });
    if (found == m_free.end()) return nullptr;
    std::unique_ptr<RowBatch> batch = std::move(*found);
    m_free.erase(found);
    return batch;
}

void WriterQueue::run()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_filled.wait(lock, [&] { return !m_waiting.empty() || m_ending; });
        if (m_waiting.empty()) return;
        std::unique_ptr<RowBatch> batch = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_writing = true;
        lock.unlock();
        const std::size_t bytes = batch->bytes();
        m_write(*batch);
        lock.lock();
        m_writing = false;
        m_bytes -= bytes;
        if (m_free.size() < g_keptBatches) m_free.push_back(std::move(batch));
        m_written.notify_one();
    }
}

} // namespace rowvault1
