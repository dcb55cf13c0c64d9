#include "report/chain_frames.h"

#include "report/hex_text.h"
#include "report/sql_rows.h"

#include <algorithm>

namespace samplefold::report {
namespace {

/// Frames that may differ before two chains meet again.
constexpr std::size_t g_mostAhead = 64;

/// Callers have smaller keys than those that they call.
std::string chainSql(std::int64_t leaf)
{
    return "WITH RECURSIVE walk(depth, at) AS (VALUES(0, " + std::to_string(leaf) +
           ") UNION ALL SELECT walk.depth + 1, k.parent FROM walk JOIN dd_callsite k "
           "ON k.id = walk.at WHERE k.parent > 0 AND k.parent < walk.at) "
           "SELECT k.code_loc, coalesce(m.name, m.path, ''), l.rva, l.mod_seg, "
           "(SELECT f.name FROM dd_code_name n JOIN dd_function f ON f.id = n.function "
           "WHERE n.mod_seg = l.mod_seg AND n.rva = l.rva LIMIT 1) "
           "FROM walk JOIN dd_callsite k ON k.id = walk.at "
           "LEFT JOIN dd_code_location l ON l.id = k.code_loc "
           "LEFT JOIN dd_module_segment s ON s.id = l.mod_seg "
           "LEFT JOIN dd_module_file m ON m.id = s.module ORDER BY walk.depth";
}

/// Outside modules the numbers 1, 2 and 3 stand for the addresses -1, -2 and -3, and -1 for the
/// rest of a chain.
std::uint64_t addressOutside(std::uint64_t stored)
{
    return stored >= 1 && stored <= 3 ? 0 - stored : stored;
}

/// How many frames ahead, from `i` and `j`, the chains meet again with the fewest between; nothing
/// when they do not.
std::optional<std::pair<std::size_t, std::size_t>> nextMeeting(const std::vector<ChainFrame>& left,
                                                               std::size_t i,
                                                               const std::vector<ChainFrame>& right,
                                                               std::size_t j)
{
    for (std::size_t sum = 0; sum <= g_mostAhead; ++sum) {
        for (std::size_t ahead = 0; ahead <= sum; ++ahead) {
            const std::size_t a = i + ahead;
            const std::size_t b = j + (sum - ahead);
            const bool areThere = a < left.size() && b < right.size();
            if (areThere && left[a].location == right[b].location) return {{ahead, sum - ahead}};
        }
    }
    return std::nullopt;
}

} // namespace

std::string frameText(const ChainFrame& frame)
{
    if (frame.goesOn) return "[the chain goes on, how is not known]";
    if (!frame.function.empty()) return frame.function;
    return frame.module.empty() ? hexText(frame.rva) : frame.module + "+" + hexText(frame.rva);
}

std::vector<ChainFrame> readChain(rowvault1::IResult& result, std::int64_t leaf)
{
    std::vector<ChainFrame> chain;
    visitRows(result, chainSql(leaf), [&](const auto& row) {
        const bool isOutside = rowKey(row[3]) <= 0;
        const std::uint64_t rva = row[2].integer_bits();
        chain.push_back({rowKey(row[0]), toText(row[1]), isOutside ? addressOutside(rva) : rva,
                         toText(row[4]), isOutside && rva == 1});
    });
    return chain;
}

std::vector<FramePair> sideBySide(const std::vector<ChainFrame>& left,
                                  const std::vector<ChainFrame>& right)
{
    std::vector<FramePair> pairs;
    std::size_t i = 0;
    std::size_t j = 0;
    const auto take = [&](std::size_t fromLeft, std::size_t fromRight) {
        for (std::size_t k = 0; k < std::max(fromLeft, fromRight); ++k) {
            pairs.push_back({k < fromLeft ? std::optional(i + k) : std::nullopt,
                             k < fromRight ? std::optional(j + k) : std::nullopt});
        }
        i += fromLeft;
        j += fromRight;
    };
    while (i < left.size() && j < right.size()) {
        const auto meeting = nextMeeting(left, i, right, j);
        if (!meeting) {
            take(1, 1);
            continue;
        }
        take(meeting->first, meeting->second);
        take(1, 1);
    }
    take(left.size() - i, right.size() - j);
    return pairs;
}

} // namespace samplefold::report
