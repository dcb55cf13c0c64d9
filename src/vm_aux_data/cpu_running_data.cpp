#include <samplefold_1/cpu_running_data.h>

namespace rowvault1 {

using samplefold_1::CpuRunningData;

const char* const cpu_running_data_t::s_tableName = "cpu_running_data_t";

const field_info_t cpu_running_data_t::s_fields[3] = {
    {0, "thread", fieldTypeS32, 1, ""},
    {1, "start_tsc", fieldTypeU64, 1, ""},
    {2, "end_tsc", fieldTypeU64, 1, ""},
};

void bucket_row_traits_t<CpuRunningData>::bind(const CpuRunningData& row,
                                               std::span<tb2::variant_t> values)
{
    values[0] = tb2::variant_t(row.thread.value());
    values[1] = tb2::variant_t(row.start_tsc);
    values[2] = tb2::variant_t(row.end_tsc);
}

void bucket_row_traits_t<CpuRunningData>::read(std::span<const tb2::variant_t> values,
                                               CpuRunningData& row)
{
    row.thread = utils::variantToIndex(values[0]);
    row.start_tsc = values[1].integer_bits();
    row.end_tsc = values[2].integer_bits();
}

template class GenericBucketTable<CpuRunningData>;

} // namespace rowvault1
