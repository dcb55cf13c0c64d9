// Fuzz target of the reader of kernel symbol tables: what it finds is compared with a plain reading
// of the same lines.

#include "names/kallsyms.h"

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// What must hold for any input.
void require(bool holds)
{
    if (!holds) std::abort();
}

/// Addresses at the starts of the lines, as far as they are such.
std::vector<std::uint64_t> addresses(const std::string& text)
{
    std::vector<std::uint64_t> found{0, UINT64_MAX};
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line) && found.size() < 1000;)
        found.push_back(std::strtoull(line.c_str(), nullptr, 16));
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string fault;
    const auto table = samplefold::names::Kallsyms::parse(text, fault);
    require(table.has_value() == fault.empty());
    require(fault.find('\n') == std::string::npos);
    if (!table) return 0;
    for (const std::uint64_t base : addresses(text)) {
        for (const std::uint64_t address : {base - 1, base, base + 1}) {
            const auto symbol = table->find(address);
            if (!symbol) continue;
            require(!symbol->name.empty() && text.find(symbol->name) != std::string::npos);
            require(symbol->start <= address);
            require(address < symbol->end || symbol->end == 0);
            require(table->find(symbol->start)->name == symbol->name);
        }
    }
    return 0;
}
