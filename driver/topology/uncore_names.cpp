#include "topology/uncore_names.h"

#include "session/processor.h"
#include "topology/number_text.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace samplefold::topology {
namespace {

constexpr std::string_view g_kernelPrefix = "uncore_";
constexpr std::string_view g_digits = "0123456789";
constexpr std::string_view g_unitMark = "[UNIT";
constexpr unsigned g_largestUnit = 65535;

char upper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool isLetterOrDigit(char c)
{
    return (upper(c) >= 'A' && upper(c) <= 'Z') || (c >= '0' && c <= '9');
}

std::string uppercase(std::string_view text)
{
    std::string out(text);
    for (char& c : out)
        c = upper(c);
    return out;
}

/// A PMU's kind, "iio_free_running", and the number of its unit; a PMU without one is unit 0.
struct Pmu {
    std::string_view kind;
    unsigned unit = 0;
};

std::optional<Pmu> splitPmu(std::string_view name)
{
    if (!isUncorePmu(name)) return std::nullopt;
    if (name.starts_with(g_kernelPrefix)) name.remove_prefix(g_kernelPrefix.size());
    const std::size_t last = name.find_last_not_of(g_digits);
    if (last == std::string_view::npos || last == 0 || last + 1 == name.size() || name[last] != '_')
        return Pmu{name, 0};
    const auto unit = decimalOrHex(name.substr(last + 1));
    if (!unit || *unit > g_largestUnit) return std::nullopt;
    return Pmu{name.substr(0, last), static_cast<unsigned>(*unit)};
}

/// What stands in front of an event of that kind of PMU. The library knows the first four.
std::string typeOf(std::string_view kind)
{
    if (kind == "iio" || kind == "iio_free_running") return "UNC_IIO";
    if (kind == "irp") return "UNC_I";
    if (kind == "cha") return "UNC_CHA";
    if (kind == "upi" || kind == "qpi") return "UNC_XLK";
    return "UNC_" + uppercase(kind);
}

/// Takes a mark of the PMU off the end: "unc_iio_clockticks [uncore_iio_3]".
std::string_view withoutPmuMark(std::string_view name)
{
    const std::size_t mark = name.rfind(" [");
    return name.ends_with(']') && mark != std::string_view::npos ? name.substr(0, mark) : name;
}

/// What a name says, apart from its terms that stand for a channel or a mesh stop.
struct Told {
    std::string text;
    std::optional<std::uint64_t> channelMask;
    std::optional<std::uint64_t> tid;
};

/// Whether a term "key=value" was one for a place; notes it.
bool takePlace(std::string_view term, Told& told)
{
    const std::size_t equals = term.find('=');
    if (equals == std::string_view::npos) return false;
    const std::string_view key = term.substr(0, equals);
    const auto value = decimalOrHex(term.substr(equals + 1));
    if (!value) return false;
    if (key == "ch_mask") {
        told.channelMask = value;
        return false; // it stays in the name: it tells apart what no single channel does
    }
    if (key != "tid" && !key.starts_with("filter_tid")) return false;
    told.tid = value;
    return true;
}

/// Reads "pmu/terms/modifiers", or a name from a list with terms behind it.
Told readName(std::string_view name)
{
    Told told;
    name = withoutPmuMark(name);
    const std::size_t first = name.find('/');
    const std::size_t last = name.rfind('/');
    std::string_view terms =
        first != last && last > first + 1 ? name.substr(first + 1, last - first - 1) : name;
    while (!terms.empty()) {
        const std::size_t end = std::min(terms.find_first_of(",:"), terms.size());
        const std::string_view term = terms.substr(0, end);
        if (!term.empty() && !takePlace(term, told)) {
            if (!told.text.empty()) told.text += ',';
            const bool isWord = term.find('=') == std::string_view::npos;
            told.text += isWord ? uppercase(term) : std::string(term);
        }
        terms.remove_prefix(std::min(end + 1, terms.size()));
    }
    return told;
}

/// The text behind "UNC_IIO_", which lists of events have in front as well.
std::string_view withoutType(std::string_view text)
{
    if (!text.starts_with("UNC_")) return text;
    const std::size_t end = text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", 4);
    const bool isWord = end != std::string_view::npos && end > 4 && text[end] == '_';
    return isWord && end + 1 < text.size() ? text.substr(end + 1) : text.substr(4);
}

/// The one number behind the word "PART" or "PORT" in a name; nothing for several ("PART0-3").
std::optional<std::uint64_t> partIn(std::string_view text)
{
    std::optional<std::uint64_t> found;
    for (std::size_t at = text.find('P'); at != std::string_view::npos;
         at = text.find('P', at + 1)) {
        const std::string_view word = text.substr(at, 4);
        const bool begins = at == 0 || !isLetterOrDigit(text[at - 1]);
        if (!begins || (word != "PART" && word != "PORT")) continue;
        const std::size_t end = std::min(text.find_first_not_of(g_digits, at + 4), text.size());
        const auto number = decimalOrHex(text.substr(at + 4, end - at - 4));
        if (!number || *number > g_largestUnit) continue;
        const bool ends =
            end == text.size() || text[end] == '.' || text[end] == '_' || text[end] == ',';
        if (!ends || (found && *found != *number)) return std::nullopt;
        found = number;
    }
    return found;
}

std::optional<std::uint64_t> onlyBit(std::uint64_t mask)
{
    if (!std::has_single_bit(mask)) return std::nullopt;
    return static_cast<std::uint64_t>(std::countr_zero(mask));
}

/// The mask of channels in an event of an IO unit starts at bit 36. It has 8 bits, with the mask of
/// transfers right behind it; where that one is at bit 48, there are 12.
std::uint64_t channelMaskOf(std::uint64_t config)
{
    const bool hasTwelve = (config >> 48 & 7) != 0;
    return config >> 36 & (hasTwelve ? 0xfff : 0xff);
}

/// The filter of an event of a mesh stop: on when bit 16 or 19 of the event says so, or when it is
/// not 0.
std::optional<std::uint64_t> tidOf(const perfdata::EventAttr& attr)
{
    constexpr std::uint64_t isOn = std::uint64_t{1} << 16 | std::uint64_t{1} << 19;
    const std::uint64_t filter = attr.config1 & 0x1ff;
    if (filter == 0 && (attr.config & isOn) == 0) return std::nullopt;
    return filter;
}

std::string hexText(std::uint64_t number)
{
    char text[17];
    const auto [end, error] = std::to_chars(text, text + sizeof text, number, 16);
    return "0x" + std::string(text, end);
}

/// The channel as the library reads it, behind a name that does not say it in this way.
std::string channelSuffix(std::string_view kind, std::string_view text, const Told& told,
                          const perfdata::EventAttr& attr)
{
    auto part = partIn(text);
    if (!part)
        part = onlyBit(told.channelMask.value_or(kind == "iio" ? channelMaskOf(attr.config) : 0));
    if (!part) return {};
    std::string suffix = ".PART" + std::to_string(*part);
    return text.ends_with(suffix) ? std::string() : suffix;
}

/// Whether the library would take the end of a text for a channel, which was not found to be one.
bool endsLikePart(std::string_view text)
{
    const std::size_t last = text.find_last_not_of(g_digits);
    return last != std::string_view::npos && last + 1 < text.size() &&
           text.substr(0, last + 1).ends_with("PART");
}

} // namespace

