#include "context_manager_impl.h"

#include "store_change.h"
#include "variant_text.h"

namespace rowvault1 {
namespace {

/// False when there is no row of that name.
bool updateRow(Store& store, std::string_view name, const tb2::variant_t& value)
{
    Statement update = store.connection().prepare(
        "UPDATE main.dd_context_value SET kind = ?2, value = ?3 WHERE name = ?1");
    update.bindText(1, name);
    update.bindText(2, kindName(value.kind()));
    update.bindText(3, variantText(value));
    update.run();
    return store.connection().integer("SELECT changes()", 0) > 0;
}

void insertRow(Store& store, std::string_view name, const tb2::variant_t& value)
{
    Statement insert = store.connection().prepare(
        "INSERT INTO main.dd_context_value(id, name, kind, value) VALUES(?1, ?2, ?3, ?4)");
    insert.bindInteger(1, store.table("dd_context_value")->takeKey());
    insert.bindText(2, name);
    insert.bindText(3, kindName(value.kind()));
    insert.bindText(4, variantText(value));
    insert.run();
}

} // namespace

bool ContextManagerImpl::setValue(std::string_view name, const tb2::variant_t& value)
{
    if (name.empty()) return false;
    return changeNow(*m_store, [&] {
        if (!updateRow(*m_store, name, value)) insertRow(*m_store, name, value);
    });
}

tb2::variant_t ContextManagerImpl::value(std::string_view name) const
{
    m_store->settle();
    try {
        Statement statement = m_store->connection().prepare(
            "SELECT kind, value FROM main.dd_context_value WHERE name = ?1 ORDER BY id DESC"
            " LIMIT 1");
        statement.bindText(1, name);
        return statement.step() ? variantOf(statement.text(0), statement.text(1))
                                : tb2::variant_t();
    } catch (const SqlError&) {
        return {};
    }
}

} // namespace rowvault1
