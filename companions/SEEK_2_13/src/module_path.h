#pragma once

#include <SEEK_2_13/resolution_context.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Paths as text; none of these looks at the file system, but for the current folder.
namespace SEEK_2_13 {

/// `path` without "." and ".." and doubled separators. An absolute path stays absolute, and can
/// then be put behind a folder without leaving it; a relative one loses ".." at its start.
std::string normalized(std::string_view path);

/// What is behind the last separator.
std::string_view leafOf(std::string_view path);
/// What is before the last separator, without it; empty when there is none.
std::string_view folderOf(std::string_view path);

/// `folder`/`rest`, with one separator between them.
std::string joined(std::string_view folder, std::string_view rest);

/// A folder's path without separators at its end, counted from the current folder if relative.
std::string absoluteFolder(const std::string& path);

/// The normalized path and its ends at whole elements, the longest first, the leaf alone last; none
/// of them begins with a separator.
std::vector<std::string> suffixesOf(std::string_view path);

/// Number of elements in which two paths agree, counted from their ends.
std::size_t commonTail(std::string_view a, std::string_view b);

/// `path` as `rule` puts it, if it begins with all elements of the rule's `from`.
std::optional<std::string> substituted(std::string_view path, const path_substitution_t& rule);

} // namespace SEEK_2_13
