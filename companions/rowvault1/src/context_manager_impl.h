#pragma once

#include "store.h"

#include <rowvault1/context.h>

#include <memory>

namespace rowvault1 {

class ContextManagerImpl : public IContextManager {
public:
    explicit ContextManagerImpl(std::shared_ptr<Store> store) : m_store(std::move(store)) {}
    bool setValue(std::string_view name, const tb2::variant_t& value) override;
    tb2::variant_t value(std::string_view name) const override;

private:
    std::shared_ptr<Store> m_store;
};

} // namespace rowvault1
