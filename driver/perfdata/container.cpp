#include "perfdata/container.h"

#include "perfdata/byte_reader.h"

#include <algorithm>
#include <array>

namespace samplefold::perfdata {

namespace {

constexpr std::uint64_t magicVersion1 = 0x454c494646524550; // "PERFFILE"
constexpr std::uint64_t magicVersion2 = 0x32454c4946524550; // "PERFILE2"
constexpr std::uint64_t pipeHeadSize = 16;
constexpr std::uint64_t shortestFileHead = 72; // without feature bits
constexpr std::size_t featureWords = 4;

struct Section {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

struct FileHead {
    std::uint64_t size = 0;
    std::uint64_t attrEntrySize = 0;
    Section attrs;
    Section data;
    Section eventTypes;
    std::array<std::uint64_t, featureWords> features{};
};

std::uint64_t byteSwapped(std::uint64_t value)
{
    return __builtin_bswap64(value);
}

FileHead readFileHead(ByteReader reader)
{
    FileHead head;
    reader.skip(8);
    head.size = reader.take<std::uint64_t>();
    head.attrEntrySize = reader.take<std::uint64_t>();
    for (Section* section : {&head.attrs, &head.data, &head.eventTypes}) {
        section->offset = reader.take<std::uint64_t>();
        section->size = reader.take<std::uint64_t>();
    }
    if (head.size >= shortestFileHead + featureWords * 8)
        for (std::uint64_t& word : head.features)
            word = reader.take<std::uint64_t>();
    return head;
}

/// The part of `section` that is in the input; `cut` is set when some of it is not.
std::span<const std::byte> clip(std::span<const std::byte> input, Section section, bool& cut)
{
    const std::uint64_t begin = std::min<std::uint64_t>(section.offset, input.size());
    const std::uint64_t size = std::min<std::uint64_t>(section.size, input.size() - begin);
    cut = size < section.size;
    return input.subspan(static_cast<std::size_t>(begin), static_cast<std::size_t>(size));
}

void checkMagic(std::span<const std::byte> input, const std::string& name)
{
    if (input.empty()) throw ReadError(name + ": is empty; record again");
    if (input.size() < 8)
        throw ReadError(name + ": byte 0: too short for a perf.data file; record again");
    const auto magic = loadAt<std::uint64_t>(input.data());
    if (magic == magicVersion1 || magic == magicVersion2) return;
    if (byteSwapped(magic) == magicVersion1 || byteSwapped(magic) == magicVersion2)
        throw ReadError(name +
                        ": byte 0: recorded on a big-endian machine, which is not supported; "
                        "use a recording of a little-endian machine");
    throw ReadError(name + ": byte 0: not a perf.data file (its first 8 bytes are another's); "
                           "give a file that 'perf record' wrote");
}

void locateRecords(Layout& layout, std::span<const std::byte> input, const FileHead& head,
                   const std::string& name)
{
    Section data = head.data;
    if (data.offset > input.size())
        throw ReadError(name + ": byte 40: the records are said to start at byte " +
                        std::to_string(data.offset) + ", beyond the end at " +
                        std::to_string(input.size()) +
                        "; the file is damaged or cut, copy or "
                        "record it again");
    if (data.size == 0) {
        data.size = input.size() - data.offset;
        layout.notes.emplace_back(
            "the head gives no size for the records (the recorder was stopped before its end): "
            "read to the end of the file");
    }
    layout.recordsOffset = data.offset;
    layout.records = clip(input, data, layout.recordsCut);
}

void locateFeatures(Layout& layout, std::span<const std::byte> input, const FileHead& head)
{
    if (head.data.size == 0 || layout.recordsCut) return; // they would follow the records
    const std::uint64_t tableOffset = head.data.offset + head.data.size;
    ByteReader table(input.subspan(static_cast<std::size_t>(tableOffset)));
    for (std::uint32_t feature = 0; feature < featureWords * 64; ++feature) {
        if ((head.features[feature / 64] >> (feature % 64) & 1u) == 0) continue;
        const auto offset = table.take<std::uint64_t>();
        const auto size = table.take<std::uint64_t>();
        bool cut = false;
        const std::span<const std::byte> bytes = clip(input, {offset, size}, cut);
        if (table.ok() && !cut)
            layout.features.push_back({feature, bytes});
        else
            layout.brokenFeatures.push_back(feature);
    }
}

Layout parseFile(std::span<const std::byte> input, const std::string& name)
{
    if (input.size() < shortestFileHead)
        throw ReadError(name + ": byte 8: the head is cut after " + std::to_string(input.size()) +
                        " bytes; copy or record the file again");
    const FileHead head = readFileHead(ByteReader(input));
    Layout layout;
    layout.attrEntrySize = head.attrEntrySize;
    locateRecords(layout, input, head, name);
    locateFeatures(layout, input, head);
    bool cut = false;
    layout.attrs = clip(input, head.attrs, cut);
    if (cut)
        layout.notes.emplace_back(
            "the section of the attributes reaches beyond the end of the file");
    layout.eventTypes = clip(input, head.eventTypes, cut);
    if (cut)
        layout.notes.emplace_back(
            "the section of the event names reaches beyond the end of the file");
    return layout;
}

Layout parsePipe(std::span<const std::byte> input)
{
    Layout layout;
    layout.container = Container::Pipe;
    layout.recordsOffset = pipeHeadSize;
    layout.records = input.subspan(pipeHeadSize);
    return layout;
}

} // namespace

Layout parseLayout(std::span<const std::byte> input, const std::string& name)
{
    checkMagic(input, name);
    if (input.size() < pipeHeadSize)
        throw ReadError(name + ": byte 8: the head is cut after " + std::to_string(input.size()) +
                        " bytes; copy or record the file again");
    if (loadAt<std::uint64_t>(input.data() + 8) == pipeHeadSize) return parsePipe(input);
    Layout layout = parseFile(input, name);
    if (loadAt<std::uint64_t>(input.data()) == magicVersion1)
        layout.container = Container::FileVersion1;
    return layout;
}

} // namespace samplefold::perfdata
