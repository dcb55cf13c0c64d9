#include "names/kernel_namer.h"

#include "names/small_file.h"
#include "session/hex_text.h"
#include "session/module_names.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>

namespace samplefold::names {
namespace {

using SEEK_2_13::place_t;
using SEEK_2_13::refusal_t;

constexpr const char* g_runningTable = "/proc/kallsyms";
/// Names that a kernel gives to what it generates, and that stand for functions.
constexpr std::string_view g_generatedPrefix = "[bpf_";

/// A note "GNU" of type 3 with a build id of 20 bytes begins so.
constexpr std::array<char, 16> g_idNote{4, 0, 0, 0, 20, 0, 0, 0, 3, 0, 0, 0, 'G', 'N', 'U', 0};
constexpr std::size_t g_idBytes = 20;

std::string cacheFolder()
{
    const char* const home = std::getenv("HOME");
    return home != nullptr && *home != '\0' ? std::string(home) + "/.debug" : std::string();
}

} // namespace

std::string runningKernelId()
{
    std::string fault;
    const auto notes = readSmallFile("/sys/kernel/notes", std::size_t{1} << 20, fault);
    if (!notes) return {};
    const std::size_t at = notes->find(std::string_view(g_idNote.data(), g_idNote.size()));
    if (at == std::string::npos || notes->size() - at < g_idNote.size() + g_idBytes) return {};
    const auto* const id =
        reinterpret_cast<const std::uint8_t*>(notes->data()) + at + g_idNote.size();
    return session::hexText({id, g_idBytes});
}

bool KernelTable::tryFile(place_t place, const std::string& path)
{
    std::string fault;
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        m_attempts.push_back({place, path, refusal_t::notFound, {}});
        return false;
    }
    m_table = Kallsyms::read(path, fault);
    m_attempts.push_back({place, path, m_table ? refusal_t::none : refusal_t::unreadable, fault});
    if (m_table) m_path = path;
    return m_table.has_value();
}

const Kallsyms* KernelTable::find()
{
    if (std::exchange(m_isSearched, true)) return m_table ? &*m_table : nullptr;
    const std::string& buildId = m_options.buildId;
    const auto search = [&] {
        if (!m_options.kallsyms.empty() && tryFile(place_t::path, m_options.kallsyms)) return;
        if (tryFile(place_t::archive, m_options.resultFolder + "/archive/kallsyms")) return;
        if (buildId.empty()) return;
        const std::string cache = cacheFolder();
        const std::string name = std::string(session::kernelName);
        if (!cache.empty() &&
            tryFile(place_t::buildIdCache, cache + "/" + name + "/" + buildId + "/kallsyms"))
            return;
        if (runningKernelId() == buildId) {
            tryFile(place_t::kernelCore, g_runningTable);
        } else {
            m_attempts.push_back({place_t::kernelCore, g_runningTable, refusal_t::otherKernel, {}});
        }
    };
    search();
    return m_table ? &*m_table : nullptr;
}

std::string KernelTable::problemOfGivenFile() const
{
    if (m_options.kallsyms.empty() || m_attempts.empty()) return {};
    const SEEK_2_13::attempt_t& first = m_attempts.front();
    return first.refusal == refusal_t::none ? "" : first.path + ": " + first.detail;
}

KernelNamer::KernelNamer(const Kallsyms* table, std::string module, std::uint64_t delta)
    : m_table(table), m_delta(delta)
{
    if (module.starts_with(g_generatedPrefix)) m_ownName = module.substr(1, module.size() - 2);
    if (m_table == nullptr && m_ownName.empty())
        m_fault = "no table of the recorded kernel's symbols was found (--kallsyms)";
}

PlaceName KernelNamer::name(const Place& place, FoundNames& names)
{
    PlaceName found;
    Function function;
    const std::uint64_t address = place.address + m_delta - (place.isCaller ? 1 : 0);
    const auto symbol = m_table != nullptr && m_ownName.empty() ? m_table->find(address)
                                                                : std::optional<KernelSymbol>();
    if (symbol) {
        function.name = symbol->name;
        function.hasRange = true;
        function.start = place.rva - (place.address + m_delta - symbol->start);
        function.size = symbol->end - symbol->start;
    } else {
        function.name = m_ownName;
    }
    if (function.name.empty()) {
        found.missing = names.reasons.number("no symbol of the kernel holds it");
    } else {
        found.function = names.functions.number(function);
    }
    return found;
}

PlaceName VsyscallNamer::name(const Place& place, FoundNames& names)
{
    constexpr std::array<const char*, 3> entries{"gettimeofday", "time", "getcpu"};
    constexpr std::uint64_t entryBytes = 1024;
    PlaceName found;
    const std::uint64_t entry = (place.rva & 4095) / entryBytes;
    if (entry < entries.size()) {
        Function function;
        function.name = entries[entry];
        found.function = names.functions.number(function);
    } else {
        found.missing = names.reasons.number("the kernel has no function there");
    }
    return found;
}

} // namespace samplefold::names
