#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace samplefold::names {

/// A function of the kernel.
struct KernelSymbol {
    std::string_view name;   ///< lives as long as the table
    std::string_view module; ///< of the kernel; empty for its own code
    std::uint64_t start = 0;
    std::uint64_t end = 0; ///< the next symbol's start: the table tells no sizes
};

/// The kernel's table of symbols, as /proc/kallsyms shows it and recorders copy it: a line
/// "address type name [module]" each, in hexadecimal and with a type letter as of nm(1). Immutable
/// after reading; any thread.
class Kallsyms {
public:
    /// Reads the file at `path`, of up to 256 MiB. Nothing, with one line in `fault`, when it
    /// cannot be read, is no such table, or hides its addresses.
    static std::optional<Kallsyms> read(const std::string& path, std::string& fault);
    /// The same of its content, which is copied.
    static std::optional<Kallsyms> parse(std::string content, std::string& fault);

    /// The function that holds an address; nothing before the first. Of several that start
    /// together an exported one goes before a local one, then one with fewer leading underscores,
    /// then the first.
    std::optional<KernelSymbol> find(std::uint64_t address) const;
    /// Where a function or label of the kernel's own code starts.
    std::optional<std::uint64_t> addressOf(std::string_view name) const;

private:
    struct Entry {
        std::uint64_t address;
        std::uint32_t name; ///< byte of the text
        std::uint32_t nameLength;
        std::uint32_t module;
        std::uint32_t moduleLength;
        bool isGlobal;
    };

    bool addLine(std::string_view line);
    void sort();
    std::string_view nameOf(const Entry& entry) const;
    bool isBetter(const Entry& a, const Entry& b) const;

    std::string m_text;
    std::vector<Entry> m_functions; ///< rising by address, of equal ones the best first
};

} // namespace samplefold::names
