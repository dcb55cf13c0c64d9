#include "session/process_rows.h"

#include <string_view>
#include <vector>

namespace samplefold::session {
namespace {

using rowvault1::Index;
using tb2::variant_t;

variant_t tickOrNull(std::uint64_t tick)
{
    return tick != 0 ? variant_t(tick) : variant_t();
}

variant_t nameOrNull(const std::string& name)
{
    return name.empty() ? variant_t() : variant_t(std::string_view(name));
}

} // namespace

ProcessRows::ProcessRows(const tb2::sptr_t<rowvault1::IDatabase>& db)
    : m_processes(db, "dd_process", {"pid", "life", "start_tsc"}),
      m_threads(db, "dd_thread", {"process", "tid"})
{
}

void ProcessRows::store(ProcessTable& processes)
{
    processes.forEach([this](Process& process) {
        row(process);
        for (const auto& [tid, thread] : process.threads)
            row(*thread);
    });
}

/// Parents first, without recursion: a profile may tell a very long line of forks, or one in a
/// circle.
Index ProcessRows::row(Process& process)
{
    std::vector<Process*> line;
    for (Process* p = &process; p != nullptr && !p->rowUnderWay; p = p->parent) {
        p->rowUnderWay = true;
        line.push_back(p);
    }
    for (auto p = line.rbegin(); p != line.rend(); ++p)
        writeRow(**p);
    return process.row;
}

void ProcessRows::writeRow(Process& process)
{
    process.row =
        m_processes.findOrAdd({process.pid, process.life, process.start}, [&](RowWriter& writer) {
            const Index parent = process.parent != nullptr ? process.parent->row : Index();
            writer.set("name", nameOrNull(process.name))
                .set("end_tsc", tickOrNull(process.end))
                .set("parent", rowvault1::utils::indexToVariant(parent));
        });
}

Index ProcessRows::row(Thread& thread)
{
    if (thread.row.exist()) return thread.row;
    thread.row = m_threads.findOrAdd({row(*thread.process), thread.tid}, [&](RowWriter& writer) {
        writer.set("name", nameOrNull(thread.name))
            .set("start_tsc", tickOrNull(thread.start))
            .set("end_tsc", tickOrNull(thread.end));
    });
    return thread.row;
}

} // namespace samplefold::session
