#pragma once

#include <jitlens_3_13/module.h>
#include <jitlens_3_13/symbol_resolver.h>
#include <toolbelt2/generic_iterator.h>

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

// Code that a program generated while it ran, by process, time and address. It is read from the two
// files that runtimes write for profilers on Linux:
//
//   jit-PID.dump   records of code with bytes, times and source lines (described with perf in the
//                  kernel tree, tools/perf/Documentation, under "jitdump")
//   perf-PID.map   a line "START SIZE NAME" per function, in hexadecimal, without times (the kernel
//                  tree's tools/perf/Documentation/jit-interface.txt)
//
// Where a process has both, the dump is asked first, since it knows times, and the map where the
// dump has no code.
//
// Relative addresses. In a dump, that of an instruction is its place in the file: versions of a
// function differ by it, and a function keeps its own when it is moved. In a map it is the address.
//
// Only regular files are read, dumps of up to 1 GiB and maps of up to 256 MiB, into memory.
namespace jitlens_3_13 {

/// Answers of a loader. Everything but `found` and `noCode` is an error.
namespace code {
inline constexpr std::uint32_t found = 0;
inline constexpr std::uint32_t noCode = 4;      ///< no generated code there at that time
inline constexpr std::uint32_t notAttached = 1; ///< the status word is 0
inline constexpr std::uint32_t unusable = 2;    ///< all files of the process gave nothing
} // namespace code

/// A piece of generated code at one place for one stretch of time.
struct region_t {
    std::uint64_t first = 0;    ///< first address
    std::uint64_t last = 0;     ///< last address, included
    std::uint64_t loadTime = 0; ///< first tick at which it is there; 0 for code without times
    std::uint64_t unloadTime =
        std::numeric_limits<std::uint64_t>::max(); ///< first tick at which it is gone
    std::uint64_t rva = 0;                         ///< of `first`, relative to the module
    boost::intrusive_ptr<IModule> module;
};

/// Clock of the times in a source.
enum class clock_t : std::uint8_t {
    none,      ///< it has no times
    monotonic, ///< nanoseconds of CLOCK_MONOTONIC
    tsc        ///< ticks of the processor's time stamp counter
};

/// What a file of a process turned out to hold.
struct source_t {
    std::string path;
    module_kind_t kind = module_kind_t::unknown;
    clock_t clock = clock_t::none;
    std::uint64_t firstTime = 0; ///< earliest and latest time of a load or move; 0 without any
    std::uint64_t lastTime = 0;
    std::uint64_t functions = 0; ///< load records, or lines, that are used
    std::uint64_t skipped = 0;   ///< records or lines that made no sense
    std::string fault; ///< one line: where and why reading ended early; empty when all was read
};

/// Files that describe generated code of process `pid`: of each format the first that exists in
/// `dataPath`, in `directories` in order, in /tmp; the dump before the map. What is no regular file
/// does not count. `dataPath` may be empty. Any thread.
JITLENS_API std::vector<std::string> findJitFiles(const std::string& dataPath,
                                                  tb2::generic_iterator_t<const char*> directories,
                                                  std::uint32_t pid);

/// Generated code of all processes of a profile. A process's files are found and read by the first
/// question about it, once; what stands before damage in a file is used. Questions may come from
/// several threads at once, apart from the operations that prepare.
class JITLENS_API IJitLoader : public tb2::object_interface_t {
public:
    /// A loader that looks for files in `directories`, whose texts are copied.
    static boost::intrusive_ptr<IJitLoader>
    create(tb2::generic_iterator_t<const char*> directories);

    /// Prepares: also look in `dataPath` (may be empty or null), before the directories. Sets
    /// *status to a number that is not 0 and goes with the questions. One thread.
    virtual void attach(const char* dataPath, std::uint32_t* status) = 0;
    /// Prepares: `path` describes code of `pid`, whatever its name; its content tells the format.
    /// Among files of one format it is asked before those found by name, which count all the same.
    /// Before the first question about the process. One thread.
    virtual void addFile(std::uint32_t pid, const std::string& path) = 0;
    /// Prepares: takes the process's times for unknown. What a dump holds at its end then counts as
    /// there all the time. Before any question that has a time. One thread.
    virtual void ignoreTimes(std::uint32_t pid) = 0;

    /// Where `ip` was at tick `time` (of the source's clock) in generated code of `pid`. On `found`
    /// sets `rva`, relative to the module, and `module`. Of pieces laid over each other the one
    /// that was loaded last before or at `time` counts; a piece ends when another is laid over any
    /// part of it, or when it is moved. A move concerns the function of its code index if that was
    /// last at the old address, else what begins there. Allocates nothing once the process's files
    /// are read. Codes: see namespace code; `unusable` when the process has files and none of them
    /// can be used.
    virtual std::uint32_t resolve(std::uint64_t time, std::uint64_t ip, std::uint32_t pid,
                                  std::uint32_t status, std::uint64_t& rva,
                                  boost::intrusive_ptr<IModule>& module) = 0;
    /// Of the regions of `pid` that overlap the addresses [first, last] and are in force at `time`
    /// or start later, the one with the earliest start, and of several the lowest in address. A
    /// line of a map that later lines cover in part has a region for each part that is left. Codes
    /// as for resolve; `region` is set on `found`.
    virtual std::uint32_t findRegion(std::uint64_t time, std::uint64_t first, std::uint64_t last,
                                     std::uint32_t pid, std::uint32_t status, region_t& region) = 0;

    /// Addresses at which regions with times begin, or that follow their last one; rising, each
    /// once. Between two of them no region begins or ends at any time.
    virtual std::vector<std::uint64_t> borders(std::uint32_t pid) = 0;

    /// The files of a process in the order in which they are asked, read now if they were not yet.
    virtual std::vector<source_t> sources(std::uint32_t pid) = 0;
    /// Names for relative addresses; knows the modules that the loader has given out.
    virtual boost::intrusive_ptr<ISymbolResolver> symbols() const noexcept = 0;
};

} // namespace jitlens_3_13
