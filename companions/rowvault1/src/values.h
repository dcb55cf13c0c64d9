#pragma once

#include "connection.h"
#include "row_batch.h"

#include <rowvault1/schema.h>
#include <toolbelt2/variant.h>

// Between variants, cells and SQL: a value has the kind that its column declares.
namespace rowvault1 {

/// Writes a value to a slot, converted without loss to the kind of the column; null clears the
/// slot. False for a value that cannot be, with the slot cleared.
bool setValue(row_values_t& row, schema::kind_t kind, std::size_t slot,
              const tb2::variant_t& value);
/// The value of a slot, null when it is empty.
tb2::variant_t getValue(const row_values_t& row, schema::kind_t kind, std::size_t slot);

/// The value of a result column; null for null and for anything that is not of that kind.
tb2::variant_t readColumn(const Statement& statement, int column, schema::kind_t kind);
/// Binds the value of a slot.
void bindValue(Statement& statement, int parameter, const row_values_t& row, schema::kind_t kind,
               std::size_t slot);

} // namespace rowvault1
