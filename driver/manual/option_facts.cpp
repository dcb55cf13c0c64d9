#include "manual/option_facts.h"

#include <sstream>

namespace samplefold::manual {
namespace {

/// What stands for the value, without the checks that CLI11 puts behind it, each after a colon. It
/// does not tell how many checks there are, so they are asked for until it says that there are no
/// more.
std::string valueName(CLI::Option& option, std::string& lastCheck)
{
    std::string name = option.get_type_name();
    std::string checks;
    try {
        for (int i = 0;; ++i) {
            const std::string check = option.get_validator(i)->get_description();
            if (check.empty()) continue;
            checks += ":" + check;
            lastCheck = check;
        }
    } catch (const CLI::OptionNotFound&) {
    }
    if (name.ends_with(checks)) name.resize(name.size() - checks.size());
    return name;
}

/// The words of "{on,off}", a check that takes only these.
std::vector<std::string> choicesOf(const std::string& check)
{
    std::vector<std::string> choices;
    if (!check.starts_with('{') || !check.ends_with('}')) return choices;
    std::istringstream words(check.substr(1, check.size() - 2));
    for (std::string word; std::getline(words, word, ',');)
        choices.push_back(word);
    return choices;
}

void readValue(CLI::Option& option, OptionFacts& facts)
{
    std::string check;
    facts.value = valueName(option, check);
    facts.choices = choicesOf(check);
    if (facts.choices.empty()) return;
    facts.value.clear();
    for (const std::string& each : facts.choices)
        facts.value += (facts.value.empty() ? "" : "|") + each;
}

OptionFacts factsOf(CLI::Option& option)
{
    OptionFacts facts;
    for (const std::string& name : option.get_snames())
        facts.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        facts.names.push_back("--" + name);
    facts.isPositional = option.get_positional() && facts.names.empty();
    if (option.get_items_expected_max() > 0) readValue(option, facts);
    if (facts.isPositional) facts.value = option.get_name(true);
    facts.description = option.get_description();
    facts.byDefault = option.get_default_str();
    facts.isRequired = option.get_required();
    return facts;
}

} // namespace

std::vector<OptionFacts> optionsOf(CLI::App& app)
{
    std::vector<OptionFacts> facts;
    for (CLI::Option* option : app.get_options({}))
        facts.push_back(factsOf(*option));
    return facts;
}

} // namespace samplefold::manual
