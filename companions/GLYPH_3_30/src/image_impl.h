#pragma once

#include "elf_file.h"
#include "layout.h"

#include <GLYPH_3_30/module_image.h>

#include <memory>
#include <string>

namespace GLYPH_3_30 {

class ImageImpl : public IModuleImage {
public:
    ImageImpl(std::string path, std::unique_ptr<ElfFile> file, Layout layout);

    const char* getPath() const noexcept override { return m_path.c_str(); }
    arch_t getArchitecture() const noexcept override { return m_layout.machine(); }
    std::uint64_t getFileSize() const noexcept override { return m_file->size(); }
    const std::string& getBuildId() const noexcept override { return m_buildId; }
    const debug_link_t& getDebugLink() const noexcept override { return m_debugLink; }

    const ElfFile& file() const noexcept { return *m_file; }
    const Layout& layout() const noexcept { return m_layout; }

private:
    std::string m_path;
    std::unique_ptr<ElfFile> m_file;
    Layout m_layout;
    std::string m_buildId;
    debug_link_t m_debugLink;
};

/// As IModuleImage::create; `fault` does not name the path.
SymMgrObjectPtr<ImageImpl> openImage(const std::string& path, arch_t arch, bool inMemory,
                                     std::string& fault);

} // namespace GLYPH_3_30
