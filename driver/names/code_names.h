#pragma once

#include "names/kernel_namer.h"
#include "names/place_list.h"
#include "session/module_files.h"

#include <rowvault1/result.h>

#include <cstdint>
#include <functional>
#include <string>

namespace samplefold::names {

struct NameOptions {
    bool enabled = true;
    double seconds = 0; ///< time to spend on names, hottest places first; 0: as long as it takes
    KernelOptions kernel;
};

/// Places done and in all.
using name_progress_t = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Gives the places in code of a result that have no name yet their function, the functions
/// inlined there, source file and line, from the modules' files on this machine; and notes with
/// each module why places of it have none. Works on all processors, a module on one at a time. With
/// a bound on the time the hottest places are named first; opening a file may go beyond it. Call
/// after the samples, before IResult::finish. Throws rowvault1::StoreError. Loading thread only.
void nameCode(rowvault1::IResult& store, session::ModuleFiles& files, const NameOptions& options,
              const was_sampled_t& wasSampled, const name_progress_t& progress);

} // namespace samplefold::names
