#include "row_batch.h"

#include <algorithm>

namespace rowvault1 {
namespace {

constexpr unsigned g_sizeBits = 32;

} // namespace

RowBatch::RowBatch(const table_plan_t& plan, std::size_t bytes)
    : m_plan(&plan), m_stride(1 + plan.slots()),
      m_capacity(std::max<std::size_t>(1, bytes / (m_stride * sizeof(std::uint64_t)))),
      m_textLimit(std::max<std::size_t>(1, bytes)),
      m_words(std::make_unique_for_overwrite<std::uint64_t[]>(m_capacity * m_stride))
{
}

void RowBatch::begin(std::int64_t firstKey) noexcept
{
    m_firstKey = firstKey;
    m_rows = 0;
    m_text.clear();
    m_order.clear();
}

void RowBatch::append(const row_values_t& values)
{
    std::uint64_t* const target = m_words.get() + m_rows * m_stride;
    target[0] = values.present;
    std::memcpy(target + 1, values.cells.data(), values.cells.size() * sizeof(std::uint64_t));
    for (const std::uint16_t slot : m_plan->textSlots) {
        if (!values.has(slot)) continue;
        const std::string& text = values.texts[slot];
        target[1 + slot] = m_text.size() << g_sizeBits | text.size();
        m_text += text;
    }
    ++m_rows;
}

void RowBatch::sortByTime()
{
    const std::size_t slot = timeSlot(*m_plan);
    bool sorted = true;
    for (std::size_t n = 1; n < m_rows && sorted; ++n)
        sorted = integer(n - 1, slot) <= integer(n, slot);
    if (sorted) return;
    std::vector<place_t> order(m_rows);
    for (std::size_t n = 0; n < m_rows; ++n)
        order[n] = {integer(n, slot), static_cast<std::uint32_t>(n)};
    std::ranges::sort(order);
    m_order = std::move(order);
}

std::size_t RowBatch::bytes() const noexcept
{
    return m_capacity * m_stride * sizeof(std::uint64_t) + m_text.size();
}

double RowBatch::real(std::size_t n, std::size_t slot) const noexcept
{
    double value = 0;
    std::memcpy(&value, row(n) + 1 + slot, sizeof value);
    return value;
}

std::string_view RowBatch::text(std::size_t n, std::size_t slot) const noexcept
{
    const std::uint64_t word = row(n)[1 + slot];
    return std::string_view(m_text).substr(word >> g_sizeBits, word & 0xffffffffU);
}

} // namespace rowvault1
