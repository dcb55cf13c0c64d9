#include "perfdata/tracing_names.h"

#include "perfdata/byte_reader.h"

#include <charconv>
#include <string_view>

namespace samplefold::perfdata {

namespace {

constexpr std::string_view tracingMagic = "\x17\x08\x44tracing";

void skipSized(ByteReader& reader)
{
    reader.skip(reader.take<std::uint64_t>());
}

/// What stands after `key` at the start of a line of `format`, up to the line's end.
std::string_view lineValue(std::string_view format, std::string_view key)
{
    std::size_t at = 0;
    while (at < format.size()) {
        const std::size_t end = std::min(format.find('\n', at), format.size());
        const std::string_view line = format.substr(at, end - at);
        if (line.starts_with(key)) return line.substr(key.size());
        at = end + 1;
    }
    return {};
}

void addFormat(std::string_view system, std::string_view format, TracepointNames& names)
{
    const std::string_view name = lineValue(format, "name: ");
    const std::string_view number = lineValue(format, "ID: ");
    std::uint64_t id = 0;
    const auto parsed = std::from_chars(number.data(), number.data() + number.size(), id);
    if (parsed.ec == std::errc() && !name.empty())
        names.emplace(id, std::string(system) + ":" + std::string(name));
}

/// Passes the magic, the version, the machine's properties and the two header pages.
void skipPreamble(ByteReader& reader)
{
    const std::span<const std::byte> magic = reader.bytes(tracingMagic.size());
    if (std::string_view(reinterpret_cast<const char*>(magic.data()), magic.size()) != tracingMagic)
        reader.fail();
    reader.terminatedText(); // version
    reader.skip(1 + 1 + 4);  // byte order, size of long, size of a page
    for (int page = 0; page < 2; ++page) {
        reader.terminatedText();
        skipSized(reader);
    }
}

void readSystem(ByteReader& reader, TracepointNames& names)
{
    const std::string_view system = reader.terminatedText();
    const auto events = reader.take<std::uint32_t>();
    for (std::uint32_t event = 0; event < events && reader.ok(); ++event)
        addFormat(system, reader.text(reader.take<std::uint64_t>()), names);
}

} // namespace

bool readTracepointNames(std::span<const std::byte> tracingData, TracepointNames& names)
{
    ByteReader reader(tracingData);
    skipPreamble(reader);
    const auto ftraceFormats = reader.take<std::uint32_t>();
    for (std::uint32_t format = 0; format < ftraceFormats && reader.ok(); ++format)
        skipSized(reader);
    const auto systems = reader.take<std::uint32_t>();
    for (std::uint32_t system = 0; system < systems && reader.ok(); ++system)
        readSystem(reader, names);
    return reader.ok();
}

} // namespace samplefold::perfdata
