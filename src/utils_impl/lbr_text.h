#pragma once

#include <samplefold_1/lbr_info.h>

#include <iomanip>
#include <ostream>

// Pieces of the text of branch records.
namespace samplefold_1::lbr_text {

/// Both stay set, which readers of the text rely on.
inline void setHexadecimal(std::ostream& out)
{
    out << std::setfill('0') << std::hex;
}

inline void putCycles(std::ostream& out, std::uint16_t cycles)
{
    out << "0x" << std::setw(2) << cycles;
}

inline void putFlags(std::ostream& out, const LbrInfo& info)
{
    if (info.mispredicted) out << " MISPREDICTED";
    if (info.inHtm) out << " IN_HTM_TRANSACTION";
    if (info.htmAbort) out << " HTM_TRANSACTION_ABORT";
}

} // namespace samplefold_1::lbr_text
