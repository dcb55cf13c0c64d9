#include "cli/commands.h"
#include "report/sql_writer.h"

#include <iostream>
#include <memory>
#include <string>

namespace samplefold::cli {
namespace {

struct SqlSettings {
    std::string result;
    std::string statement;
    std::string format = "table";
    bool json = false;
};

report::SqlFormat formatOf(const SqlSettings& settings)
{
    if (settings.json || settings.format == "json") return report::SqlFormat::json;
    return settings.format == "csv" ? report::SqlFormat::csv : report::SqlFormat::table;
}

void runSql(const SqlSettings& settings)
{
    const auto result = rowvault1::openResult(settings.result, rowvault1::open_mode_t::read_only);
    report::writeSql(*result, settings.statement, formatOf(settings), std::cout);
}

} // namespace

void addSqlCommand(CLI::App& app)
{
    const auto settings = std::make_shared<SqlSettings>();
    CLI::App* const command = app.add_subcommand("sql", "Ask a result by a SQL statement");
    command->add_option("RESULT", settings->result, "Folder of the result")->required();
    command
        ->add_option("STATEMENT", settings->statement,
                     "One reading statement, for example \"SELECT * FROM samples LIMIT 10\"")
        ->required();
    command->add_option("--format", settings->format, "table, csv or json")
        ->check(CLI::IsMember({"table", "csv", "json"}))
        ->capture_default_str();
    command->add_flag("--json", settings->json, "The same as --format json");
    command->callback([settings] { runSql(*settings); });
}

} // namespace samplefold::cli
