#include "topology/io_stacks.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <vector>

namespace samplefold::topology {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view g_unitPrefix = "uncore_iio_";
constexpr std::string_view g_diePrefix = "die";
constexpr std::string_view g_cpuPrefix = "cpu";

template <class Number>
std::optional<Number> numberIn(std::string_view text, int base)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number;
}

/// The number behind a prefix that the whole name is made of.
std::optional<int> numberBehind(std::string_view prefix, std::string_view name)
{
    return name.starts_with(prefix) ? numberIn<int>(name.substr(prefix.size()), 10) : std::nullopt;
}

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

template <class Visit>
void visitEntries(const fs::path& folder, Visit&& visit)
{
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error))
        visit(entry->path(), entry->path().filename().string());
}

fs::path devicesOf(const std::string& root)
{
    const fs::path whole = fs::path(root) / "sys/devices";
    std::error_code error;
    return fs::is_directory(whole, error) ? whole : fs::path(root) / "devices";
}

/// Packages of the dies, by the number of the die.
std::vector<int> packagesOfDies(const fs::path& devices)
{
    std::set<std::pair<int, int>> dies;
    visitEntries(devices / "system/cpu", [&](const fs::path& path, const std::string& name) {
        if (!numberBehind(g_cpuPrefix, name)) return;
        const auto package = numberIn<int>(firstLine(path / "topology/physical_package_id"), 10);
        const auto die = numberIn<int>(firstLine(path / "topology/die_id"), 10);
        if (package && *package >= 0) dies.insert({*package, die.value_or(0)});
    });
    std::vector<int> packages;
    for (const auto& [package, die] : dies)
        packages.push_back(package);
    return packages;
}

void addUnit(const fs::path& folder, int unit, const std::vector<int>& packages, IoStacks& stacks)
{
    visitEntries(folder, [&](const fs::path& path, const std::string& name) {
        const auto die = numberBehind(g_diePrefix, name);
        if (!die || *die < 0) return;
        const std::string text = firstLine(path);
        const std::string_view line = text;
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) return;
        const auto domain = numberIn<std::uint32_t>(line.substr(0, colon), 16);
        const auto bus = numberIn<std::uint8_t>(line.substr(colon + 1), 16);
        const auto at = static_cast<std::size_t>(*die);
        if (!domain || !bus) return;
        stacks.try_emplace({*domain, *bus},
                           IoStack{at < packages.size() ? packages[at] : *die, unit});
    });
}

} // namespace

IoStacks readIoStacks(const std::string& root)
{
    const fs::path devices = devicesOf(root);
    const std::vector<int> packages = packagesOfDies(devices);
    IoStacks stacks;
    visitEntries(devices, [&](const fs::path& path, const std::string& name) {
        const auto unit = numberBehind(g_unitPrefix, name);
        if (unit && *unit >= 0) addUnit(path, *unit, packages, stacks);
    });
    return stacks;
}

} // namespace samplefold::topology
