#include "manual/man_page.h"

#include <gtest/gtest.h>

namespace samplefold::manual {
namespace {

std::string pageOf(const std::string& description, const std::string& footer = {})
{
    CLI::App app(description, "tool");
    app.footer(footer);
    return manPage(app, "tool", "tool", "1.2");
}

bool holds(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

TEST(ManPage, LettersThatTheFormatterTakesForItsOwnArePrintedAsTheyAre)
{
    EXPECT_TRUE(holds(pageOf("a\\b - c"), "tool \\- a\\eb \\- c\n"));
}

TEST(ManPage, LinesThatBeginLikeARequestStayText)
{
    const std::string page = pageOf("x", ".br first\n'second\nthird. 'quoted'");
    EXPECT_TRUE(holds(page, "\n\\&.br first\n\\&'second\nthird. 'quoted'\n"));
}

TEST(ManPage, TheSynopsisShowsWhatMustBeGiven)
{
    CLI::App app("", "tool");
    CLI::App& command = *app.add_subcommand("load", "Load");
    std::string text;
    command.add_option("INPUT", text, "")->required();
    command.add_option("EXTRA", text, "");
    command.add_option("-o,--output", text, "")->required()->type_name("RESULT");
    const std::string page = manPage(command, "tool-load", "tool load", "1.2");
    EXPECT_TRUE(holds(page, ".SH SYNOPSIS\n\\fBtool load\\fR [\\fIOPTION\\fR]... \\fIINPUT\\fR "
                            "[\\fIEXTRA\\fR] \\fB\\-\\-output\\fR \\fIRESULT\\fR\n"))
        << page;
    EXPECT_TRUE(holds(page, ".SH SEE ALSO\n\\fBtool\\fR(1)\n"));
}

TEST(ManPage, CommandsAreListedWithTheirPages)
{
    CLI::App app("", "tool");
    app.add_subcommand("load", "Load a file");
    const std::string page = manPage(app, "tool", "tool", "1.2");
    EXPECT_TRUE(
        holds(page, ".SH COMMANDS\n.TP\n\\fBload\\fR\nLoad a file; see \\fBtool\\-load\\fR(1)\n"));
}

} // namespace
} // namespace samplefold::manual
