#include "report/archive_plan.h"

#include "report/elf_names.h"
#include "report/module_list.h"
#include "report/sql_rows.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace samplefold::report {
namespace {

namespace fs = std::filesystem;

constexpr const char* g_sourcesSql =
    "SELECT DISTINCT path FROM dd_source_file WHERE path LIKE '/%' ORDER BY path";

/// The build id in lower case; empty when it makes no sense.
std::string checkedBuildId(std::string id)
{
    for (char& digit : id)
        if (digit >= 'A' && digit <= 'F') digit = static_cast<char>(digit - 'A' + 'a');
    const bool isHex = id.find_first_not_of("0123456789abcdef") == std::string::npos;
    return isHex && id.size() >= 4 && id.size() % 2 == 0 ? id : std::string();
}

std::string buildIdPlace(const std::string& id)
{
    return ".build-id/" + id.substr(0, 2) + "/" + id.substr(2);
}

bool isKernel(const std::string& module)
{
    return module.starts_with("[kernel.kallsyms]");
}

/// What a search for an image of the kernel tries.
std::string kernelPlace(rowvault1::IResult& result)
{
    const std::string release = result.info("os_release");
    const bool isName = !release.empty() && release.find('/') == std::string::npos;
    return placeBelow(isName ? "vmlinux-" + release : "vmlinux");
}

class PlanMaker {
public:
    explicit PlanMaker(rowvault1::IResult& result) : m_kernelPlace(kernelPlace(result))
    {
        m_plan.folder = archiveFolder(result);
    }

    void add(const ModuleInfo& module)
    {
        const bool hasFile = !module.found.empty() || !module.symbols.empty();
        if (!hasFile && module.isFile && module.sampleRows != 0) ++m_plan.notFound;
        const ArchiveItem binary{ArchivedKind::binary, module.path, module.found,
                                 binaryPlaces(module), module.md5,  checkedBuildId(module.buildId)};
        if (!module.found.empty()) m_plan.items.push_back(binary);
        if (module.symbols.empty() || module.symbols == module.found) return;
        ArchiveItem symbols{ArchivedKind::symbols, module.path, module.symbols, {}, {}, {}};
        setSymbolPlace(binary, symbols);
        m_plan.items.push_back(std::move(symbols));
    }

    void addSource(const std::string& path)
    {
        const std::string place = sourcePlace(path);
        if (!place.empty())
            m_plan.items.push_back({ArchivedKind::source, {}, path, {place}, {}, {}});
    }

    ArchivePlan release() { return std::move(m_plan); }

private:
    std::vector<std::string> binaryPlaces(const ModuleInfo& module) const
    {
        std::vector<std::string> places;
        const std::string id = checkedBuildId(module.buildId);
        if (isKernel(module.path)) places.push_back(m_kernelPlace);
        if (!id.empty()) places.push_back(buildIdPlace(id));
        if (!isKernel(module.path)) places.push_back(placeBelow(module.path));
        std::erase(places, std::string());
        return places;
    }

    /// By what the binary tells; where that is gone, by what its archived copy tells.
    void setSymbolPlace(const ArchiveItem& binary, ArchiveItem& symbols) const
    {
        if (isKernel(symbols.module) && !symbols.file.ends_with(".debug")) {
            symbols.places.emplace_back("kallsyms");
            return;
        }
        ElfNames names = elfNames(binary.file);
        for (std::size_t i = 0; i < binary.places.size() && !names.isElf; ++i)
            names = elfNames(m_plan.folder + "/" + binary.places[i]);
        symbols.buildId = names.isElf ? names.buildId : binary.buildId;
        if (!symbols.buildId.empty()) {
            symbols.places.push_back(buildIdPlace(symbols.buildId) + ".debug");
        } else if (!names.debugLink.empty() && !binary.places.empty()) {
            const fs::path folder = fs::path(binary.places.front()).parent_path();
            const fs::path name = fs::path(names.debugLink).filename();
            symbols.places.push_back(placeBelow((folder / ".debug" / name).native()));
        }
    }

    std::string m_kernelPlace;
    ArchivePlan m_plan;
};

} // namespace

std::string archiveFolder(rowvault1::IResult& result)
{
    return (fs::path(result.databasePath()).parent_path() / "archive").native();
}

std::string placeBelow(std::string_view path)
{
    if (path.find('\0') != std::string_view::npos) return {};
    const fs::path below = (fs::path("/") / path).lexically_normal().relative_path();
    return below.filename().empty() ? std::string() : below.native();
}

std::string sourcePlace(std::string_view path)
{
    const std::string below = path.starts_with('/') ? placeBelow(path) : std::string();
    return below.empty() ? below : "sources/" + below;
}

ArchivePlan archivePlan(rowvault1::IResult& result, bool withSources)
{
    PlanMaker maker(result);
    for (const ModuleInfo& module : readModules(result))
        maker.add(module);
    if (withSources) {
        visitRows(result, g_sourcesSql,
                  [&maker](const auto& row) { maker.addSource(toText(row[0])); });
    }
    return maker.release();
}

} // namespace samplefold::report
