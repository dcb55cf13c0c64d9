#pragma once

#include <jitlens_3_13/module.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace jitlens_3_13 {

/// A generated function. The texts and bytes live as long as the module or the loader does. In a
/// perf map, size and first address are those of its line, even where later lines cover parts.
struct symbol_t {
    std::string_view name;
    std::uint64_t rva = 0;           ///< its first address, relative to the module
    std::uint64_t size = 0;          ///< bytes
    std::span<const std::byte> code; ///< empty where the module holds none
};

/// Relative addresses [start, end).
struct code_stretch_t {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
};

struct source_line_t {
    std::string_view file;
    std::uint32_t line = 0;
};

/// Names for addresses that IJitLoader::resolve has made relative to a module. Any thread.
class JITLENS_API ISymbolResolver : public tb2::object_interface_t {
public:
    /// The function that holds the relative address; false when there is none, or when the module
    /// is of another loader.
    virtual bool findSymbol(const IModule& module, std::uint64_t rva, symbol_t& symbol) const = 0;
    /// The function that holds the relative address, of those whose bytes are known: that of the
    /// one module that has a function there, among all modules read so far. False when there is
    /// none, or when several modules have one.
    virtual bool findSymbol(std::uint64_t rva, symbol_t& symbol) const = 0;
    /// The same, of all modules when `module` is null, else of that one. `stretch` becomes the
    /// addresses around `rva` that have the same answer, whatever that is; it is never empty, and
    /// the last address of all is in none.
    virtual bool findCode(const IModule* module, std::uint64_t rva, symbol_t& symbol,
                          code_stretch_t& stretch) const = 0;
    /// Source line of the relative address: that of the closest entry at or before it in the same
    /// function. False when the module does not tell.
    virtual bool findLine(const IModule& module, std::uint64_t rva, source_line_t& line) const = 0;
};

} // namespace jitlens_3_13
