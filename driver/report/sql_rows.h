#pragma once

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::report {

/// The whole answer of a statement, for answers that are known to be small.
struct SqlRows {
    std::vector<std::string> names;
    std::vector<std::vector<tb2::variant_t>> rows;
};

/// Runs a statement and keeps its answer. Throws rowvault1::StoreError.
SqlRows readRows(rowvault1::IResult& result, std::string_view sql);

/// Runs a statement and calls `visit(values)` for each row, in which a value stands at the place of
/// its column. Throws rowvault1::StoreError.
template <class Visit>
void visitRows(rowvault1::IResult& result, std::string_view sql, Visit&& visit)
{
    struct Reader final : rowvault1::ISqlReader {
        explicit Reader(Visit& target) : visitRow(target) {}
        void onColumns(std::span<const std::string>) override {}
        bool onRow(std::span<const tb2::variant_t> row) override
        {
            visitRow(row);
            return true;
        }
        Visit& visitRow;
    } reader(visit);
    rowvault1::readSql(result, sql, reader);
}

/// Whether a row of the result is one sample, and not a sum of several.
bool rowsAreSamples(rowvault1::IResult& result);

/// The key of a row that a value holds; -1 when it holds none.
std::int64_t rowKey(const tb2::variant_t& value);

/// A value as a person reads it: numbers in decimal, doubles with six digits, null as the empty
/// text.
std::string toText(const tb2::variant_t& value);
/// A value for a script: null, a number or a text.
nlohmann::ordered_json toJson(const tb2::variant_t& value);

/// A text for a script: null for the empty one.
nlohmann::ordered_json textOrNull(const std::string& text);

/// The row as an object with the columns' names as keys; a name that comes again gets " 2", " 3"
/// behind it.
nlohmann::ordered_json rowToJson(std::span<const std::string> names,
                                 std::span<const tb2::variant_t> row);

/// JSON text of a value; bytes that are no UTF-8 become the replacement character.
std::string jsonText(const nlohmann::ordered_json& value, int indent);

} // namespace samplefold::report
