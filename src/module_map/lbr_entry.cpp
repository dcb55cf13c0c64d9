#include <samplefold_1/lbr_entry.h>

#include "utils_impl/lbr_text.h"

#include <ostream>

namespace samplefold_1 {
namespace {

constexpr std::uint64_t g_signBit = std::uint64_t{1} << 47;
constexpr std::uint64_t g_upperBits = 0xFFFF000000000000;

std::uint64_t canonical(std::uint64_t word)
{
    return (word & g_signBit) != 0 ? word | g_upperBits : word & ~g_upperBits;
}

void putAddress(std::ostream& out, std::uint64_t address)
{
    out << "0x" << std::setw(8) << address;
}

} // namespace

LbrEntry::LbrEntry(std::uint64_t from, std::uint64_t to, const LbrInfo& information) noexcept
    : ipFrom(canonical(from)), ipTo(canonical(to)), info(information), rawFrom(from), rawTo(to)
{
}

LbrEntry::LbrEntry(std::uint64_t from, std::uint64_t to, std::uint64_t infoWord) noexcept
    : LbrEntry(from, to, LbrInfo(infoWord))
{
}

LbrEntry::LbrEntry(std::uint64_t from, std::uint64_t to) noexcept
    : LbrEntry(from, to, std::uint64_t{0})
{
}

bool operator==(const LbrEntry& a, const LbrEntry& b) noexcept
{
    return a.rawFrom == b.rawFrom && a.rawTo == b.rawTo && a.info == b.info;
}

std::ostream& operator<<(std::ostream& out, const LbrEntry& entry)
{
    out << "[LBR entry]";
    lbr_text::setHexadecimal(out);
    out << " ip_from = ";
    putAddress(out, entry.ipFrom);
    out << "   ip_to = ";
    putAddress(out, entry.ipTo);
    out << " cycles = ";
    lbr_text::putCycles(out, entry.info.cycles);
    lbr_text::putFlags(out, entry.info);
    return out;
}

} // namespace samplefold_1
