#include "process_code.h"

#include "dump_code.h"
#include "map_code.h"
#include "source_bytes.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace jitlens_3_13 {
namespace {

process_file_t readFile(std::uint64_t loader, const std::string& path)
{
    process_file_t file;
    file.source.path = path;
    source_bytes_t content = readSource(path);
    if (!content.fault.empty()) {
        file.source.kind = content.isDump ? module_kind_t::jitdump : module_kind_t::unknown;
        file.source.fault = path + ": " + content.fault;
        return file;
    }
    std::unique_ptr<CodeFile> code = content.isDump
                                         ? makeDumpCode(std::move(content.bytes), file.source)
                                         : makeMapCode(std::move(content.bytes), file.source);
    if (!file.source.fault.empty()) file.source.fault.insert(0, path + ": ");
    if (code != nullptr)
        file.module = new toolbelt2::ref_counted_t<ModuleImpl>(loader, path, file.source.kind,
                                                               std::move(code));
    return file;
}

bool isDump(const process_file_t& file)
{
    return file.source.kind == module_kind_t::jitdump;
}

} // namespace

void ProcessCode::ignoreTimes()
{
    m_timesIgnored = true;
    for (const process_file_t& file : m_files)
        if (file.module) file.module->code().ignoreTimes();
}

void ProcessCode::read(std::uint64_t loader, const std::vector<std::string>& found)
{
    std::vector<std::string> paths;
    for (const std::vector<std::string>* list : {&std::as_const(m_added), &found})
        for (const std::string& path : *list)
            if (std::none_of(paths.begin(), paths.end(), [&path](const std::string& earlier) {
                    return isSameFile(earlier, path);
                }))
                paths.push_back(path);
    std::vector<process_file_t> files;
    for (const std::string& path : paths)
        files.push_back(readFile(loader, path));
    std::stable_partition(files.begin(), files.end(), isDump);
    m_isUnusable = !files.empty() && std::none_of(files.begin(), files.end(),
                                                  [](const auto& file) { return file.module; });
    m_files = std::move(files);
    if (m_timesIgnored) ignoreTimes();
}

std::uint32_t ProcessCode::resolve(std::uint64_t time, std::uint64_t ip, std::uint64_t& rva,
                                   boost::intrusive_ptr<IModule>& module) const
{
    for (const process_file_t& file : m_files) {
        if (!file.module || !file.module->code().resolve(time, ip, rva)) continue;
        module = file.module;
        return code::found;
    }
    return codeOfMiss();
}

std::uint32_t ProcessCode::findRegion(std::uint64_t time, std::uint64_t first, std::uint64_t last,
                                      region_t& region) const
{
    for (const process_file_t& file : m_files) {
        if (!file.module || !file.module->code().findRegion(time, first, last, region)) continue;
        region.module = file.module;
        return code::found;
    }
    return codeOfMiss();
}

std::vector<std::uint64_t> ProcessCode::borders() const
{
    std::vector<std::uint64_t> borders;
    for (const process_file_t& file : m_files)
        if (file.module) file.module->code().addBorders(borders);
    std::sort(borders.begin(), borders.end());
    borders.erase(std::unique(borders.begin(), borders.end()), borders.end());
    return borders;
}

std::vector<source_t> ProcessCode::sources() const
{
    std::vector<source_t> sources;
    for (const process_file_t& file : m_files)
        sources.push_back(file.source);
    return sources;
}

std::uint32_t ProcessCode::codeOfMiss() const noexcept
{
    return m_isUnusable ? code::unusable : code::noCode;
}

} // namespace jitlens_3_13
