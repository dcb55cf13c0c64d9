#pragma once

#include "result_fixture.h"

#include <rowvault1/bucket_table.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// A row with the columns of "cpu_running_data_t".
struct span_t {
    rowvault1::Index thread;
    std::uint64_t start = 0;
    std::uint64_t end = 0;

    friend bool operator==(const span_t&, const span_t&) = default;
};

template <>
struct rowvault1::bucket_row_traits_t<span_t> {
    static constexpr std::uint16_t sortColumn = 1;
    static constexpr field_info_t all[] = {{0, "thread", fieldTypeS32, 1, ""},
                                           {1, "start_tsc", fieldTypeU64, 1, ""},
                                           {2, "end_tsc", fieldTypeU64, 1, ""}};

    static std::span<const field_info_t> fields() { return all; }
    static void bind(const span_t& row, std::span<tb2::variant_t> values)
    {
        values[0] = utils::indexToVariant(row.thread);
        values[1] = tb2::variant_t(row.start);
        values[2] = tb2::variant_t(row.end);
    }
    static void read(std::span<const tb2::variant_t> values, span_t& row)
    {
        row.thread = utils::variantToIndex(values[0]);
        row.start = values[1].integer_bits();
        row.end = values[2].integer_bits();
    }
};

/// A row whose columns are signed; the bucket table goes by "value".
struct signed_t {
    std::int32_t value = 0;
    bool isEmpty = false;
};

template <>
struct rowvault1::bucket_row_traits_t<signed_t> {
    static constexpr std::uint16_t sortColumn = 0;
    static constexpr field_info_t all[] = {{0, "value", fieldTypeS32, 1, ""}};

    static std::span<const field_info_t> fields() { return all; }
    static void bind(const signed_t& row, std::span<tb2::variant_t> values)
    {
        values[0] = row.isEmpty ? tb2::variant_t() : tb2::variant_t(row.value);
    }
    static void read(std::span<const tb2::variant_t> values, signed_t& row)
    {
        row.isEmpty = values[0].is_null();
        row.value = row.isEmpty ? 0 : values[0].as_s32();
    }
};

using SpanTable = rowvault1::GenericBucketTable<span_t>;

constexpr const char* cpuRunning = "cpu_running_data_t";
constexpr field_info_t weightField{0, "weight", fieldTypeU64, 1, ""};
constexpr std::uint64_t topBit = std::uint64_t{1} << 63;

inline SpanTable openSpans(rowvault1::IResult& result, const char* name = cpuRunning)
{
    return SpanTable(*result.database(), name);
}

/// A row of thread 1 that is told from others by its end.
inline span_t spanAt(std::uint64_t start, std::uint64_t end = 0)
{
    return {rowvault1::Index(1), start, end};
}

template <class Row>
std::vector<Row> rowsOf(rowvault1::GenericBucketTable<Row>& table, std::int32_t bucket)
{
    std::vector<Row> rows;
    rowvault1::ConstBucketIterator<Row> walk;
    EXPECT_TRUE(table.query(walk, bucket));
    for (; !walk.atEnd(); walk.next())
        rows.push_back(walk.current());
    EXPECT_FALSE(walk.failed());
    return rows;
}

/// Ends of the rows of a bucket, as they are read.
inline std::vector<std::uint64_t> endsOf(SpanTable& table, std::int32_t bucket)
{
    std::vector<std::uint64_t> ends;
    for (const span_t& row : rowsOf(table, bucket))
        ends.push_back(row.end);
    return ends;
}

inline std::vector<std::int32_t> bucketsOf(SpanTable& table)
{
    std::vector<std::int32_t> buckets;
    rowvault1::ConstBucketKeyIterator walk;
    EXPECT_TRUE(table.query(walk));
    for (; !walk.atEnd(); walk.next())
        buckets.push_back(walk.current());
    EXPECT_FALSE(walk.failed());
    return buckets;
}

/// Gives `count` rows with the ends 0, 1, 2 and so on.
class CountingRows final : public rowvault1::IBulkData<span_t> {
public:
    explicit CountingRows(std::uint64_t count) : m_count(count) {}
    bool next(span_t& row) override
    {
        if (given == m_count) return false;
        row = {rowvault1::Index(static_cast<std::int32_t>(given)), given * 3, given};
        ++given;
        return true;
    }
    std::uint64_t given = 0;

private:
    std::uint64_t m_count;
};
