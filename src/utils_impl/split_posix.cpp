#include <samplefold_1/utils_command_line.h>

#include <boost/program_options/parsers.hpp>

namespace samplefold_1::utils {
namespace {

constexpr const char* g_separators = " \t";

} // namespace

std::vector<std::string> splitCmdlinePosixStyle(const std::string& cmdline)
{
    return boost::program_options::split_unix(cmdline, g_separators, "'\"", "\\");
}

std::vector<std::string> splitCmdlineByWhitespace(const std::string& cmdline)
{
    return boost::program_options::split_unix(cmdline, g_separators, "", "");
}

} // namespace samplefold_1::utils
