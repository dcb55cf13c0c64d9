#pragma once

#include <GLYPH_3_30/address.h>
#include <GLYPH_3_30/export.h>
#include <GLYPH_3_30/object_ptr.h>
#include <GLYPH_3_30/status.h>

#include <cstdint>
#include <string>

namespace GLYPH_3_30 {

/// Bits of a mask of kinds.
enum class symbol_kind_t : std::uint32_t {
    function = 1, ///< functions, indirect functions, entries of the procedure linkage table
    label = 16    ///< names without a type in executable sections, as assembler code has them
};

enum class symbol_binding_t : std::uint8_t { global, weak, local };

/// Where a symbol comes from.
enum class symbol_origin_t : std::uint8_t {
    table,        ///< the symbol table of the image
    debugFile,    ///< that of its separate debug file
    miniTable,    ///< the compressed table inside of a stripped image
    dynamicTable, ///< the table for the dynamic linker
    linkageTable, ///< made up for an entry of the procedure linkage table: "name@plt"
    debugInfo     ///< a function of the debug information that no table has
};

/// A symbol of code. Addresses are image addresses. The name lives as long as the bank.
struct symbol_t {
    const char* name = ""; ///< as the file has it, mangled; NUL-terminated
    std::uint64_t start = 0;
    std::uint64_t end = 0;  ///< first address behind it; a guess when `size` is 0
    std::uint64_t size = 0; ///< as the file tells it; 0 when it does not
    symbol_kind_t kind = symbol_kind_t::function;
    symbol_binding_t binding = symbol_binding_t::global;
    symbol_origin_t origin = symbol_origin_t::table;
    bool isChooser = false; ///< not the function of that name, but what picks it at the start
};

/// A name in human form: demangled if it is mangled by the C++ ABI, as it is otherwise. A name that
/// would grow beyond reason stays as it is. Any thread.
GLYPH_API std::string demangle(const char* name);

/// The name of a range. Immutable; any thread.
class GLYPH_API ISymbol : public tb2::object_interface_t {
public:
    /// As the file has it; NUL-terminated, lives as long as the symbol.
    virtual const char* getName() const noexcept = 0;
    virtual std::string getDemangledName() const = 0;
    virtual symbol_kind_t getKind() const noexcept = 0;
};

/// The addresses of a function or of an inlined function. Immutable; any thread.
class GLYPH_API ISymbolRange : public tb2::object_interface_t {
public:
    virtual status_t getStart(SymMgrObjectPtr<IAddress>& address) const = 0;
    /// The address behind the last.
    virtual status_t getEnd(SymMgrObjectPtr<IAddress>& address) const = 0;
    virtual SymMgrObjectPtr<ISymbol> getSymbol() const = 0;
    /// The next narrower range that holds the address: of the function that was inlined there. Of
    /// an inlined function in several pieces it is the piece at the address. Null, with notFound,
    /// when nothing was inlined at the address or it lies outside of this range.
    virtual status_t getInnerRange(SymMgrObjectPtr<ISymbolRange>& range,
                                   const IAddress& address) const = 0;
};

} // namespace GLYPH_3_30
