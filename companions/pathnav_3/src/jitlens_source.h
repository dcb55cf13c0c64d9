#pragma once

#include <pathnav_3/data_source.h>

namespace pathnav_3 {

class JitlensSource : public IJITLENSDataSource {
public:
    /// Without a `module` the code of all of them. `resolver` and `nameOf` may be null.
    JitlensSource(const boost::intrusive_ptr<jitlens_3_13::ISymbolResolver>& resolver,
                  const boost::intrusive_ptr<jitlens_3_13::IModule>& module,
                  symbol_name_callback_t nameOf)
        : m_resolver(resolver), m_module(module), m_nameOf(nameOf)
    {
    }

    bool findCode(std::uint64_t rva, code_range_t& range) const override;
    bool findNextCode(std::uint64_t rva, code_range_t& range) const override;
    std::size_t readCode(std::uint64_t rva, std::span<std::byte> bytes) const override;
    bool neverReturns(std::uint64_t rva) const override;

private:
    bool find(std::uint64_t rva, jitlens_3_13::symbol_t& symbol,
              jitlens_3_13::code_stretch_t& stretch) const;

    boost::intrusive_ptr<jitlens_3_13::ISymbolResolver> m_resolver;
    boost::intrusive_ptr<jitlens_3_13::IModule> m_module;
    symbol_name_callback_t m_nameOf;
};

} // namespace pathnav_3
