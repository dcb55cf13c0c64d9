#include "report/sql_rows.h"

#include <cstdio>

namespace samplefold::report {

using tb2::variant_t;

SqlRows readRows(rowvault1::IResult& result, std::string_view sql)
{
    struct Reader final : rowvault1::ISqlReader {
        void onColumns(std::span<const std::string> names) override
        {
            answer.names.assign(names.begin(), names.end());
        }
        bool onRow(std::span<const variant_t> row) override
        {
            answer.rows.emplace_back(row.begin(), row.end());
            return true;
        }
        SqlRows answer;
    } reader;
    rowvault1::readSql(result, sql, reader);
    return std::move(reader.answer);
}

bool rowsAreSamples(rowvault1::IResult& result)
{
    return result.info("store_each_sample") != "off";
}

std::int64_t rowKey(const variant_t& value)
{
    return value.is_integer() ? static_cast<std::int64_t>(value.integer_bits()) : -1;
}

std::string toText(const variant_t& value)
{
    switch (value.kind()) {
    case variant_t::kind_t::null:
        return {};
    case variant_t::kind_t::text:
        return std::string(value.as_text());
    case variant_t::kind_t::real: {
        char text[32];
        std::snprintf(text, sizeof text, "%.6g", value.as_double());
        return text;
    }
    case variant_t::kind_t::u64:
        return std::to_string(value.integer_bits());
    default:
        return std::to_string(static_cast<std::int64_t>(value.integer_bits()));
    }
}

nlohmann::ordered_json toJson(const variant_t& value)
{
    switch (value.kind()) {
    case variant_t::kind_t::null:
        return nullptr;
    case variant_t::kind_t::text:
        return std::string(value.as_text());
    case variant_t::kind_t::real:
        return value.as_double();
    case variant_t::kind_t::u64:
        return value.integer_bits();
    default:
        return static_cast<std::int64_t>(value.integer_bits());
    }
}

nlohmann::ordered_json textOrNull(const std::string& text)
{
    return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
}

nlohmann::ordered_json rowToJson(std::span<const std::string> names, std::span<const variant_t> row)
{
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    for (std::size_t i = 0; i < row.size(); ++i) {
        std::string name = names[i];
        for (int again = 2; object.contains(name); ++again)
            name = names[i] + " " + std::to_string(again);
        object[name] = toJson(row[i]);
    }
    return object;
}

std::string jsonText(const nlohmann::ordered_json& value, int indent)
{
    return value.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

} // namespace samplefold::report
