#include "names/kallsyms.h"

#include "names/small_file.h"

#include <algorithm>
#include <charconv>

namespace samplefold::names {
namespace {

constexpr std::size_t g_mostBytes = std::size_t{256} << 20;
/// Where the last function ends is not told; kernels end on a page.
constexpr std::uint64_t g_pageMask = 4095;

/// The word up to the next blank, taken off `text`.
std::string_view takeWord(std::string_view& text)
{
    const std::size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
    const std::size_t end = std::min(text.find_first_of(" \t", begin), text.size());
    const std::string_view word = text.substr(begin, end - begin);
    text.remove_prefix(end);
    return word;
}

std::size_t leadingUnderscores(std::string_view name)
{
    return std::min(name.find_first_not_of('_'), name.size());
}

} // namespace

std::optional<Kallsyms> Kallsyms::read(const std::string& path, std::string& fault)
{
    std::optional<std::string> content = readSmallFile(path, g_mostBytes, fault);
    return content ? parse(std::move(*content), fault) : std::nullopt;
}

std::optional<Kallsyms> Kallsyms::parse(std::string content, std::string& fault)
{
    if (content.size() > g_mostBytes) {
        fault = "larger than a table of kernel symbols is";
        return std::nullopt;
    }
    Kallsyms table;
    table.m_text = std::move(content);
    std::size_t number = 1;
    for (std::size_t begin = 0; begin < table.m_text.size(); ++number) {
        const std::size_t end = std::min(table.m_text.find('\n', begin), table.m_text.size());
        if (!table.addLine(std::string_view(table.m_text).substr(begin, end - begin))) {
            fault = "line " + std::to_string(number) + " is not of a table of kernel symbols";
            return std::nullopt;
        }
        begin = end + 1;
    }
    const auto hasAddress = [](const Entry& entry) { return entry.address != 0; };
    if (std::none_of(table.m_functions.begin(), table.m_functions.end(), hasAddress)) {
        fault = table.m_functions.empty() ? "it has no functions"
                                          : "its addresses are hidden (kernel.kptr_restrict)";
        return std::nullopt;
    }
    table.sort();
    return table;
}

bool Kallsyms::addLine(std::string_view line)
{
    if (line.empty()) return true;
    const std::string_view whole = line;
    Entry entry{};
    const std::string_view address = takeWord(line);
    const auto [stop, error] =
        std::from_chars(address.data(), address.data() + address.size(), entry.address, 16);
    const std::string_view type = takeWord(line);
    const std::string_view name = takeWord(line);
    std::string_view module = takeWord(line);
    const bool isWhole = error == std::errc() && stop == address.data() + address.size() &&
                         type.size() == 1 && !name.empty();
    if (!isWhole) return false;
    if (std::string_view("tTwW").find(type.front()) == std::string_view::npos) return true;
    if (module.size() > 2 && module.front() == '[' && module.back() == ']')
        module = module.substr(1, module.size() - 2);
    const auto byteOf = [&](std::string_view part) {
        return static_cast<std::uint32_t>(part.data() - m_text.data());
    };
    entry.name = byteOf(name);
    entry.nameLength = static_cast<std::uint32_t>(name.size());
    entry.module = module.empty() ? byteOf(whole) : byteOf(module);
    entry.moduleLength = static_cast<std::uint32_t>(module.size());
    entry.isGlobal = type.front() == 'T' || type.front() == 'W';
    m_functions.push_back(entry);
    return true;
}

std::string_view Kallsyms::nameOf(const Entry& entry) const
{
    return std::string_view(m_text).substr(entry.name, entry.nameLength);
}

bool Kallsyms::isBetter(const Entry& a, const Entry& b) const
{
    if (a.isGlobal != b.isGlobal) return a.isGlobal;
    return leadingUnderscores(nameOf(a)) < leadingUnderscores(nameOf(b));
}

void Kallsyms::sort()
{
    std::stable_sort(m_functions.begin(), m_functions.end(), [&](const Entry& a, const Entry& b) {
        return a.address != b.address ? a.address < b.address : isBetter(a, b);
    });
}

std::optional<KernelSymbol> Kallsyms::find(std::uint64_t address) const
{
    const auto less = [](const Entry& entry, std::uint64_t value) { return entry.address < value; };
    const auto greater = [](std::uint64_t value, const Entry& entry) {
        return value < entry.address;
    };
    const auto next = std::upper_bound(m_functions.begin(), m_functions.end(), address, greater);
    if (next == m_functions.begin()) return std::nullopt;
    const std::uint64_t start = std::prev(next)->address;
    const std::uint64_t end = next != m_functions.end() ? next->address : (start | g_pageMask) + 1;
    if (start == 0 || (next == m_functions.end() && address > (start | g_pageMask)))
        return std::nullopt;
    const auto best = std::lower_bound(m_functions.begin(), next, start, less);
    return KernelSymbol{nameOf(*best),
                        std::string_view(m_text).substr(best->module, best->moduleLength), start,
                        end};
}

std::optional<std::uint64_t> Kallsyms::addressOf(std::string_view name) const
{
    const auto found =
        std::find_if(m_functions.begin(), m_functions.end(), [&](const Entry& entry) {
            return entry.moduleLength == 0 && nameOf(entry) == name;
        });
    return found != m_functions.end() ? std::optional(found->address) : std::nullopt;
}

} // namespace samplefold::names
