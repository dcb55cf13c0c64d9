#include "source_bytes.h"

#include <jitlens_3_13/jit_loader.h>

#include <toolbelt2/path.h>

namespace jitlens_3_13 {
namespace {

constexpr const char* g_usualFolder = "/tmp";

void addFirst(const std::vector<std::string>& folders, const std::string& name,
              std::vector<std::string>& files)
{
    for (const std::string& folder : folders) {
        tb2::path_t path(folder);
        path.append(name);
        if (!isRegularFile(path.as_string())) continue;
        files.push_back(path.as_string());
        return;
    }
}

} // namespace

std::vector<std::string> findJitFiles(const std::string& dataPath,
                                      tb2::generic_iterator_t<const char*> directories,
                                      std::uint32_t pid)
{
    std::vector<std::string> folders;
    if (!dataPath.empty()) folders.push_back(dataPath);
    for (; !directories.atEnd(); directories.next())
        if (directories.current() != nullptr && *directories.current() != '\0')
            folders.emplace_back(directories.current());
    folders.emplace_back(g_usualFolder);
    std::vector<std::string> files;
    addFirst(folders, "jit-" + std::to_string(pid) + ".dump", files);
    addFirst(folders, "perf-" + std::to_string(pid) + ".map", files);
    return files;
}

} // namespace jitlens_3_13
