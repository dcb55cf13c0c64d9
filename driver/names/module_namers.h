#pragma once

#include "names/kernel_namer.h"
#include "names/place_namer.h"
#include "session/module_files.h"

#include <rowvault1/index.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

namespace samplefold::names {

/// The namers of a result's modules, each opened by the first question for it and kept.
class ModuleNamers {
public:
    /// `files` outlives the object.
    ModuleNamers(session::ModuleFiles& files, KernelOptions kernel);
    ~ModuleNamers();

    /// Makes room for a module, before `of` is asked for it. One thread.
    void prepare(std::int32_t module) { m_namers.try_emplace(module); }
    /// The namer of a module that was prepared. Any thread, but one at a time per module.
    PlaceNamer& of(std::int32_t module);
    /// Tells the kernel's module where its names came from; once, after the last question.
    void noteKernelTable();

private:
    std::unique_ptr<PlaceNamer> open(rowvault1::Index row);
    std::unique_ptr<PlaceNamer> openFile(rowvault1::Index row, const session::ModuleFile& module);
    std::unique_ptr<PlaceNamer> openVdso(const session::ModuleFile& module);
    std::unique_ptr<PlaceNamer> openKernel(rowvault1::Index row, const session::ModuleFile& module);
    std::unique_ptr<PlaceNamer> openKernelModule(const session::ModuleFile& module);
    const Kallsyms* kernelTable();
    std::uint64_t kernelDelta(const Kallsyms* table) const;

    session::ModuleFiles& m_files;
    std::map<std::int32_t, std::unique_ptr<PlaceNamer>> m_namers;
    rowvault1::Index m_kernelRow; ///< of the module whose names are from the table
    std::mutex m_kernelLock;      ///< kernel modules share the table
    KernelTable m_kernel;
};

} // namespace samplefold::names
