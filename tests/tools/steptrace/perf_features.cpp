// The parts of a perf.data file around its records.
#include "build_ids.h"
#include "failure.h"
#include "perf_file.h"

#include <algorithm>
#include <fstream>
#include <sys/utsname.h>

namespace steptrace {
namespace {

/// A part of the file.
struct Section {
    std::uint64_t offset;
    std::uint64_t size;
};

/// The head of the file; a bit of `features` for each feature, by its number.
struct Header {
    char magic[8] = {'P', 'E', 'R', 'F', 'I', 'L', 'E', '2'};
    std::uint64_t size = sizeof(Header);
    std::uint64_t attributeSize = 0;
    Section attributes{};
    Section data{};
    Section eventTypes{};
    std::uint64_t features[4]{};
};
static_assert(sizeof(Header) == 104);

/// Numbers of the features that are written.
enum Feature : unsigned {
    buildIdFeature = 2,
    hostnameFeature = 3,
    releaseFeature = 4,
    versionFeature = 5,
    architectureFeature = 6,
    cpuCountFeature = 7,
    cpuDescriptionFeature = 8,
    commandLineFeature = 11,
    eventDescriptionFeature = 12,
    branchStackFeature = 15,
    sampleTimeFeature = 21,
    cpuCapabilitiesFeature = 28,
};

constexpr std::size_t textUnit = 64;

/// The size with its padding, then the text.
void putText(ByteBuffer& buffer, const std::string& text)
{
    buffer.put(static_cast<std::uint32_t>((text.size() + textUnit) / textUnit * textUnit));
    buffer.putPadded(text, textUnit);
}

ByteBuffer textFeature(const std::string& text)
{
    ByteBuffer buffer;
    putText(buffer, text);
    return buffer;
}

ByteBuffer textsFeature(const std::vector<std::string>& texts)
{
    ByteBuffer buffer;
    buffer.put(static_cast<std::uint32_t>(texts.size()));
    for (const std::string& text : texts)
        putText(buffer, text);
    return buffer;
}

/// One entry of the build id table, which has the shape of a record.
void putBuildId(ByteBuffer& table, const std::string& path, const std::vector<std::uint8_t>& id)
{
    constexpr std::uint32_t recordType = 67;
    constexpr std::uint16_t hasSize = 1 << 15;
    constexpr std::size_t room = 20;
    const std::size_t size = std::min(id.size(), room);
    const std::size_t start = table.size();
    table.put(perf_event_header{recordType, PERF_RECORD_MISC_USER | hasSize, 0});
    table.put(std::int32_t{-1}); // of no process
    std::uint8_t field[room + 4]{};
    std::copy_n(id.begin(), size, field);
    field[room] = static_cast<std::uint8_t>(size);
    table.put(field);
    table.putPadded(path, textUnit);
    table.overwrite(start + offsetof(perf_event_header, size),
                    static_cast<std::uint16_t>(table.size() - start));
}

void writeTo(std::ofstream& file, const ByteBuffer& bytes)
{
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

} // namespace

ByteBuffer PerfFile::buildIds() const
{
    ByteBuffer table;
    for (const std::string& path : m_files) {
        const std::vector<std::uint8_t> id = buildIdOf(path);
        if (!id.empty()) putBuildId(table, path, id);
    }
    return table;
}

ByteBuffer PerfFile::eventDescription() const
{
    ByteBuffer buffer;
    buffer.put(std::uint32_t{1}); // events
    buffer.put(std::uint32_t{sizeof m_attribute});
    buffer.put(m_attribute);
    buffer.put(std::uint32_t{0}); // ids of the event
    putText(buffer, "instructions:u");
    return buffer;
}

std::map<unsigned, ByteBuffer> PerfFile::features(const std::vector<std::string>& command) const
{
    utsname machine{};
    if (uname(&machine) < 0) failWithErrno("uname");
    std::map<unsigned, ByteBuffer> found;
    if (ByteBuffer ids = buildIds(); ids.size()) found[buildIdFeature] = std::move(ids);
    found[hostnameFeature] = textFeature(machine.nodename);
    found[releaseFeature] = textFeature(machine.release);
    found[versionFeature] = textFeature("1.0");
    found[architectureFeature] = textFeature(machine.machine);
    for (int count = 0; count < 2; ++count) // CPUs there are, and CPUs in use
        found[cpuCountFeature].put(std::uint32_t{1});
    found[cpuDescriptionFeature] = textFeature("single steps");
    found[commandLineFeature] = textsFeature(command);
    found[eventDescriptionFeature] = eventDescription();
    if (m_filter == BranchFilter::any) found[branchStackFeature];
    found[sampleTimeFeature].put(m_firstTick);
    found[sampleTimeFeature].put(m_lastTick);
    found[cpuCapabilitiesFeature].put(std::uint32_t{1});
    putText(found[cpuCapabilitiesFeature], "branches");
    putText(found[cpuCapabilitiesFeature], "32");
    return found;
}

void PerfFile::write(const std::string& path, const std::vector<std::string>& command) const
{
    const std::map<unsigned, ByteBuffer> parts = features(command);
    Header header;
    header.attributeSize = sizeof m_attribute + sizeof(Section);
    header.attributes = {header.size, header.attributeSize};
    header.data = {header.size + header.attributeSize, m_records.size()};

    ByteBuffer table;
    ByteBuffer bodies;
    const std::uint64_t bodiesStart =
        header.data.offset + header.data.size + parts.size() * sizeof(Section);
    for (const auto& [number, part] : parts) {
        header.features[number / 64] |= std::uint64_t{1} << (number % 64);
        table.put(Section{bodiesStart + bodies.size(), part.size()});
        bodies.putBytes(part.data(), part.size());
    }

    ByteBuffer head;
    head.put(header);
    head.put(m_attribute);
    head.put(Section{}); // the event has no ids
    std::ofstream file(path, std::ios::binary);
    writeTo(file, head);
    writeTo(file, m_records);
    writeTo(file, table);
    writeTo(file, bodies);
    file.close();
    if (!file) throw Failure(path + ": cannot be written");
}

} // namespace steptrace
