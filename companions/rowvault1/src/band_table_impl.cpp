#include "band_table_impl.h"

#include "values.h"

#include <PORTA_2_18/assert.h>

#include <algorithm>
#include <utility>

namespace rowvault1 {
namespace {

enum slot_t : std::size_t {
    ownerSlot,
    tableSlot,
    startSlot,
    endSlot,
    reservedSlot,
    countSlot,
    attributeSlot,
    firstCustomSlot
};

void setKey(row_values_t& values, std::size_t slot, Index key)
{
    values.setNull(slot);
    if (key.exist()) values.setInteger(slot, static_cast<std::uint64_t>(std::int64_t{key.value()}));
}

} // namespace

BandWriter::BandWriter(std::shared_ptr<Store> store, TableWriter& table)
    : m_store(std::move(store)), m_table(table), m_values(table.plan())
{
}

void BandWriter::begin(const band_timeline_key_t& key, std::uint64_t start, std::uint64_t end,
                       const std::vector<tb2::variant_t>* custom)
{
    setKey(m_values, ownerSlot, key.owner);
    m_values.texts[tableSlot] = key.attributeTable;
    m_values.setInteger(tableSlot, 0);
    m_values.setInteger(startSlot, start);
    m_values.setInteger(endSlot, end);
    for (std::size_t slot = firstCustomSlot; slot < m_table.plan().slots(); ++slot)
        m_values.setNull(slot);
    if (custom != nullptr) setCustom(*custom);
}

void BandWriter::setCustom(const std::vector<tb2::variant_t>& custom)
{
    const std::size_t columns = m_table.plan().slots() - firstCustomSlot;
    for (std::size_t n = 0; n < custom.size(); ++n) {
        if (custom[n].is_null()) continue;
        PORTA_ASSERT_TEXT(n < columns, "isValidColumn( column )");
        if (n >= columns) continue;
        const std::size_t slot = firstCustomSlot + n;
        const bool matches = setValue(m_values, m_table.plan().kinds[slot], slot, custom[n]);
        PORTA_ASSERT_TEXT(matches, "kindMatches( column )");
    }
}

Index BandWriter::add(const aggregated_data_t& data)
{
    m_values.setInteger(reservedSlot, data.reserved);
    m_values.setInteger(countSlot, data.count);
    setKey(m_values, attributeSlot, data.attribute);
    return Index(static_cast<std::int32_t>(m_table.append(m_values)));
}

std::uint16_t BandWriter::customColumn(const char* name) const
{
    const std::span<const schema::column_t> columns =
        m_table.table().columns.subspan(firstCustomSlot);
    if (name == nullptr) return InvalidColIdx;
    const auto found = std::ranges::find(columns, std::string_view(name), &schema::column_t::name);
    return found == columns.end() ? InvalidColIdx
                                  : static_cast<std::uint16_t>(found - columns.begin());
}

bool AggregatedBandTable::add(const band_timeline_key_t& key, const aggregated_band_obj_t& band,
                              tb2::sptr_t<IMetaData>& meta,
                              const std::vector<tb2::variant_t>* custom)
{
    m_writer.begin(key, band.start, band.end, custom);
    Index last;
    for (const aggregated_data_t& data : band.data) {
        last = m_writer.add(data);
        if (!last.exist()) return false;
    }
    meta = tb2::make_counted<MetaDataImpl>(last);
    return true;
}

bool SingleBandTable::add(const band_timeline_key_t& key, const single_band_obj_t& band,
                          tb2::sptr_t<IMetaData>& meta, const std::vector<tb2::variant_t>* custom)
{
    m_writer.begin(key, band.start, band.end, custom);
    const Index row = m_writer.add({0, band.count, band.attribute});
    if (!row.exist()) return false;
    meta = tb2::make_counted<MetaDataImpl>(row);
    return true;
}

} // namespace rowvault1
