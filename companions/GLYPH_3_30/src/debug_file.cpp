#include "debug_file.h"

#include "notes.h"

#include <filesystem>
#include <vector>

namespace GLYPH_3_30 {
namespace {

constexpr const char* g_debugFolder = "/usr/lib/debug/.build-id/";

/// Where the system keeps the debug file with that build id.
std::string systemPath(const std::string& buildId)
{
    return g_debugFolder + buildId.substr(0, 2) + "/" + buildId.substr(2) + ".debug";
}

std::string besides(const std::string& path, const std::string& name)
{
    std::error_code ignored;
    const std::filesystem::path real = std::filesystem::canonical(path, ignored);
    return ((real.empty() ? std::filesystem::path(path) : real).parent_path() / name).string();
}

bool fits(const ImageImpl& image, const ElfFile& file, std::string& fault)
{
    const std::string id = readBuildId(file.elf());
    if (!id.empty() && !image.getBuildId().empty()) {
        if (id == image.getBuildId()) return true;
        fault = "it has the build id " + id + " instead of " + image.getBuildId();
        return false;
    }
    if (image.getDebugLink().name.empty()) {
        fault = "nothing tells whether it belongs to the image: no build id, no debug link";
        return false;
    }
    std::uint32_t crc = 0;
    if (!file.checksum(crc)) {
        fault = "it cannot be read";
        return false;
    }
    if (crc == image.getDebugLink().crc) return true;
    fault = "its checksum is not that of the image's debug link";
    return false;
}

} // namespace

std::unique_ptr<ElfFile> openDebugFile(const ImageImpl& image, const std::string& path,
                                       std::string& fault)
{
    std::unique_ptr<ElfFile> file = ElfFile::open(path, false, fault);
    if (file != nullptr && !fits(image, *file, fault)) file = nullptr;
    if (file == nullptr) fault.insert(0, path + ": ");
    return file;
}

std::unique_ptr<ElfFile> openAltFile(const ElfFile& file, const std::string& path,
                                     ISymbolFileResolver* resolver, std::string& fault)
{
    const alt_link_t link = readAltLink(file.elf());
    if (link.path.empty()) return nullptr;
    std::vector<std::string> paths{besides(path, link.path)};
    if (link.buildId.size() > 2) paths.push_back(systemPath(link.buildId));
    if (resolver != nullptr) {
        symbol_file_request_t request;
        request.imagePath = path;
        request.buildId = link.buildId;
        request.altName = link.path;
        for (std::string& found : resolver->find(request))
            paths.push_back(std::move(found));
    }
    for (const std::string& candidate : paths) {
        std::string ignored;
        std::unique_ptr<ElfFile> alt = ElfFile::open(candidate, false, ignored);
        if (alt != nullptr && readBuildId(alt->elf()) == link.buildId) return alt;
    }
    fault = path + ": the shared debug file " + link.path + " is not there or does not fit";
    return nullptr;
}

} // namespace GLYPH_3_30
