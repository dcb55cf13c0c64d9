#include "topology/sysfs_tree.h"

#include <fstream>

namespace samplefold::topology::sysfs {

namespace fs = std::filesystem;

std::string firstLine(const fs::path& path)
{
    std::error_code error;
    if (!fs::is_regular_file(path, error)) return {};
    std::ifstream file(path);
    std::string line(64, '\0');
    file.read(line.data(), static_cast<std::streamsize>(line.size()));
    line.resize(static_cast<std::size_t>(file.gcount()));
    return line.substr(0, line.find('\n'));
}

fs::path devicesOf(const std::string& root)
{
    const fs::path whole = fs::path(root) / "sys/devices";
    std::error_code error;
    return fs::is_directory(whole, error) ? whole : fs::path(root) / "devices";
}

std::optional<int> packageOf(const fs::path& topology)
{
    const auto package = wholeNumber<int>(firstLine(topology / "physical_package_id"), 10);
    return package && *package >= 0 ? package : std::nullopt;
}

} // namespace samplefold::topology::sysfs
