#include "session/module_names.h"

#include <toolbelt2/path.h>

#include <algorithm>

namespace samplefold::session {
namespace {

constexpr std::string_view g_guestKernelName = "[guest.kernel.kallsyms]";

/// Where the name of a kernel ends in a recorded name; 0 where it is no kernel's.
std::size_t kernelNameLength(std::string_view recorded)
{
    for (const std::string_view name : {kernelName, g_guestKernelName}) {
        if (recorded.starts_with(name)) return name.size();
    }
    return 0;
}

/// Where the ending of a kernel module's file begins; npos for another file.
std::size_t kernelModuleEnding(std::string_view path)
{
    for (const std::string_view ending : {".ko", ".ko.gz", ".ko.xz", ".ko.zst"}) {
        if (path.ends_with(ending)) return path.size() - ending.size();
    }
    return std::string_view::npos;
}

} // namespace

std::string_view modulePath(std::string_view recorded)
{
    const std::size_t length = kernelNameLength(recorded);
    return length != 0 ? recorded.substr(0, length) : recorded;
}

std::string_view kernelReference(std::string_view recorded)
{
    const std::size_t length = kernelNameLength(recorded);
    return length != 0 ? recorded.substr(length) : std::string_view();
}

bool isFile(std::string_view path)
{
    if (path.empty() || path.front() == '[') return false;
    for (const std::string_view prefix :
         {"//anon", "/anon_hugepage", "/dev/zero", "/SYSV", "anon_inode:", "memfd:", "/memfd:"}) {
        if (path.starts_with(prefix)) return false;
    }
    return true;
}

bool isImage(std::string_view path)
{
    return isFile(path) || path == vdsoName || path == vsyscallName || path == "[uprobes]";
}

bool isKernelModuleFile(std::string_view path)
{
    return isFile(path) && kernelModuleEnding(path) != std::string_view::npos;
}

std::string moduleName(std::string_view path)
{
    if (!isFile(path)) return std::string(path);
    std::string leaf = tb2::path_t(path).leaf();
    const std::size_t ending = kernelModuleEnding(leaf);
    if (ending == std::string::npos || ending == 0) return leaf;
    leaf.resize(ending);
    // The kernel itself calls a module so: a file's "-" is its "_".
    std::replace(leaf.begin(), leaf.end(), '-', '_');
    return "[" + leaf + "]";
}

} // namespace samplefold::session
