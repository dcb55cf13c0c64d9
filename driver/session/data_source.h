#pragma once

#include <cstdint>
#include <string>

namespace samplefold::session {

/// The words of a sampled memory access (the kernel's perf_mem_data_src), each empty where the
/// processor did not tell.
struct DataSource {
    std::string operation;
    std::string level;
    std::string snoop;
    std::string tlb;
    std::string lock;
};

/// Splits a data source word by the bit layout of <linux/perf_event.h>. Every word has an answer.
DataSource decodeDataSource(std::uint64_t word);

/// Text of a transaction word (PERF_TXN_*): its flags joined by ", ", and the abort code when it
/// has one.
std::string transactionText(std::uint64_t word);

} // namespace samplefold::session
