#include "program_folder.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace optbook2 {

namespace fs = std::filesystem;

std::string programFolder()
{
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return error ? std::string() : program.parent_path().string();
}

std::string libraryFolder()
{
    static const char somethingOfTheLibrary = 0;
    Dl_info place{};
    if (::dladdr(&somethingOfTheLibrary, &place) == 0 || place.dli_fname == nullptr) return {};
    std::error_code error;
    const fs::path library = fs::canonical(place.dli_fname, error);
    return error ? std::string() : library.parent_path().string();
}

} // namespace optbook2
