#include "values.h"

#include <sqlite3.h>

#include <bit>
#include <limits>
#include <utility>

namespace rowvault1 {
namespace {

using schema::kind_t;
using value_kind_t = tb2::variant_t::kind_t;

constexpr std::size_t g_maxTextBytes = 1000000000; // what SQLite takes
constexpr std::int64_t g_exactInDouble = std::int64_t{1} << std::numeric_limits<double>::digits;

bool isNegative(const tb2::variant_t& value)
{
    const bool isSigned = value.kind() == value_kind_t::s32 || value.kind() == value_kind_t::s64;
    return isSigned && static_cast<std::int64_t>(value.integer_bits()) < 0;
}

/// True when an integer, given by its bits and its sign, fits the kind.
bool fits(kind_t kind, std::uint64_t bits, bool negative)
{
    const auto value = static_cast<std::int64_t>(bits);
    switch (kind) {
    case kind_t::s32:
        return negative ? std::in_range<std::int32_t>(value) : std::in_range<std::int32_t>(bits);
    case kind_t::s64:
        return negative || std::in_range<std::int64_t>(bits);
    case kind_t::u16:
        return !negative && std::in_range<std::uint16_t>(bits);
    case kind_t::u32:
        return !negative && std::in_range<std::uint32_t>(bits);
    case kind_t::u64:
        return !negative;
    case kind_t::real:
        return negative ? value >= -g_exactInDouble : bits <= std::uint64_t{g_exactInDouble};
    default:
        return false;
    }
}

bool setInteger(row_values_t& row, kind_t kind, std::size_t slot, const tb2::variant_t& value)
{
    const std::uint64_t bits = value.integer_bits();
    const bool negative = isNegative(value);
    if (!fits(kind, bits, negative)) return false;
    if (kind == kind_t::real)
        row.setReal(slot, negative ? static_cast<double>(static_cast<std::int64_t>(bits))
                                   : static_cast<double>(bits));
    else
        row.setInteger(slot, bits);
    return true;
}

bool setText(row_values_t& row, kind_t kind, std::size_t slot, std::string_view text)
{
    if (kind != kind_t::text || text.size() > g_maxTextBytes) return false;
    row.texts[slot] = text;
    row.setInteger(slot, 0);
    return true;
}

tb2::variant_t integerOfKind(kind_t kind, std::uint64_t bits)
{
    switch (kind) {
    case kind_t::s32:
        return tb2::variant_t(static_cast<std::int32_t>(bits));
    case kind_t::s64:
        return tb2::variant_t(static_cast<std::int64_t>(bits));
    case kind_t::u16:
        return tb2::variant_t(static_cast<std::uint16_t>(bits));
    case kind_t::u32:
        return tb2::variant_t(static_cast<std::uint32_t>(bits));
    default:
        return tb2::variant_t(bits);
    }
}

tb2::variant_t readInteger(kind_t kind, std::int64_t stored)
{
    const auto bits = static_cast<std::uint64_t>(stored);
    const bool negative = stored < 0 && kind != kind_t::u64; // u64 keeps its bits
    return fits(kind, bits, negative) ? integerOfKind(kind, bits) : tb2::variant_t();
}

} // namespace

bool setValue(row_values_t& row, kind_t kind, std::size_t slot, const tb2::variant_t& value)
{
    row.setNull(slot);
    switch (value.kind()) {
    case value_kind_t::null:
        return true;
    case value_kind_t::text:
        return setText(row, kind, slot, value.as_text());
    case value_kind_t::real:
        if (kind != kind_t::real) return false;
        row.setReal(slot, value.as_double());
        return true;
    default:
        return setInteger(row, kind, slot, value);
    }
}

tb2::variant_t getValue(const row_values_t& row, kind_t kind, std::size_t slot)
{
    if (!row.has(slot)) return {};
    if (kind == kind_t::text) return tb2::variant_t(std::string_view(row.texts[slot]));
    if (kind == kind_t::real) return tb2::variant_t(std::bit_cast<double>(row.cells[slot]));
    return integerOfKind(kind, row.cells[slot]);
}

tb2::variant_t readColumn(const Statement& statement, int column, kind_t kind)
{
    const int type = sqlite3_column_type(statement.get(), column);
    if (kind == kind_t::text)
        return type == SQLITE_TEXT ? tb2::variant_t(std::string_view(statement.text(column)))
                                   : tb2::variant_t();
    if (kind == kind_t::real)
        return type == SQLITE_FLOAT ? tb2::variant_t(sqlite3_column_double(statement.get(), column))
                                    : tb2::variant_t();
    return type == SQLITE_INTEGER ? readInteger(kind, statement.integer(column)) : tb2::variant_t();
}

void bindValue(Statement& statement, int parameter, const row_values_t& row, kind_t kind,
               std::size_t slot)
{
    if (!row.has(slot))
        statement.bindNull(parameter);
    else if (kind == kind_t::text)
        statement.bindText(parameter, row.texts[slot]);
    else if (kind == kind_t::real)
        statement.bindReal(parameter, std::bit_cast<double>(row.cells[slot]));
    else
        statement.bindInteger(parameter, static_cast<std::int64_t>(row.cells[slot]));
}

} // namespace rowvault1
