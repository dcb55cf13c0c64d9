#include "image_impl.h"

#include "notes.h"

#include <utility>

namespace GLYPH_3_30 {
namespace {

SymMgrObjectPtr<ImageImpl> makeImage(const std::string& path, arch_t arch,
                                     std::unique_ptr<ElfFile> file, std::string& fault)
{
    Layout layout;
    if (file == nullptr || !layout.read(*file, fault)) return nullptr;
    if (arch != 0 && arch != layout.machine()) {
        fault = "made for machine " + std::to_string(layout.machine()) + " instead of " +
                std::to_string(arch);
        return nullptr;
    }
    return new toolbelt2::ref_counted_t<ImageImpl>(path, std::move(file), std::move(layout));
}

void tell(std::string* fault, const std::string& path, const std::string& text)
{
    if (fault != nullptr) *fault = path + ": " + text;
}

} // namespace

ImageImpl::ImageImpl(std::string path, std::unique_ptr<ElfFile> file, Layout layout)
    : m_path(std::move(path)), m_file(std::move(file)), m_layout(std::move(layout)),
      m_buildId(readBuildId(m_file->elf())), m_debugLink(readDebugLink(m_file->elf()))
{
}

SymMgrObjectPtr<ImageImpl> openImage(const std::string& path, arch_t arch, bool inMemory,
                                     std::string& fault)
{
    return makeImage(path, arch, ElfFile::open(path, inMemory, fault), fault);
}

SymMgrObjectPtr<IModuleImage> IModuleImage::create(const char* path, arch_t arch, bool inMemory,
                                                   std::string* fault)
{
    if (path == nullptr) {
        tell(fault, "(no path)", "no image");
        return nullptr;
    }
    std::string text;
    SymMgrObjectPtr<IModuleImage> image = openImage(path, arch, inMemory, text);
    if (!image) tell(fault, path, text);
    return image;
}

SymMgrObjectPtr<IModuleImage> IModuleImage::create(std::span<const std::byte> bytes, arch_t arch,
                                                   const char* name, std::string* fault)
{
    const auto* first = reinterpret_cast<const char*>(bytes.data());
    const std::string path = name != nullptr ? name : "(memory)";
    std::string text;
    SymMgrObjectPtr<IModuleImage> image =
        makeImage(path, arch, ElfFile::fromBytes({first, first + bytes.size()}, text), text);
    if (!image) tell(fault, path, text);
    return image;
}

} // namespace GLYPH_3_30
