#pragma once

#include "store.h"

#include <rowvault1/query.h>

#include <memory>
#include <string>
#include <vector>

namespace rowvault1 {

/// Builds one SELECT: the base table is t0, every reference that a path follows one LEFT JOIN,
/// shared by all paths with the same beginning.
class QueryImpl : public IQuery {
public:
    QueryImpl(std::shared_ptr<Store> store, TableWriter& table);
    std::uint16_t addColumn(const char* name, int aggregation,
                            const tb2::generic_iterator_t<const char*>& arguments, int kind,
                            int flags, const char* alias) override;
    tb2::sptr_t<IGenericRecordset> execute(int flags, const char* filter,
                                           const char* order) override;

private:
    struct joined_t {
        std::size_t parent; ///< number of the joined table whose column leads here
        std::string_view column;
        const schema::table_t* table;
    };
    struct column_t {
        std::size_t table;
        std::string_view name;
        schema::kind_t kind;
    };

    const schema::table_t* referenced(const schema::table_t& table, std::string_view column) const;
    std::size_t join(std::size_t parent, std::string_view column, const schema::table_t& table);
    std::uint16_t addLeaf(std::size_t table, std::string_view name);
    std::string sql() const;

    std::shared_ptr<Store> m_store;
    TableWriter& m_table;
    std::vector<joined_t> m_joined;
    std::vector<column_t> m_columns;
};

} // namespace rowvault1
