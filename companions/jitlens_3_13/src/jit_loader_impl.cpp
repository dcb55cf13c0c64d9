#include "jit_loader_impl.h"

#include <atomic>
#include <mutex>

namespace jitlens_3_13 {
namespace {

constexpr std::uint32_t g_attached = 1;

std::uint64_t nextNumber()
{
    static std::atomic<std::uint64_t> s_last{0};
    return ++s_last;
}

} // namespace

boost::intrusive_ptr<IJitLoader>
IJitLoader::create(tb2::generic_iterator_t<const char*> directories)
{
    return new toolbelt2::ref_counted_t<JitLoaderImpl>(directories);
}

JitLoaderImpl::JitLoaderImpl(tb2::generic_iterator_t<const char*> directories)
    : m_number(nextNumber()), m_symbols(new toolbelt2::ref_counted_t<SymbolResolverImpl>(m_number))
{
    for (; !directories.atEnd(); directories.next())
        if (directories.current() != nullptr) m_directories.emplace_back(directories.current());
}

void JitLoaderImpl::attach(const char* dataPath, std::uint32_t* status)
{
    m_dataPath = dataPath != nullptr ? dataPath : "";
    *status = g_attached;
}

void JitLoaderImpl::addFile(std::uint32_t pid, const std::string& path)
{
    process(pid).addFile(path);
}

void JitLoaderImpl::ignoreTimes(std::uint32_t pid)
{
    process(pid).ignoreTimes();
}

std::uint32_t JitLoaderImpl::resolve(std::uint64_t time, std::uint64_t ip, std::uint32_t pid,
                                     std::uint32_t status, std::uint64_t& rva,
                                     boost::intrusive_ptr<IModule>& module)
{
    if (status == 0) return code::notAttached;
    return readProcess(pid).resolve(time, ip, rva, module);
}

std::uint32_t JitLoaderImpl::findRegion(std::uint64_t time, std::uint64_t first, std::uint64_t last,
                                        std::uint32_t pid, std::uint32_t status, region_t& region)
{
    if (status == 0) return code::notAttached;
    const ProcessCode& asked = readProcess(pid);
    return first <= last ? asked.findRegion(time, first, last, region) : code::noCode;
}

std::vector<std::uint64_t> JitLoaderImpl::borders(std::uint32_t pid)
{
    return readProcess(pid).borders();
}

std::vector<source_t> JitLoaderImpl::sources(std::uint32_t pid)
{
    return readProcess(pid).sources();
}

ProcessCode& JitLoaderImpl::process(std::uint32_t pid)
{
    {
        const std::shared_lock lock(m_mutex);
        const auto found = m_processes.find(pid);
        if (found != m_processes.end()) return *found->second;
    }
    const std::unique_lock lock(m_mutex);
    std::unique_ptr<ProcessCode>& place = m_processes[pid];
    if (place == nullptr) place = std::make_unique<ProcessCode>();
    return *place;
}

const ProcessCode& JitLoaderImpl::readProcess(std::uint32_t pid)
{
    ProcessCode& asked = process(pid);
    asked.readOnce(
        m_number, [this, pid] { return findFiles(pid); },
        [this](const boost::intrusive_ptr<ModuleImpl>& module) { m_symbols->addModule(module); });
    return asked;
}

std::vector<std::string> JitLoaderImpl::findFiles(std::uint32_t pid) const
{
    std::vector<const char*> directories;
    for (const std::string& directory : m_directories)
        directories.push_back(directory.c_str());
    return findJitFiles(m_dataPath, {directories.data(), directories.size()}, pid);
}

} // namespace jitlens_3_13
