#include <samplefold_1/lbr_info.h>

#include "utils_impl/lbr_text.h"

#include <ostream>

namespace samplefold_1 {
namespace {

constexpr std::uint64_t g_htmAbortBit = std::uint64_t{1} << 61;
constexpr std::uint64_t g_inHtmBit = std::uint64_t{1} << 62;
constexpr std::uint64_t g_mispredictedBit = std::uint64_t{1} << 63;

} // namespace

LbrInfo::LbrInfo(std::uint64_t word) noexcept
    : cycles(static_cast<std::uint16_t>(word)), mispredicted((word & g_mispredictedBit) != 0),
      inHtm((word & g_inHtmBit) != 0), htmAbort((word & g_htmAbortBit) != 0)
{
}

LbrInfo::LbrInfo(std::uint16_t cycleCount, bool isMispredicted, bool isInHtm,
                 bool isHtmAbort) noexcept
    : cycles(cycleCount), mispredicted(isMispredicted), inHtm(isInHtm), htmAbort(isHtmAbort)
{
}

std::ostream& operator<<(std::ostream& out, const LbrInfo& info)
{
    out << "[LBR branch info]  "
        << " cycles = ";
    lbr_text::setHexadecimal(out);
    lbr_text::putCycles(out, info.cycles);
    lbr_text::putFlags(out, info);
    return out;
}

} // namespace samplefold_1
