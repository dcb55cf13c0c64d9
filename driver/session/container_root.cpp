#include "session/container_root.h"

#include <filesystem>

namespace samplefold::session {
namespace {

/// Occurs in no normalised path.
constexpr const char* g_nothingToTake = "/./";

/// The folder of a normalised path; "/" for what lies there.
std::string folderOf(const std::string& path)
{
    const std::size_t end = path.rfind('/');
    return end == 0 ? "/" : path.substr(0, end);
}

} // namespace

std::string normalisedPath(std::string_view path)
{
    std::string text = std::filesystem::path(path).lexically_normal().string();
    while (text.size() > 1 && text.ends_with('/'))
        text.pop_back();
    return text;
}

std::string storedHostRoot(const std::string& root)
{
    if (root.empty() || root == "/") return g_nothingToTake;
    const std::string folder = folderOf(root);
    return folder == "/" ? std::string() : folderOf(folder);
}

bool liesBelow(const std::string& root, const std::string& path)
{
    if (root == "/" || path == root) return true;
    return path.starts_with(root) && path[root.size()] == '/';
}

} // namespace samplefold::session
