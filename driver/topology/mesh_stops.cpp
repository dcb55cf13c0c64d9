#include "topology/mesh_stops.h"

#include "topology/number_text.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>

namespace samplefold::topology {
namespace {

constexpr std::uintmax_t g_mostBytes = std::uintmax_t{1} << 20;
constexpr std::uint64_t g_largest = std::numeric_limits<int>::max();

/// Nothing for a line without content.
std::optional<MeshStop> parse(const std::string& line, const std::string& place)
{
    std::istringstream words(line.substr(0, line.find('#')));
    std::vector<int> numbers;
    for (std::string word; words >> word;) {
        const auto number = decimalOrHex(word);
        if (!number || *number > g_largest || numbers.size() == 3)
            throw MeshStopError(place + ": is not of the form PACKAGE UNIT TID");
        numbers.push_back(static_cast<int>(*number));
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
    std::map<std::pair<int, int>, std::size_t> lines; // of package and unit
    std::string line;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        const std::string place = path + ":" + std::to_string(number);
        const auto stop = parse(line, place);
        if (!stop) continue;
        const auto [first, isNew] = lines.try_emplace({stop->package, stop->unit}, number);
        if (!isNew) {
            throw MeshStopError(place + ": tells of package " + std::to_string(stop->package) +
                                " unit " + std::to_string(stop->unit) + " as line " +
                                std::to_string(first->second) + " does");
        }
        stops.push_back(*stop);
    }
    return stops;
}

} // namespace samplefold::topology
