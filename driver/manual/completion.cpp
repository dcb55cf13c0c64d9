#include "manual/completion.h"

#include "manual/option_facts.h"

#include <sstream>

namespace samplefold::manual {
namespace {

std::string joined(const std::vector<std::string>& words, const char* separator)
{
    std::string out;
    for (const std::string& word : words)
        out += (out.empty() ? "" : separator) + word;
    return out;
}

/// Every name that begins with a hyphen.
std::vector<std::string> optionNames(CLI::App& app)
{
    std::vector<std::string> names;
    for (const OptionFacts& option : optionsOf(app))
        names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

/// For each option with a value: the words to choose from, or none where a path or a text stands.
void writeValues(std::ostream& out, CLI::App& app, const std::string& command)
{
    for (const OptionFacts& option : optionsOf(app)) {
        if (option.value.empty() || option.isPositional) continue;
        std::vector<std::string> patterns;
        for (const std::string& name : option.names)
            patterns.push_back(command + ":" + name);
        out << "        " << joined(patterns, "|") << ")\n            ";
        if (option.choices.empty())
            out << "mapfile -t COMPREPLY < <(compgen -f -- \"$word\")";
        else
            out << "COMPREPLY=($(compgen -W '" << joined(option.choices, " ") << "' -- \"$word\"))";
        out << "\n            return ;;\n";
    }
}

void writeWords(std::ostream& out, const std::string& command,
                const std::vector<std::string>& words)
{
    out << "        '" << command << "') words='" << joined(words, " ") << "' ;;\n";
}

} // namespace

std::string bashCompletion(CLI::App& app, const std::string& program)
{
    const auto commands = app.get_subcommands({});
    std::vector<std::string> names;
    for (CLI::App* command : commands)
        names.push_back(command->get_name());
    std::vector<std::string> first = optionNames(app);
    first.insert(first.begin(), names.begin(), names.end());

    std::ostringstream out;
    out << "# Completion of " << program << " for bash; made from its command line.\n"
        << "_" << program << "()\n{\n"
        << "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command= "
           "words= each\n"
        << "    # \"--option=value\" comes as three words.\n"
        << "    if [[ $word == = ]]; then word=\n"
        << "    elif [[ $before == = ]]; then before=${COMP_WORDS[COMP_CWORD-2]}; fi\n"
        << "    for each in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
        << "        [[ $each == -* ]] || { command=$each; break; }\n"
        << "    done\n"
        << "    case $command:$before in\n";
    writeValues(out, app, "");
    for (CLI::App* command : commands)
        writeValues(out, *command, command->get_name());
    out << "    esac\n    case $command in\n";
    writeWords(out, "", first);
    for (CLI::App* command : commands)
        writeWords(out, command->get_name(), optionNames(*command));
    out << "    esac\n"
        << "    if [[ $word == -* || -z $command ]]; then\n"
        << "        COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
        << "    else\n"
        << "        mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n"
        << "    fi\n}\n"
        << "complete -o filenames -F _" << program << " " << program << '\n';
    return out.str();
}

} // namespace samplefold::manual
