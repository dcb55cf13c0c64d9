#pragma once

#include "code_file.h"

#include <jitlens_3_13/module.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace jitlens_3_13 {

/// A file that gave code. It keeps the code, so that nothing of it ends before the last handle.
class ModuleImpl : public IModule {
public:
    ModuleImpl(std::uint64_t loader, std::string path, module_kind_t kind,
               std::unique_ptr<CodeFile> code)
        : m_loader(loader), m_path(std::move(path)), m_kind(kind), m_code(std::move(code))
    {
    }

    const char* name() const noexcept override { return m_path.c_str(); }
    std::int32_t classValue() const noexcept override
    {
        return m_kind == module_kind_t::jitdump ? 1 : 0;
    }
    std::int32_t kind() const noexcept override { return static_cast<std::int32_t>(m_kind); }

    /// Number of the loader that made it.
    std::uint64_t loader() const noexcept { return m_loader; }
    const CodeFile& code() const noexcept { return *m_code; }
    CodeFile& code() noexcept { return *m_code; }

private:
    std::uint64_t m_loader;
    std::string m_path;
    module_kind_t m_kind;
    std::unique_ptr<CodeFile> m_code;
};

} // namespace jitlens_3_13
