#include "database_impl.h"

#include "attribute_table_impl.h"
#include "band_binding.h"
#include "band_table_impl.h"
#include "context_manager_impl.h"
#include "query_impl.h"

#include <PORTA_2_18/assert.h>

namespace rowvault1 {

tb2::sptr_t<IAttributeTable> DatabaseImpl::getAttributeTable(const char* name)
{
    if (name == nullptr) return {};
    if (const auto known = m_tables.find(name); known != m_tables.end()) return known->second;
    TableWriter* const table = m_store->table(name);
    if (table == nullptr || table->table().kind != schema::table_kind_t::attribute) return {};
    tb2::sptr_t<IAttributeTable> handle = tb2::make_counted<AttributeTableImpl>(m_store, *table);
    m_tables.emplace(name, handle);
    return handle;
}

tb2::sptr_t<IGenericBandTable<single_band_obj_t>>
DatabaseImpl::createBandTable(const char* dataName, const char* attributeTable, const char*)
{
    if (dataName == nullptr || attributeTable == nullptr) return {};
    const schema::table_t* const attributes = schema::findTable(attributeTable);
    if (attributes == nullptr || attributes->kind != schema::table_kind_t::attribute) return {};
    TableWriter* const table = m_store->makeBandTable(dataName, *attributes);
    if (table == nullptr || !noteBandData(*m_store, dataName, attributeTable)) return {};
    return tb2::make_counted<SingleBandTable>(m_store, *table);
}

tb2::sptr_t<IQuery> DatabaseImpl::createQuery(const char* name, int)
{
    TableWriter* const table = name == nullptr ? nullptr : m_store->table(name);
    if (table == nullptr || table->table().kind == schema::table_kind_t::instance) return {};
    return tb2::make_counted<QueryImpl>(m_store, *table);
}

tb2::sptr_t<IGrouperInstanceTableDef> PerfDatabaseImpl::getInstanceTableDef(const char* dataName,
                                                                            int)
{
    if (dataName == nullptr || !hasBandData(*m_store, dataName)) return {};
    return tb2::make_counted<InstanceTableDefImpl>(dataName);
}

void PerfDatabaseImpl::bindInstanceTable(const tb2::sptr_t<IGrouperInstanceTableDef>& definition,
                                         const char* ownerTable, int, const char*, const char*,
                                         const char*)
{
    PORTA_ASSERT_TEXT(!definition.is_null(), "!definition.is_null()");
    if (definition.is_null() || ownerTable == nullptr) return;
    bindBandData(*m_store, definition->dataName(), ownerTable);
}

tb2::sptr_t<IContextManager> PerfDatabaseImpl::getContextManager()
{
    return tb2::make_counted<ContextManagerImpl>(m_store);
}

} // namespace rowvault1
