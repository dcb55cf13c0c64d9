#pragma once

#include <GLYPH_3_30/module_symbol_bank.h>
#include <jitlens_3_13/jit_loader.h>
#include <pathnav_3/export.h>
#include <pathnav_3/object_ptr.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace pathnav_3 {

/// Addresses [start, end) that belong together: a function, or code that no symbol names.
struct code_range_t {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    bool isFunction = false; ///< a symbol says that code begins at `start`
};

/// Where a navigator gets code from. Addresses are RVAs of one module. A source that is not thread
/// safe makes its navigators so; those of this library may be asked by any thread.
class PATHNAV_API IDataSource : public tb2::object_interface_t {
public:
    /// The range that holds `rva`: the function there; where no symbol reaches, what lies between
    /// the symbols around it, up to the ends of the section. False where there is no code.
    virtual bool findCode(std::uint64_t rva, code_range_t& range) const = 0;
    /// The first range that starts at `rva` or behind it. False when there is none.
    virtual bool findNextCode(std::uint64_t rva, code_range_t& range) const = 0;
    /// Copies code from `rva` on into `bytes`; how many bytes there were.
    virtual std::size_t readCode(std::uint64_t rva, std::span<std::byte> bytes) const = 0;
    /// Whether a call of `rva` never comes back, which the name of the function there tells.
    virtual bool neverReturns(std::uint64_t rva) const = 0;
};

/// The code of a module's image.
class PATHNAV_API IGLYPHDataSource : public IDataSource {
public:
    /// A source over `bank`, which is of an x86-64 module and may be null: then there is no code.
    /// `isRelocated` is false and `base` all ones: addresses are RVAs. Null for other values.
    static ObjectPtr<IDataSource>
    create(const GLYPH_3_30::SymMgrObjectPtr<GLYPH_3_30::IModuleSymbolBank>& bank, bool isRelocated,
           std::uint64_t base);
};

/// Names an address of generated code; the text lives until the next call.
using symbol_name_callback_t = const char* (*)(std::uint64_t rva);

/// Generated code, of the files that hold its bytes (jitdump).
class PATHNAV_API IJITLENSDataSource : public IDataSource {
public:
    static constexpr std::int32_t x86_64 = 3; ///< the one architecture that is decoded

    /// A source over `resolver`, which may be null: then there is no code. `base` is all ones:
    /// addresses are relative to their module. `nameOf` may be null; it is asked for the names of
    /// what is called. With a `region` the code is that of its module. Without one it is the code
    /// of all modules; an address at which several of them have code has none then. Null for
    /// another architecture or base.
    static ObjectPtr<IDataSource>
    create(const boost::intrusive_ptr<jitlens_3_13::ISymbolResolver>& resolver,
           std::int32_t architecture, std::uint64_t base, symbol_name_callback_t nameOf,
           const jitlens_3_13::region_t* region);
};

} // namespace pathnav_3
