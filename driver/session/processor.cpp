#include "session/processor.h"

#include <charconv>

namespace samplefold::session {
namespace {

/// Takes the text up to the next comma, or the rest.
std::string_view nextField(std::string_view& text)
{
    const std::size_t comma = text.find(',');
    const std::string_view field = text.substr(0, comma);
    text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    return field;
}

bool readNumber(std::string_view text, std::uint32_t& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

} // namespace

std::optional<Processor> processorOf(std::string_view cpuId)
{
    Processor processor;
    processor.vendor = nextField(cpuId);
    const bool isRead = readNumber(nextField(cpuId), processor.family) &&
                        readNumber(nextField(cpuId), processor.model) &&
                        readNumber(nextField(cpuId), processor.stepping);
    if (!isRead || !cpuId.empty() || processor.vendor.empty()) return std::nullopt;
    return processor;
}

} // namespace samplefold::session
