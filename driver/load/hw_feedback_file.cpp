#include "load/hw_feedback_file.h"

#include "load/load_error.h"
#include "names/small_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <system_error>

namespace samplefold::load {
namespace {

constexpr std::size_t g_mostBytes = std::size_t{256} << 20;
constexpr std::size_t g_fieldCount = 5;
constexpr std::uint64_t g_mostThread = 4194304; ///< the kernel's limit of process ids
constexpr std::string_view g_blanks = " \t\r";

using fields_t = std::array<std::string_view, g_fieldCount>;

/// Cuts the first line off a text.
std::string_view takeLine(std::string_view& text)
{
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// Cuts the first word off a line; empty when there is none.
std::string_view takeWord(std::string_view& line)
{
    line.remove_prefix(std::min(line.find_first_not_of(g_blanks), line.size()));
    const std::size_t end = std::min(line.find_first_of(g_blanks), line.size());
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(end);
    return word;
}

/// The words of a line; those beyond the fields are only counted.
std::size_t splitLine(std::string_view line, fields_t& fields)
{
    std::size_t count = 0;
    for (auto word = takeWord(line); !word.empty(); word = takeWord(line)) {
        if (count < fields.size()) fields[count] = word;
        ++count;
    }
    return count;
}

template <class Number>
bool readNumber(std::string_view word, int base, Number& number)
{
    const char* const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number, base);
    return error == std::errc() && stop == end;
}

/// A decimal number from 0 to `most`.
template <class Number>
bool readUpTo(std::string_view word, std::uint64_t most, Number& number)
{
    std::uint64_t value = 0;
    if (!readNumber(word, 10, value) || value > most) return false;
    number = static_cast<Number>(value);
    return true;
}

bool readWord(std::string_view word, std::uint64_t& number)
{
    const bool isHex = word.starts_with("0x") || word.starts_with("0X");
    return isHex ? readNumber(word.substr(2), 16, number) : readNumber(word, 10, number);
}

/// What is wrong with the line; nothing for a report.
std::optional<std::string> readReport(const fields_t& fields, HwFeedbackReport& report)
{
    constexpr auto mostTick = std::uint64_t{std::numeric_limits<std::int64_t>::max()};
    constexpr auto mostId = std::uint64_t{std::numeric_limits<std::int32_t>::max()};
    if (!readUpTo(fields[0], mostTick, report.tick))
        return "the first field is no tick, a number from 0 to " + std::to_string(mostTick);
    if (!readUpTo(fields[1], mostId, report.cpu))
        return "the second field is no CPU, a number from 0 to " + std::to_string(mostId);
    if (!readUpTo(fields[2], g_mostThread, report.thread))
        return "the third field is no thread id, a number from 0 to " +
               std::to_string(g_mostThread);
    if (!readWord(fields[3], report.classWord))
        return "the fourth field is no class word, a number of 64 bits, in hexadecimal behind 0x";
    if (!readNumber(fields[4], 10, report.value))
        return "the fifth field is no value, a number of 32 bits with its sign";
    return std::nullopt;
}

std::optional<std::string> readLine(std::string_view line, HwFeedbackFile& file)
{
    fields_t fields;
    const std::size_t count = splitLine(line.substr(0, line.find('#')), fields);
    if (count == 0) return std::nullopt;
    if (count != g_fieldCount) {
        return std::to_string(count) + (count == 1 ? " field" : " fields") +
               " instead of 5: tick, CPU, thread id, class word, value";
    }
    HwFeedbackReport report;
    auto problem = readReport(fields, report);
    if (!problem) file.reports.push_back(report);
    return problem;
}

} // namespace

HwFeedbackFile parseHwFeedback(std::string_view text)
{
    HwFeedbackFile file;
    for (std::uint64_t number = 1; !text.empty(); ++number) {
        auto problem = readLine(takeLine(text), file);
        if (!problem) continue;
        if (file.badLines++ == 0) {
            file.firstBadLine = number;
            file.problem = std::move(*problem);
        }
    }
    std::ranges::stable_sort(file.reports, {}, &HwFeedbackReport::tick);
    return file;
}

HwFeedbackFile readHwFeedback(const std::string& path)
{
    std::string fault;
    const auto text = names::readSmallFile(path, g_mostBytes, fault);
    if (!text) throw LoadError(path + ": " + fault + ": give a readable file of reports");
    return parseHwFeedback(*text);
}

std::string hwFeedbackFault(const std::string& path, const HwFeedbackFile& file)
{
    if (file.badLines == 0) return {};
    const std::uint64_t others = file.badLines - 1;
    const std::string left =
        others == 0 ? "this line was left out"
                    : "this line and " + std::to_string(others) +
                          (others == 1 ? " other were left out" : " others were left out");
    return path + ":" + std::to_string(file.firstBadLine) + ": " + file.problem + " (" + left +
           "): mend the file and load again";
}

} // namespace samplefold::load
