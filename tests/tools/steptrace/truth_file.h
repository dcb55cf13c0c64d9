// The side file that tells the true chains.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace steptrace {

/// A line of JSON per sample: {"time":TICK,"chain":["0x..",...]}, the sampled address first, then
/// return addresses up to the one of the outermost call.
class TruthFile {
public:
    /// With an empty path nothing is written. Throws Failure when the file cannot be made.
    explicit TruthFile(const std::string& path);

    void add(std::uint64_t tick, const std::vector<std::uint64_t>& chain);
    /// Throws Failure when not all could be written.
    void close();

private:
    std::string m_path;
    std::ofstream m_file;
};

} // namespace steptrace
