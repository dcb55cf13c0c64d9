#include "band_binding.h"

#include "store_change.h"

#include <optional>
#include <string>

namespace rowvault1 {
namespace {

void insertData(Store& store, std::string_view dataName, std::string_view attributeTable)
{
    Statement insert = store.connection().prepare(
        "INSERT INTO main.band_binding(id, data_name, attribute_table) VALUES(?1, ?2, ?3)");
    insert.bindInteger(1, store.table("band_binding")->takeKey());
    insert.bindText(2, dataName);
    insert.bindText(3, attributeTable);
    insert.run();
}

/// Null for data that are not known.
std::optional<std::string> attributeTableOf(Store& store, std::string_view dataName)
{
    store.settle();
    try {
        Statement statement = store.connection().prepare(
            "SELECT attribute_table FROM main.band_binding WHERE data_name = ?1");
        statement.bindText(1, dataName);
        if (statement.step()) return statement.text(0);
    } catch (const SqlError&) {
        // Data of a store that cannot be read are not known.
    }
    return std::nullopt;
}

} // namespace

bool hasBandData(Store& store, std::string_view dataName)
{
    return attributeTableOf(store, dataName).has_value();
}

bool noteBandData(Store& store, std::string_view dataName, std::string_view attributeTable)
{
    if (const auto known = attributeTableOf(store, dataName)) return *known == attributeTable;
    return changeNow(store, [&] { insertData(store, dataName, attributeTable); });
}

void bindBandData(Store& store, std::string_view dataName, std::string_view ownerTable)
{
    changeNow(store, [&] {
        Statement update = store.connection().prepare(
            "UPDATE main.band_binding SET owner_table = ?2 WHERE data_name = ?1");
        update.bindText(1, dataName);
        update.bindText(2, ownerTable);
        update.run();
    });
}

} // namespace rowvault1
