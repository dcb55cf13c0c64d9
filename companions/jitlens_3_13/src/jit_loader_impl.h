#pragma once

#include "process_code.h"
#include "symbol_resolver_impl.h"

#include <jitlens_3_13/jit_loader.h>

#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace jitlens_3_13 {

/// Holds the processes that were asked about or prepared. Records of processes stay where they are
/// until the loader ends.
class JitLoaderImpl : public IJitLoader {
public:
    explicit JitLoaderImpl(tb2::generic_iterator_t<const char*> directories);

    void attach(const char* dataPath, std::uint32_t* status) override;
    void addFile(std::uint32_t pid, const std::string& path) override;
    void ignoreTimes(std::uint32_t pid) override;
    std::uint32_t resolve(std::uint64_t time, std::uint64_t ip, std::uint32_t pid,
                          std::uint32_t status, std::uint64_t& rva,
                          boost::intrusive_ptr<IModule>& module) override;
    std::uint32_t findRegion(std::uint64_t time, std::uint64_t first, std::uint64_t last,
                             std::uint32_t pid, std::uint32_t status, region_t& region) override;
    std::vector<std::uint64_t> borders(std::uint32_t pid) override;
    std::vector<source_t> sources(std::uint32_t pid) override;
    boost::intrusive_ptr<ISymbolResolver> symbols() const noexcept override { return m_symbols; }

private:
    ProcessCode& process(std::uint32_t pid);
    /// The process with its files read.
    const ProcessCode& readProcess(std::uint32_t pid);
    std::vector<std::string> findFiles(std::uint32_t pid) const;

    std::uint64_t m_number; ///< unlike that of any other loader of the program
    std::vector<std::string> m_directories;
    std::string m_dataPath;
    boost::intrusive_ptr<SymbolResolverImpl> m_symbols;
    std::shared_mutex m_mutex; ///< of the map, not of the processes
    std::unordered_map<std::uint32_t, std::unique_ptr<ProcessCode>> m_processes;
};

} // namespace jitlens_3_13
