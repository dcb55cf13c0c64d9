#include "map_reader.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <optional>
#include <queue>
#include <string_view>

namespace jitlens_3_13 {
namespace {

constexpr std::string_view g_blanks = " \t";

void dropBlanks(std::string_view& text)
{
    text.remove_prefix(std::min(text.find_first_not_of(g_blanks), text.size()));
}

/// Takes a hexadecimal number and the blanks behind it from the front of `text`.
std::optional<std::uint64_t> takeNumber(std::string_view& text)
{
    if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
    std::uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, 16);
    if (error != std::errc() || stop == end || g_blanks.find(*stop) == std::string_view::npos)
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    dropBlanks(text);
    return value;
}

/// `text` is without its end of line and not blank.
std::optional<map_line_t> readLine(std::string_view file, std::string_view text)
{
    dropBlanks(text);
    const std::optional<std::uint64_t> first = takeNumber(text);
    if (!first) return std::nullopt;
    const std::optional<std::uint64_t> size = takeNumber(text);
    if (!size || !fitsAddressSpace(*first, *size)) return std::nullopt;
    if (text.empty() || text.find('\0') != std::string_view::npos) return std::nullopt;
    return map_line_t{*first, *first + (*size - 1),
                      static_cast<std::uint32_t>(text.data() - file.data()),
                      static_cast<std::uint32_t>(text.size())};
}

void readLines(std::string_view file, map_t& map)
{
    for (std::size_t begin = 0; begin < file.size();) {
        const std::size_t end = std::min(file.find('\n', begin), file.size());
        std::string_view text = file.substr(begin, end - begin);
        begin = end + 1;
        text = text.substr(0, text.find_last_not_of('\r') + 1);
        if (text.find_first_not_of(g_blanks) == std::string_view::npos) continue;
        if (const std::optional<map_line_t> line = readLine(file, text))
            map.lines.push_back(*line);
        else
            ++map.skipped;
    }
}

/// Goes up through the addresses with the lines that hold the current one at hand, the latest on
/// top. Each step takes up a line or is done with one.
std::vector<map_piece_t> cutPieces(const std::vector<map_line_t>& lines)
{
    std::vector<std::uint32_t> byAddress(lines.size());
    std::iota(byAddress.begin(), byAddress.end(), 0u);
    std::sort(byAddress.begin(), byAddress.end(), [&lines](std::uint32_t a, std::uint32_t b) {
        return lines[a].first < lines[b].first;
    });
    std::vector<map_piece_t> pieces;
    std::priority_queue<std::uint32_t> open;
    std::uint64_t address = 0;
    for (std::size_t next = 0; next < byAddress.size() || !open.empty();) {
        if (open.empty()) address = lines[byAddress[next]].first;
        for (; next < byAddress.size() && lines[byAddress[next]].first <= address; ++next)
            open.push(byAddress[next]);
        while (!open.empty() && lines[open.top()].last < address)
            open.pop();
        if (open.empty()) continue;
        const std::uint32_t line = open.top();
        std::uint64_t last = lines[line].last;
        if (next < byAddress.size()) last = std::min(last, lines[byAddress[next]].first - 1);
        if (!pieces.empty() && pieces.back().line == line && pieces.back().last + 1 == address)
            pieces.back().last = last;
        else
            pieces.push_back({address, last, line});
        if (last == ~std::uint64_t{0}) break;
        address = last + 1;
    }
    return pieces;
}

} // namespace

map_t readMap(bytes_t bytes)
{
    map_t map;
    readLines(textOf(bytes), map);
    map.pieces = cutPieces(map.lines);
    return map;
}

} // namespace jitlens_3_13
