#pragma once

#include "row_batch.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace rowvault1 {

/// Batches on their way to the database, in the order of push, written on a thread of its own.
///
/// Invariants: 1. at most `maxBytes` wait, or one batch that is larger; 2. between waitIdle() and
/// the next push the thread is idle, so that the caller may use what `write` uses; 3. `write` never
/// throws and returns at once after the store has failed, so that push always comes back. push,
/// waitIdle and takeFree belong to one thread, the loading thread.
class WriterQueue {
public:
    using write_t = std::function<void(RowBatch&)>;

    WriterQueue(write_t write, std::size_t maxBytes);
    WriterQueue(const WriterQueue&) = delete;
    WriterQueue& operator=(const WriterQueue&) = delete;
    /// Writes what waits, then ends the thread.
    ~WriterQueue();

    /// Waits while the queue is full.
    void push(std::unique_ptr<RowBatch> batch);
    void waitIdle();
    /// A written batch of that table, for use again; null when there is none.
    std::unique_ptr<RowBatch> takeFree(const table_plan_t& plan);

private:
    void run();

    write_t m_write;
    const std::size_t m_maxBytes;
    std::mutex m_mutex;
    std::condition_variable m_filled;  ///< the thread waits for a batch or the end
    std::condition_variable m_written; ///< the loading thread waits for room or idleness
    std::deque<std::unique_ptr<RowBatch>> m_waiting;
    std::vector<std::unique_ptr<RowBatch>> m_free;
    std::size_t m_bytes = 0; ///< of waiting batches and the one in writing
    bool m_writing = false;
    bool m_ending = false;
    std::thread m_thread;
};

} // namespace rowvault1
