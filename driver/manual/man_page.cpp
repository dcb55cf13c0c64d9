#include "manual/man_page.h"

#include "manual/option_facts.h"

#include <sstream>

namespace samplefold::manual {
namespace {

/// A text as man(7) prints it unchanged: backslashes and hyphens are its own, and so is a point or
/// an apostrophe at the beginning of a line.
std::string plain(const std::string& text)
{
    std::string out;
    bool atBegin = true;
    for (const char letter : text) {
        if (atBegin && (letter == '.' || letter == '\'')) out += "\\&";
        if (letter == '\\')
            out += "\\e";
        else if (letter == '-')
            out += "\\-";
        else
            out += letter;
        atBegin = letter == '\n';
    }
    return out;
}

/// In bold, however it begins.
std::string bold(const std::string& text)
{
    return "\\fB" + plain(text) + "\\fR";
}

std::string italic(const std::string& text)
{
    return "\\fI" + plain(text) + "\\fR";
}

/// "-o, --output RESULT" with its names in bold.
std::string heading(const OptionFacts& option)
{
    std::string out;
    for (const std::string& name : option.names)
        out += (out.empty() ? "" : ", ") + bold(name);
    if (option.isPositional) return italic(option.value);
    return option.value.empty() ? out : out + " " + italic(option.value);
}

void writeOption(std::ostream& out, const OptionFacts& option)
{
    out << ".TP\n" << heading(option) << '\n' << plain(option.description);
    if (!option.byDefault.empty()) out << " (default: " << plain(option.byDefault) << ")";
    out << '\n';
}

void writeOptions(std::ostream& out, const std::vector<OptionFacts>& options, bool positional)
{
    bool isFirst = true;
    for (const OptionFacts& option : options) {
        if (option.isPositional != positional) continue;
        if (isFirst) out << ".SH " << (positional ? "ARGUMENTS" : "OPTIONS") << '\n';
        isFirst = false;
        writeOption(out, option);
    }
}

std::string synopsis(const std::vector<OptionFacts>& options, const std::string& words,
                     bool hasCommands)
{
    std::string out = bold(words) + " [" + italic("OPTION") + "]...";
    for (const OptionFacts& option : options) {
        if (option.isPositional)
            out +=
                option.isRequired ? " " + italic(option.value) : " [" + italic(option.value) + "]";
        else if (option.isRequired)
            out += " " + bold(option.names.back()) + " " + italic(option.value);
    }
    return hasCommands ? out + " " + italic("COMMAND") + " ..." : out;
}

void writeCommands(std::ostream& out, CLI::App& app, const std::string& page)
{
    const auto commands = app.get_subcommands({});
    if (commands.empty()) return;
    out << ".SH COMMANDS\n";
    for (CLI::App* command : commands) {
        out << ".TP\n"
            << bold(command->get_name()) << '\n'
            << plain(command->get_description()) << "; see "
            << bold(page + "-" + command->get_name()) << "(1)\n";
    }
}

} // namespace

std::string manPage(CLI::App& app, const std::string& page, const std::string& words,
                    const std::string& version)
{
    const std::vector<OptionFacts> options = optionsOf(app);
    const bool hasCommands = !app.get_subcommands({}).empty();
    std::ostringstream out;
    out << ".TH \"" << page << "\" 1 \"\" \"" << plain(version) << "\" \"samplefold\"\n"
        << ".SH NAME\n"
        << plain(page) << " \\- " << plain(app.get_description()) << '\n'
        << ".SH SYNOPSIS\n"
        << synopsis(options, words, hasCommands) << '\n';
    writeOptions(out, options, true);
    writeOptions(out, options, false);
    writeCommands(out, app, page);
    if (!app.get_footer().empty())
        out << ".SH NOTES\n.nf\n" << plain(app.get_footer()) << "\n.fi\n";
    const CLI::App* const parent = app.get_parent();
    if (parent != nullptr) out << ".SH SEE ALSO\n" << bold(parent->get_name()) << "(1)\n";
    return out.str();
}

} // namespace samplefold::manual
