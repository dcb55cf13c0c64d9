#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace SEEK_2_13 {

/// What lies below a folder by file name. Links to folders are not followed, so that the tree ends.
class FileTree {
public:
    /// Reads the tree at `folder`, level by level and each folder by name, up to fixed limits.
    explicit FileTree(const std::string& folder);

    /// Paths of what has the name of `path`, without folders: those first that agree with it in
    /// more elements at the end, then those nearer to the top. `isCut` tells that there were more.
    std::vector<std::string> find(std::string_view path, bool& isCut) const;
    /// Whether a limit, or a folder that cannot be read, kept something out.
    bool isCut() const noexcept { return m_isCut; }

private:
    void readFolder(const std::string& folder, std::vector<std::string>& below);

    std::unordered_map<std::string, std::vector<std::string>> m_pathsByName;
    std::size_t m_entries = 0;
    bool m_isCut = false;
};

/// The trees that a search has read, each once. Any thread.
class FileTrees {
public:
    std::shared_ptr<const FileTree> at(const std::string& folder);

private:
    /// Threads that come for one folder at once wait for each other, those for others do not.
    struct slot_t {
        std::once_flag once;
        std::shared_ptr<const FileTree> tree;
    };

    std::mutex m_lock;
    std::map<std::string, std::shared_ptr<slot_t>> m_slots;
};

} // namespace SEEK_2_13
