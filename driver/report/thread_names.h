#pragma once

#include <rowvault1/result.h>

#include <cstdint>
#include <unordered_map>

namespace samplefold::report {

/// What a thread is called; null where it is not known.
struct ThreadName {
    tb2::variant_t pid;
    tb2::variant_t tid;
    tb2::variant_t name;
};

/// By the thread's row key.
using ThreadNames = std::unordered_map<std::int64_t, ThreadName>;

/// All threads of a result. Throws rowvault1::StoreError.
ThreadNames readThreadNames(rowvault1::IResult& result);

} // namespace samplefold::report
