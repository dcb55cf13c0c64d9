#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace optbook2 {

using texts_t = std::map<std::string, std::string, std::less<>>;

/// Texts by id from the content of a catalogue file; nothing unless all of it makes sense.
std::optional<texts_t> parseCatalog(std::string_view content);

/// The same from a file. Does not wait for pipes and devices.
std::optional<texts_t> readCatalog(const std::string& path);

} // namespace optbook2
