#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace samplefold::hwsamp {

/// Events that are counted together or not at all; mostly one.
using EventSet = std::vector<std::string>;

/// Reads events as perf takes them: divided by commas, "{a,b}" for events that belong together;
/// commas between slashes ("cpu/event=0x3c,umask=1/") are the event's own. Blanks around events and
/// empty ones are left out. What stands behind a closing brace up to the next comma (modifiers of
/// the set) is put behind each of its events. Throws ToolError for braces and slashes that do
/// not pair, and for control characters other than tabs and carriage returns.
std::vector<EventSet> parseEvents(std::string_view text);

/// The events of a file, a list as above in each line; see linesOf for what counts as one. Throws
/// ToolError with path and line.
std::vector<EventSet> readEventFile(const std::string& path);

} // namespace samplefold::hwsamp
