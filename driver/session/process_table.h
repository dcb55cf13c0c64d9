#pragma once

#include "session/address_space.h"

#include <rowvault1/index.h>
#include <samplefold_1/vm_aux_data.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace samplefold_1 {
class ThreadInfo;
}

namespace samplefold::session {

struct Process;

/// One thread of a process.
struct Thread {
    std::int32_t tid = -1;
    Process* process = nullptr;
    std::string name;        ///< latest that the profile tells
    std::uint64_t start = 0; ///< tick of its fork, 0 when it was there before
    std::uint64_t end = 0;   ///< tick of its exit, 0 when it outlived the profile
    bool alive = true;
    rowvault1::Index row;
    samplefold_1::ThreadInfo* info =
        nullptr; ///< owned by the loader context; set with the first sample
};

/// One life of a process: a pid is used again after its exit.
struct Process {
    /// `info` is the record of this life; it outlives the object.
    explicit Process(samplefold_1::PerfProcessInfo& info) : space(info.segInstMap) {}

    std::int32_t pid = -1;
    std::int32_t life = 0; ///< counts the lives of a pid from 0; -1 for the kernel
    std::string name;
    std::uint64_t start = 0; ///< as for a thread
    std::uint64_t end = 0;
    Process* parent = nullptr;
    AddressSpace space;
    std::map<std::int32_t, std::unique_ptr<Thread>> threads;
    rowvault1::Index row;
    bool rowUnderWay = false; ///< see ProcessRows

    std::size_t liveThreads = 0;
    bool hasJitCode = false; ///< generated code of it is described by a file
    std::string jitDump;     ///< path of the jitdump that the profile shows it mapped; else empty

    /// The thread of that id, made (and alive) when it is new.
    Thread& thread(std::int32_t tid);
    /// Notes the start of a thread at a fork, or of one whose number is used again.
    void startThread(std::int32_t tid, std::uint64_t time);
    /// Notes the end of a thread.
    void endThread(std::int32_t tid, std::uint64_t time);
};

/// All processes of a profile with their lives. Addresses of processes and threads stay. The kernel
/// is the process of pid -1. Which life a tick belongs to is settled by VmAuxData. Loading thread
/// only.
class ProcessTable {
public:
    static constexpr std::int32_t kernelPid = -1;

    ProcessTable();

    /// The newest life of a pid, made when there is none.
    Process& newest(std::int32_t pid);
    /// Starts a new life of a pid at tick `time`. A life without any mark yet is taken over.
    Process& begin(std::int32_t pid, std::uint64_t time);
    /// The life that a tick belongs to: the newest that began at or before it, else the oldest.
    Process& at(std::int32_t pid, std::uint64_t time);

    Process& kernel() { return *m_kernel; }
    /// The lives of all processes with what they had mapped, for the library; not the kernel's.
    samplefold_1::VmAuxData& spans() { return m_spans; }

    /// Lets a child take over its parent's mappings at the tick of the fork.
    void inherit(Process& child, Process& parent, std::uint64_t time);
    /// Mappings that were not copied to forked children because there were too many.
    std::uint64_t refusedInheritance() const { return m_room.refused; }

    /// Visits all processes by pid and life.
    void forEach(const std::function<void(Process&)>& visit);

private:
    using Lives = std::vector<std::unique_ptr<Process>>;

    Process& addLife(std::int32_t pid, std::uint64_t start);

    samplefold_1::VmAuxData m_spans; ///< a record per life, which points at its process
    samplefold_1::PerfProcessInfo m_kernelInfo;
    std::unordered_map<std::int32_t, Lives> m_lives;
    std::unique_ptr<Process> m_kernel;
    InheritanceRoom m_room;
};

} // namespace samplefold::session
