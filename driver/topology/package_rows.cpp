#include "topology/package_rows.h"

#include "topology/sysfs_tree.h"

namespace samplefold::topology {

CpuPackages packagesIn(const perfdata::Features& features)
{
    CpuPackages packages;
    if (!features.cpuTopology) return packages;
    std::uint32_t number = 0;
    for (const perfdata::CpuPlace& cpu : features.cpuTopology->cpus) {
        if (cpu.socket >= 0) packages.emplace(number, cpu.socket);
        ++number;
    }
    return packages;
}

CpuPackages readCpuPackages(const std::string& root)
{
    CpuPackages packages;
    sysfs::visitCpus(root, [&](int cpu, const std::filesystem::path& topology) {
        if (const auto package = sysfs::packageOf(topology))
            packages.emplace(static_cast<std::uint32_t>(cpu), *package);
    });
    return packages;
}

} // namespace samplefold::topology
