#pragma once

#include <rowvault1/result.h>

#include <nlohmann/json.hpp>

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

/// A value as a person reads it: numbers in decimal, doubles with six digits, null as the empty
/// text.
std::string toText(const tb2::variant_t& value);
/// A value for a script: null, a number or a text.
nlohmann::ordered_json toJson(const tb2::variant_t& value);

/// The row as an object with the columns' names as keys; a name that comes again gets " 2", " 3"
/// behind it.
nlohmann::ordered_json rowToJson(std::span<const std::string> names,
                                 std::span<const tb2::variant_t> row);

/// JSON text of a value; bytes that are no UTF-8 become the replacement character.
std::string jsonText(const nlohmann::ordered_json& value, int indent);

} // namespace samplefold::report
