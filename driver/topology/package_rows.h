#pragma once

#include "perfdata/features.h"
#include "session/keyed_rows.h"

#include <rowvault1/database.h>

#include <cstdint>
#include <map>
#include <string>

namespace samplefold::topology {

/// Rows of packages by their number, named "package_0" and so on, made when they are new. Loading
/// thread only.
class PackageRows {
public:
    explicit PackageRows(const tb2::sptr_t<rowvault1::IDatabase>& db)
        : m_rows(db, "dd_package", {"name"})
    {
    }
    rowvault1::Index row(int package)
    {
        return m_rows.findOrAdd({"package_" + std::to_string(package)});
    }

private:
    session::KeyedRows<std::string> m_rows;
};

/// Which package each CPU is in, as far as that is told.
using CpuPackages = std::map<std::uint32_t, int>;

/// As the recording tells. Empty where it does not.
CpuPackages packagesIn(const perfdata::Features& features);

/// As the kernel tells in /sys/devices/system/cpu; `root` is as for readIoStacks. Any thread.
CpuPackages readCpuPackages(const std::string& root);

} // namespace samplefold::topology
