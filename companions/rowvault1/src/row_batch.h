#pragma once

#include "table_plan.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

// Rows on their way to the database.
namespace rowvault1 {

/// The columns of one row, filled again and again. A cell holds an integer's bits (signed kinds
/// with their sign extended) or a double's; a text stands in `texts` at its slot.
struct row_values_t {
    explicit row_values_t(const table_plan_t& plan)
        : cells(plan.slots()), texts(plan.textSlots.empty() ? 0 : plan.slots())
    {
    }
    void setInteger(std::size_t slot, std::uint64_t bits) noexcept
    {
        cells[slot] = bits;
        present |= std::uint64_t{1} << slot;
    }
    void setReal(std::size_t slot, double value) noexcept
    {
        std::memcpy(&cells[slot], &value, sizeof value);
        present |= std::uint64_t{1} << slot;
    }
    void setNull(std::size_t slot) noexcept { present &= ~(std::uint64_t{1} << slot); }
    bool has(std::size_t slot) const noexcept { return (present >> slot & 1) != 0; }

    std::uint64_t present = 0; ///< bit per slot
    std::vector<std::uint64_t> cells;
    std::vector<std::string> texts;
};

/// Rows of one table with consecutive keys, from `firstKey`. Filled by the loading thread, then
/// read by whoever writes it; never both at once.
class RowBatch {
public:
    RowBatch(const table_plan_t& plan, std::size_t bytes);

    void begin(std::int64_t firstKey) noexcept;
    void append(const row_values_t& values);
    bool full() const noexcept { return m_rows == m_capacity || m_text.size() >= m_textLimit; }
    bool empty() const noexcept { return m_rows == 0; }

    /// Puts the rows of an instance table in the order of their time, by SQLite's signed order,
    /// rows of one time in the order of their keys.
    void sortByTime();

    const table_plan_t& plan() const noexcept { return *m_plan; }
    std::size_t rows() const noexcept { return m_rows; }
    std::size_t bytes() const noexcept;
    /// `n` counts in the order of the sort, where there was one. The key of row `n`, and its
    /// columns.
    std::int64_t key(std::size_t n) const noexcept
    {
        return m_firstKey + static_cast<std::int64_t>(place(n));
    }
    bool has(std::size_t n, std::size_t slot) const noexcept
    {
        return (row(n)[0] >> slot & 1) != 0;
    }
    std::int64_t integer(std::size_t n, std::size_t slot) const noexcept
    {
        return static_cast<std::int64_t>(row(n)[1 + slot]);
    }
    double real(std::size_t n, std::size_t slot) const noexcept;
    std::string_view text(std::size_t n, std::size_t slot) const noexcept;

private:
    struct place_t {
        std::int64_t time;
        std::uint32_t row;
        friend auto operator<=>(const place_t&, const place_t&) = default;
    };

    std::size_t place(std::size_t n) const noexcept { return m_order.empty() ? n : m_order[n].row; }
    const std::uint64_t* row(std::size_t n) const noexcept
    {
        return m_words.get() + place(n) * m_stride;
    }

    const table_plan_t* m_plan;
    std::size_t m_stride;   ///< words per row: the mask of present columns, then the cells
    std::size_t m_capacity; ///< rows
    std::size_t m_textLimit;
    std::unique_ptr<std::uint64_t[]> m_words;
    std::string m_text; ///< all texts; a text's cell holds its offset and its size
    std::vector<place_t> m_order;
    std::size_t m_rows = 0;
    std::int64_t m_firstKey = 0;
};

} // namespace rowvault1
