#pragma once

#include "export.h"

#include <rowvault1/bucket_table.h>
#include <rowvault1/index.h>

#include <cstdint>
#include <span>

// Which thread ran when: the rows of a bucket table that a driver fills. What a bucket stands for,
// a CPU for instance, is the driver's choice.
namespace samplefold_1 {

/// A span of time in which a thread ran. A plain value.
struct CpuRunningData {
    rowvault1::Index thread;     ///< row of dd_thread, -1 when there is none
    std::uint64_t start_tsc = 0; ///< first tick, included
    std::uint64_t end_tsc = 0;   ///< last tick, included
};

} // namespace samplefold_1

namespace rowvault1 {

/// The table of those rows: its name and its columns. Live as long as the program.
struct SAMPLEFOLD_1_API cpu_running_data_t {
    static const char* const s_tableName;
    static const field_info_t s_fields[3];
};

template <>
struct SAMPLEFOLD_1_API bucket_row_traits_t<samplefold_1::CpuRunningData> {
    static constexpr std::uint16_t sortColumn = 1; ///< start_tsc

    static std::span<const field_info_t> fields() { return cpu_running_data_t::s_fields; }
    static void bind(const samplefold_1::CpuRunningData& row, std::span<tb2::variant_t> values);
    static void read(std::span<const tb2::variant_t> values, samplefold_1::CpuRunningData& row);
};

extern template class SAMPLEFOLD_1_API GenericBucketTable<samplefold_1::CpuRunningData>;

} // namespace rowvault1
