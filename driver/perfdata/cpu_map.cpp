#include "perfdata/cpu_map.h"

#include "perfdata/byte_reader.h"

#include <algorithm>

namespace samplefold::perfdata {

namespace {

constexpr std::uint16_t kindList = 0;
constexpr std::uint16_t kindMask = 1;
constexpr std::uint16_t kindRange = 2;
constexpr std::uint16_t anyCpuInList = 0xffff;

void addList(ByteReader& reader, std::vector<std::uint32_t>& cpus)
{
    const auto count = reader.take<std::uint16_t>();
    for (const std::uint16_t cpu : reader.array<std::uint16_t>(count))
        cpus.push_back(cpu == anyCpuInList ? anyCpu : cpu);
}

template <class Word>
void addMaskWords(ByteReader& reader, std::uint16_t count, std::vector<std::uint32_t>& cpus)
{
    std::uint32_t first = 0;
    for (const Word word : reader.array<Word>(count)) {
        for (std::uint32_t bit = 0; bit < sizeof(Word) * 8; ++bit)
            if ((word >> bit & 1u) != 0) cpus.push_back(first + bit);
        first += static_cast<std::uint32_t>(sizeof(Word) * 8);
    }
}

void addMask(ByteReader& reader, std::vector<std::uint32_t>& cpus)
{
    const auto count = reader.take<std::uint16_t>();
    const auto wordSize = reader.take<std::uint16_t>();
    if (wordSize == 4) {
        addMaskWords<std::uint32_t>(reader, count, cpus);
    } else if (wordSize == 8) {
        reader.skip(4); // the words of a 64-bit mask are set apart
        addMaskWords<std::uint64_t>(reader, count, cpus);
    } else {
        reader.fail();
    }
}

void addRange(ByteReader& reader, std::vector<std::uint32_t>& cpus)
{
    const bool any = reader.take<std::uint8_t>() != 0;
    reader.skip(1);
    const auto first = reader.take<std::uint16_t>();
    const auto last = reader.take<std::uint16_t>();
    if (!reader.ok() || last < first) {
        reader.fail();
        return;
    }
    if (any) cpus.push_back(anyCpu);
    for (std::uint32_t cpu = first; cpu <= last; ++cpu)
        cpus.push_back(cpu);
}

} // namespace

bool decodeCpuMap(std::span<const std::byte> bytes, std::vector<std::uint32_t>& cpus)
{
    cpus.clear();
    ByteReader reader(bytes);
    const auto kind = reader.take<std::uint16_t>();
    if (kind == kindList)
        addList(reader, cpus);
    else if (kind == kindMask)
        addMask(reader, cpus);
    else if (kind == kindRange)
        addRange(reader, cpus);
    else
        reader.fail();
    if (!reader.ok()) cpus.clear();
    std::sort(cpus.begin(), cpus.end(),
              [](std::uint32_t a, std::uint32_t b) { return a + 1 < b + 1; });
    return reader.ok();
}

} // namespace samplefold::perfdata
