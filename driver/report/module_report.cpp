#include "report/module_report.h"

#include "report/module_list.h"
#include "report/sql_rows.h"
#include "report/text_table.h"

#include <string>

namespace samplefold::report {
namespace {

using nlohmann::ordered_json;

bool isShown(const ModuleInfo& module, const ModuleOptions& options)
{
    return options.all || (module.isFile && module.sampleRows != 0);
}

bool listsAttempts(const ModuleInfo& module, const ModuleOptions& options)
{
    const bool hasNothing = module.found.empty() && module.symbols.empty();
    return options.attempts || (hasNothing && module.sampleRows != 0);
}

/// Calls `visit` for the modules that are shown, and returns the number of the others.
template <class Visit>
std::uint64_t visitShown(rowvault1::IResult& result, const ModuleOptions& options, Visit&& visit)
{
    std::uint64_t hidden = 0;
    for (const ModuleInfo& module : readModules(result)) {
        if (isShown(module, options))
            visit(module);
        else
            ++hidden;
    }
    return hidden;
}

void writeModuleFact(std::ostream& out, const char* title, const std::string& text)
{
    writeFact(out, title, text, "  ", 10);
}

void writeAttempts(const ModuleInfo& module, std::ostream& out)
{
    if (module.attempts.empty()) return;
    TextTable table;
    for (const char* const title : {"tried for", "place", "path", "outcome"})
        table.addColumn(title, TextTable::Align::left);
    for (const ModuleAttempt& attempt : module.attempts) {
        std::string outcome = attempt.refusal.empty() ? "taken" : attempt.refusal;
        if (!attempt.detail.empty()) outcome += ": " + attempt.detail;
        table.addRow({attempt.purpose, attempt.place, attempt.path, std::move(outcome)});
    }
    table.print(out, "    ");
}

void writeModule(const ModuleInfo& module, const ModuleOptions& options, bool withSamples,
                 std::ostream& out)
{
    out << printable(module.path) << '\n';
    if (withSamples) writeModuleFact(out, "samples", std::to_string(module.sampleRows));
    const bool isKnownMissing = module.isFile && module.found.empty();
    writeModuleFact(out, "found", isKnownMissing ? "no file" : module.found);
    writeModuleFact(out, "symbols", module.symbols);
    writeModuleFact(out, "build id", module.buildId);
    writeModuleFact(out, "md5", module.md5);
    writeModuleFact(out, "no names", module.missing);
    if (listsAttempts(module, options)) writeAttempts(module, out);
}

ordered_json attemptsToJson(const ModuleInfo& module)
{
    ordered_json list = ordered_json::array();
    for (const ModuleAttempt& attempt : module.attempts) {
        list.push_back({{"purpose", textOrNull(attempt.purpose)},
                        {"place", textOrNull(attempt.place)},
                        {"path", textOrNull(attempt.path)},
                        {"refusal", textOrNull(attempt.refusal)},
                        {"detail", textOrNull(attempt.detail)}});
    }
    return list;
}

ordered_json moduleToJson(const ModuleInfo& module, const ModuleOptions& options, bool withSamples)
{
    ordered_json json;
    json["path"] = textOrNull(module.path);
    json["name"] = textOrNull(module.name);
    json["is_file"] = module.isFile;
    if (withSamples) json["samples"] = module.sampleRows;
    json["found"] = textOrNull(module.found);
    json["symbols"] = textOrNull(module.symbols);
    json["build_id"] = textOrNull(module.buildId);
    json["md5"] = textOrNull(module.md5);
    json["missing"] = textOrNull(module.missing);
    if (listsAttempts(module, options)) json["attempts"] = attemptsToJson(module);
    return json;
}

} // namespace

void writeModules(rowvault1::IResult& result, const ModuleOptions& options, std::ostream& out)
{
    const bool areSamples = rowsAreSamples(result);
    const std::uint64_t hidden = visitShown(result, options, [&](const ModuleInfo& module) {
        writeModule(module, options, areSamples, out);
    });
    if (hidden != 0)
        out << "... " << hidden << " more without samples, or no files: --all shows them\n";
}

ordered_json modulesToJson(rowvault1::IResult& result, const ModuleOptions& options)
{
    const bool areSamples = rowsAreSamples(result);
    ordered_json json;
    auto& list = json["modules"] = ordered_json::array();
    const std::uint64_t hidden = visitShown(result, options, [&](const ModuleInfo& module) {
        list.push_back(moduleToJson(module, options, areSamples));
    });
    json["not_shown"] = hidden;
    return json;
}

} // namespace samplefold::report
