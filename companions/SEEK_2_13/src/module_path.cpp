#include "module_path.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace SEEK_2_13 {
namespace {

std::string_view withoutEndSeparators(std::string_view path)
{
    while (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    return path;
}

} // namespace

std::string normalized(std::string_view path)
{
    std::vector<std::string_view> elements;
    for (std::size_t at = 0; at < path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        const std::string_view element = path.substr(at, end - at);
        at = end + 1;
        if (element.empty() || element == ".") continue;
        if (element != "..")
            elements.push_back(element);
        else if (!elements.empty())
            elements.pop_back();
    }
    std::string text;
    for (const std::string_view element : elements) {
        if (!text.empty() || path.starts_with('/')) text += '/';
        text += element;
    }
    return text;
}

std::string_view leafOf(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

std::string_view folderOf(std::string_view path)
{
    const std::size_t end = path.rfind('/');
    return end == std::string_view::npos ? std::string_view() : path.substr(0, end);
}

std::string joined(std::string_view folder, std::string_view rest)
{
    while (rest.starts_with('/'))
        rest.remove_prefix(1);
    std::string path(folder);
    if (!path.ends_with('/')) path += '/';
    return path += rest;
}

std::string absoluteFolder(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    const std::string& text = absolute.native();
    return std::string(withoutEndSeparators(error ? path : text));
}

std::vector<std::string> suffixesOf(std::string_view path)
{
    const std::string whole = normalized(path);
    std::vector<std::string> suffixes;
    std::size_t at = whole.starts_with('/') ? 1 : 0;
    while (at < whole.size()) {
        suffixes.push_back(whole.substr(at));
        at = std::min(whole.find('/', at), whole.size() - 1) + 1;
    }
    return suffixes;
}

std::size_t commonTail(std::string_view a, std::string_view b)
{
    std::size_t count = 0;
    while (!a.empty() && !b.empty() && leafOf(a) == leafOf(b)) {
        ++count;
        a = folderOf(a);
        b = folderOf(b);
    }
    return count;
}

std::optional<std::string> substituted(std::string_view path, const path_substitution_t& rule)
{
    std::string_view from = rule.from;
    while (from.ends_with('/'))
        from.remove_suffix(1);
    if (!path.starts_with(from)) return std::nullopt;
    const std::string_view rest = path.substr(from.size());
    if (!rest.empty() && !rest.starts_with('/')) return std::nullopt;
    std::string_view to = rule.to;
    while (to.ends_with('/'))
        to.remove_suffix(1);
    std::string result(to);
    return result += rest;
}

} // namespace SEEK_2_13
