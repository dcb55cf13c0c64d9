#pragma once

#include "store.h"

#include <rowvault1/bucket_table.h>

#include <memory>
#include <string>

namespace rowvault1 {

/// The columns stand in the order of the fields, then "bucket", then the custom columns.
class BucketTableImpl : public IBucketTable {
public:
    BucketTableImpl(std::shared_ptr<Store> store, TableWriter& table, std::size_t fields);
    void setSortCriterion(std::uint16_t column, int order) override;
    bool insert(std::int32_t bucket, std::span<const tb2::variant_t> values,
                std::span<const tb2::variant_t> custom) override;
    tb2::sptr_t<IBucketRows> rows(std::int32_t bucket) override;
    tb2::sptr_t<IBucketKeys> keys() override;
    bool sort() override;
    bool clear() override;
    std::uint64_t size() override;
    std::uint64_t size(std::int32_t bucket) override;
    std::uint16_t addCustomField(const field_info_t& field) override;

private:
    std::size_t bucketSlot() const noexcept { return m_fields; }
    std::size_t firstCustomSlot() const noexcept { return m_fields + 1; }
    void setColumns(std::size_t firstSlot, std::size_t endSlot,
                    std::span<const tb2::variant_t> values);
    bool isSorted();
    std::uint64_t count(const std::string& condition);

    std::shared_ptr<Store> m_store;
    TableWriter& m_table;
    std::size_t m_fields;
    std::size_t m_sortSlot = 0;
    const table_plan_t* m_plan; ///< that m_values was made for
    row_values_t m_values;
};

} // namespace rowvault1
