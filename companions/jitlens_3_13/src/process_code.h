#pragma once

#include "module_impl.h"

#include <jitlens_3_13/jit_loader.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace jitlens_3_13 {

/// A file of a process with what it gave; the module is null when that is nothing.
struct process_file_t {
    source_t source;
    boost::intrusive_ptr<ModuleImpl> module;
};

/// The generated code of one process. Its files are read by the first question.
class ProcessCode {
public:
    /// Prepares, as IJitLoader says. One thread.
    void addFile(const std::string& path) { m_added.push_back(path); }
    void ignoreTimes();

    /// Reads the added files and those that `find` gives, unless that has been done; tells `take`
    /// each module that came of it. Any thread.
    template <class Find, class Take>
    void readOnce(std::uint64_t loader, const Find& find, const Take& take)
    {
        if (m_isRead.load(std::memory_order_acquire)) return;
        const std::lock_guard lock(m_mutex);
        if (m_isRead.load(std::memory_order_relaxed)) return;
        read(loader, find());
        for (const process_file_t& file : m_files)
            if (file.module) take(file.module);
        m_isRead.store(true, std::memory_order_release);
    }

    // After readOnce. Any thread.
    std::uint32_t resolve(std::uint64_t time, std::uint64_t ip, std::uint64_t& rva,
                          boost::intrusive_ptr<IModule>& module) const;
    std::uint32_t findRegion(std::uint64_t time, std::uint64_t first, std::uint64_t last,
                             region_t& region) const;
    std::vector<std::uint64_t> borders() const;
    std::vector<source_t> sources() const;

private:
    void read(std::uint64_t loader, const std::vector<std::string>& found);
    std::uint32_t codeOfMiss() const noexcept;

    std::mutex m_mutex;
    std::atomic<bool> m_isRead{false};
    std::vector<std::string> m_added;
    bool m_timesIgnored = false;
    std::vector<process_file_t> m_files; ///< in the order in which they are asked
    bool m_isUnusable = false;           ///< there are files, and none gave anything
};

} // namespace jitlens_3_13
