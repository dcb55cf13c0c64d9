#pragma once

#include <string>
#include <string_view>

// The host's directory that a container sees as "/". All of it is about text; nothing looks at the
// file system.
//
// A result keeps a host root with each process in a container. Who reads it (ProcessInContainer)
// takes from a path in which the host root occurs as many elements as the host root has, "/" being
// one, and always two more, which are meant to be the container's own folder and its file system.
// So what is stored is the root without its last two elements:
//
//   root                     stored         taken from the path
//   /var/lib/x/ID/merged     /var/lib/x     "/", var, lib, x, and ID, merged
//   /srv/web                 /              "/", and srv, web
//   /srv                     (empty)        nothing, and "/", srv
//   /, or not known          /./            nothing: no normalised path has an element "."
namespace samplefold::session {

/// An absolute path without ".", "..", doubled separators and one at its end.
std::string normalisedPath(std::string_view path);

/// What a result keeps for a container's root; `root` is normalised, or empty when not known.
std::string storedHostRoot(const std::string& root);

/// Whether a path is the root or lies below it, by whole elements. Both are normalised.
bool liesBelow(const std::string& root, const std::string& path);

} // namespace samplefold::session
