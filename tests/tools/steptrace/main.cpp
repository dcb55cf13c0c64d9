// steptrace: a recording of a program with branch records, and the truth beside it. See
// tests/tools/README.md.
#include "failure.h"
#include "options.h"
#include "tracer.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

namespace {

constexpr int failed = 2;
constexpr int notPermitted = 3;

int fail(const std::exception& error, int status)
{
    std::cerr << "steptrace: " << error.what() << '\n';
    return status;
}

int run(int count, char** words)
{
    steptrace::Options options;
    CLI::App app("Runs a program in single steps and records it with its true call chains");
    steptrace::addOptions(app, options);
    CLI11_PARSE(app, count, words);
    steptrace::Tracer tracer(options);
    tracer.run();
    std::cout << tracer.samples() << " samples of " << tracer.steps() << " instructions\n";
    return 0;
}

} // namespace

int main(int count, char** words)
{
    try {
        return run(count, words);
    } catch (const steptrace::NotPermitted& error) {
        return fail(error, notPermitted);
    } catch (const std::exception& error) {
        return fail(error, failed);
    }
}
