#include "topology/mesh_stops.h"

#include <charconv>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>

namespace samplefold::topology {
namespace {

constexpr std::uintmax_t g_mostBytes = std::uintmax_t{1} << 20;

std::optional<int> numberIn(std::string_view text)
{
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex) text.remove_prefix(2);
    int number = -1;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, isHex ? 16 : 10);
    const bool isWhole = error == std::errc{} && end == text.data() + text.size() && number >= 0;
    return isWhole ? std::optional(number) : std::nullopt;
}

/// Nothing for a line without content.
std::optional<MeshStop> parse(const std::string& line, const std::string& place)
{
    std::istringstream words(line.substr(0, line.find('#')));
    std::vector<int> numbers;
    for (std::string word; words >> word;) {
        const auto number = numberIn(word);
        if (!number || numbers.size() == 3)
            throw MeshStopError(place + ": is not of the form PACKAGE UNIT TID");
        numbers.push_back(*number);
    }
    if (numbers.empty()) return std::nullopt;
    if (numbers.size() < 3) throw MeshStopError(place + ": is not of the form PACKAGE UNIT TID");
    return MeshStop{numbers[0], numbers[1], numbers[2]};
}

} // namespace

std::vector<MeshStop> readMeshStops(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        throw MeshStopError(path + ": cannot be read: check the path and its permissions");
    if (std::filesystem::file_size(path, error) > g_mostBytes)
        throw MeshStopError(path + ": is larger than 1 MiB");
    std::ifstream file(path);
    if (!file) throw MeshStopError(path + ": cannot be read: check the path and its permissions");
    std::vector<MeshStop> stops;
    std::string line;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        if (const auto stop = parse(line, path + ": line " + std::to_string(number)))
            stops.push_back(*stop);
    }
    return stops;
}

} // namespace samplefold::topology