bool isUncorePmu(std::string_view pmu)
{
    for (const std::string_view start : {g_kernelPrefix, std::string_view("amd_df"),
                                         std::string_view("amd_l3"), std::string_view("amd_umc")}) {
        if (pmu.starts_with(start)) return true;
    }
    return false;
}

std::optional<std::string> uncoreEventName(std::string_view pmu, std::string_view event,
                                           const perfdata::EventAttr& attr)
{
    const auto unit = splitPmu(pmu);
    if (!unit) return std::nullopt;
    const std::string type = typeOf(unit->kind);
    const Told told = readName(event);
    std::string name = type + "_" + std::string(withoutType(told.text));
    if (type == "UNC_IIO") {
        const std::string suffix = channelSuffix(unit->kind, name, told, attr);
        name += suffix.empty() && !partIn(name) && endsLikePart(name) ? "." : suffix;
    } else if (type == "UNC_CHA") {
        const auto tid = told.tid ? told.tid : tidOf(attr);
        if (tid) name += ":tid=" + hexText(*tid);
    } else if (told.tid) {
        name += ",tid=" + hexText(*told.tid);
    }
    return name + std::string(g_unitMark) + std::to_string(unit->unit) + "]";
}

std::optional<int> linkOfEvent(std::string_view name)
{
    const std::size_t mark = name.rfind(g_unitMark);
    if (!name.starts_with("UNC_XLK_") || !name.ends_with(']') || mark == std::string_view::npos)
        return std::nullopt;
    name.remove_prefix(mark + g_unitMark.size());
    name.remove_suffix(1);
    const auto number = name.find_first_not_of(g_digits) == std::string_view::npos
                            ? decimalOrHex(name)
                            : std::nullopt;
    if (!number || *number > g_largestUnit) return std::nullopt;
    return static_cast<int>(*number);
}

int platformModel(std::string_view cpuId)
{
    constexpr std::uint32_t family = 6;
    const auto processor = session::processorOf(cpuId);
    const bool isTheirs =
        processor && processor->vendor == "GenuineIntel" && processor->family == family;
    return isTheirs && processor->model <= 255 ? static_cast<int>(processor->model) : 0;
}

} // namespace samplefold::topology
