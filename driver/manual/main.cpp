// Writes the manual pages and the completion of the command out of the definitions that it parses
// its command line by, so that neither can tell of an option that is not there.

#include "cli/command_line.h"
#include "load/version.h"
#include "manual/completion.h"
#include "manual/man_page.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace {

using std::filesystem::path;

void write(const path& file, const std::string& text)
{
    create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary);
    out << text << std::flush;
    if (!out) throw std::runtime_error(file.string() + ": cannot be written");
}

void writeAll(const path& folder)
{
    CLI::App app;
    int exitCode = 0;
    samplefold::cli::describeCommandLine(app, exitCode);
    const std::string program = app.get_name();
    const std::string version = samplefold::load::versionText();
    write(folder / "man1" / (program + ".1"),
          samplefold::manual::manPage(app, program, program, version));
    for (CLI::App* command : app.get_subcommands({})) {
        const std::string& name = command->get_name();
        const std::string page = program + "-" + name;
        write(folder / "man1" / (page + ".1"),
              samplefold::manual::manPage(*command, page, program + " " + name, version));
    }
    write(folder / "completions" / program, samplefold::manual::bashCompletion(app, program));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: samplefold_manual FOLDER: writes FOLDER/man1 and FOLDER/completions\n";
        return 2;
    }
    try {
        writeAll(argv[1]);
    } catch (const std::exception& error) {
        std::cerr << "samplefold_manual: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
