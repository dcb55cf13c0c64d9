#pragma once

#include "topology/number_text.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace samplefold::topology::sysfs {

/// The number behind a prefix that the whole name is made of.
inline std::optional<int> numberBehind(std::string_view prefix, std::string_view name)
{
    return name.starts_with(prefix) ? wholeNumber<int>(name.substr(prefix.size()), 10)
                                    : std::nullopt;
}

/// The start of the first line of a regular file; empty where it cannot be read.
std::string firstLine(const std::filesystem::path& path);

/// Calls `visit(path, name)` for each entry of a folder, as far as it can be read.
template <class Visit>
void visitEntries(const std::filesystem::path& folder, Visit&& visit)
{
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error))
        visit(entry->path(), entry->path().filename().string());
}

/// The folder "devices" of a tree that stands for the directory / or for /sys.
std::filesystem::path devicesOf(const std::string& root);

/// Calls `visit(number, folder)` for the folder "topology" of each CPU.
template <class Visit>
void visitCpus(const std::string& root, Visit&& visit)
{
    visitEntries(devicesOf(root) / "system/cpu",
                 [&](const std::filesystem::path& path, const std::string& name) {
                     const auto number = numberBehind("cpu", name);
                     if (number && *number >= 0) visit(*number, path / "topology");
                 });
}

/// The package of a CPU by its folder "topology".
std::optional<int> packageOf(const std::filesystem::path& topology);

} // namespace samplefold::topology::sysfs
