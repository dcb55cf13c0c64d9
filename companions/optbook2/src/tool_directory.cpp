#include <optbook2/tool_directory.h>

#include "program_folder.h"

#include <toolbelt2/environment.h>

#include <filesystem>
#include <system_error>

namespace optbook2 {

std::string programFolder()
{
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : program.parent_path().string();
}

std::string getToolDirectory()
{
    std::string chosen = tb2::get_environ_value("SAMPLEFOLD_TOOL_DIR");
    return chosen.empty() ? programFolder() : chosen;
}

} // namespace optbook2
