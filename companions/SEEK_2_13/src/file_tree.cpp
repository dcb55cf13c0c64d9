#include "file_tree.h"

#include "module_path.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace SEEK_2_13 {
namespace {

constexpr int g_maxDepth = 32;
constexpr std::size_t g_maxEntries = 500000;
constexpr std::size_t g_maxFound = 64;

} // namespace

FileTree::FileTree(const std::string& folder)
{
    std::vector<std::string> level{folder};
    for (int depth = 0; depth < g_maxDepth && !level.empty(); ++depth) {
        std::vector<std::string> below;
        for (const std::string& path : level)
            readFolder(path, below);
        level = std::move(below);
    }
    m_isCut = m_isCut || !level.empty();
}

void FileTree::readFolder(const std::string& folder, std::vector<std::string>& below)
{
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    const std::size_t firstBelow = below.size();
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        if (m_entries == g_maxEntries) {
            m_isCut = true;
            break;
        }
        ++m_entries;
        std::error_code unknown;
        const bool isFolder =
            entry->symlink_status(unknown).type() == std::filesystem::file_type::directory;
        const std::string& path = entry->path().native();
        if (isFolder)
            below.push_back(path);
        else
            m_pathsByName[std::string(leafOf(path))].push_back(path);
    }
    // A folder that cannot be read may hide what is looked for.
    m_isCut = m_isCut || (error && error != std::errc::no_such_file_or_directory);
    std::sort(below.begin() + static_cast<std::ptrdiff_t>(firstBelow), below.end());
}

std::vector<std::string> FileTree::find(std::string_view path, bool& isCut) const
{
    const auto found = m_pathsByName.find(std::string(leafOf(path)));
    isCut = false;
    if (found == m_pathsByName.end()) return {};
    std::vector<std::string> paths = found->second;
    // The paths are in the order of reading, which is by depth.
    std::stable_sort(paths.begin(), paths.end(), [path](const auto& a, const auto& b) {
        return commonTail(a, path) > commonTail(b, path);
    });
    isCut = paths.size() > g_maxFound;
    if (isCut) paths.resize(g_maxFound);
    return paths;
}

std::shared_ptr<const FileTree> FileTrees::at(const std::string& folder)
{
    std::shared_ptr<slot_t> slot;
    {
        const std::lock_guard<std::mutex> held(m_lock);
        std::shared_ptr<slot_t>& place = m_slots[folder];
        if (!place) place = std::make_shared<slot_t>();
        slot = place;
    }
    std::call_once(slot->once, [&] { slot->tree = std::make_shared<FileTree>(folder); });
    return slot->tree;
}

} // namespace SEEK_2_13
