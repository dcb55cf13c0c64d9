#include "topology/io_stacks.h"

#include "topology/sysfs_tree.h"

#include <set>
#include <string_view>
#include <vector>

namespace samplefold::topology {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view g_unitPrefix = "uncore_iio_";
constexpr std::string_view g_diePrefix = "die";

/// Packages of the dies, by the number of the die.
std::vector<int> packagesOfDies(const std::string& root)
{
    std::set<std::pair<int, int>> dies;
    sysfs::visitCpus(root, [&](int, const fs::path& topology) {
        const auto package = sysfs::packageOf(topology);
        const auto die = wholeNumber<int>(sysfs::firstLine(topology / "die_id"), 10);
        if (package) dies.insert({*package, die.value_or(0)});
    });
    std::vector<int> packages;
    for (const auto& [package, die] : dies)
        packages.push_back(package);
    return packages;
}

void addUnit(const fs::path& folder, int unit, const std::vector<int>& packages, IoStacks& stacks)
{
    sysfs::visitEntries(folder, [&](const fs::path& path, const std::string& name) {
        const auto die = sysfs::numberBehind(g_diePrefix, name);
        if (!die || *die < 0) return;
        const std::string text = sysfs::firstLine(path);
        const std::string_view line = text;
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) return;
        const auto domain = wholeNumber<std::uint32_t>(line.substr(0, colon), 16);
        const auto bus = wholeNumber<std::uint8_t>(line.substr(colon + 1), 16);
        const auto at = static_cast<std::size_t>(*die);
        if (!domain || !bus) return;
        stacks.try_emplace({*domain, *bus},
                           IoStack{at < packages.size() ? packages[at] : *die, unit});
    });
}

} // namespace

IoStacks readIoStacks(const std::string& root)
{
    const fs::path devices = sysfs::devicesOf(root);
    const std::vector<int> packages = packagesOfDies(root);
    IoStacks stacks;
    sysfs::visitEntries(devices, [&](const fs::path& path, const std::string& name) {
        const auto unit = sysfs::numberBehind(g_unitPrefix, name);
        if (unit && *unit >= 0) addUnit(path, *unit, packages, stacks);
    });
    return stacks;
}

} // namespace samplefold::topology
