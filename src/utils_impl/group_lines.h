#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <string_view>

namespace samplefold_1::utils {

/// Reads up to the end of a line or of the stream, and keeps `limit` bytes of it. False when
/// nothing was left.
bool readLine(std::istream& in, std::string& line, std::size_t limit);

/// Finds the highest group number in the core sections of an event file, line by line.
class CoreGroups {
public:
    void take(std::string_view line);
    std::int64_t highest() const { return m_highest; }

private:
    bool m_inCoreSection = false;
    std::int64_t m_highest = 0;
};

} // namespace samplefold_1::utils
