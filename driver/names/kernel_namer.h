#pragma once

#include "names/image_namer.h"
#include "names/kallsyms.h"
#include "names/place_namer.h"
#include "session/module_files.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace samplefold::names {

/// What a recording and the user tell about the kernel's symbols.
struct KernelOptions {
    std::string kallsyms;     ///< file given by the user; empty for none
    std::string resultFolder; ///< its "archive" may hold a copy of the table
    std::string buildId;      ///< of the recorded kernel, hexadecimal; empty when not known
    std::string reference;    ///< symbol that the recording tells the address of; may be empty
    std::uint64_t referenceAddress = 0; ///< in the kernel that was recorded
};

/// The kernel's table of symbols on this machine, found by the first question.
class KernelTable {
public:
    explicit KernelTable(KernelOptions options) : m_options(std::move(options)) {}

    /// Looks for the table: the file that the user gave, "archive/kallsyms" in the result, then
    /// for a known build id the copy in the cache of build ids, and /proc/kallsyms if that kernel
    /// runs. Null when there is none.
    const Kallsyms* find();

    /// What is wrong with the file that the user gave, as a line with its name; empty when nothing
    /// is, or when it was not needed.
    std::string problemOfGivenFile() const;
    const std::string& path() const { return m_path; }
    const std::vector<SEEK_2_13::attempt_t>& attempts() const { return m_attempts; }
    const KernelOptions& options() const { return m_options; }

private:
    bool tryFile(SEEK_2_13::place_t place, const std::string& path);

    KernelOptions m_options;
    bool m_isSearched = false;
    std::optional<Kallsyms> m_table;
    std::string m_path;
    std::vector<SEEK_2_13::attempt_t> m_attempts;
};

/// Names places of the kernel's own code or of a kernel module by the kernel's table. Code without
/// a symbol that the kernel itself gave a name, as a BPF program, has that name.
class KernelNamer final : public PlaceNamer {
public:
    /// `table` may be null and outlives the object. `module` is the module's short name. `delta` is
    /// what lies between the recording's addresses and those of the table.
    KernelNamer(const Kallsyms* table, std::string module, std::uint64_t delta);

    PlaceName name(const Place& place, FoundNames& names) override;
    const std::string& fault() const override { return m_fault; }

private:
    const Kallsyms* m_table;
    std::string m_ownName;
    std::uint64_t m_delta;
    std::string m_fault;
};

/// Names what is in the page [vsyscall], whose three entries stand at addresses that never change.
class VsyscallNamer final : public PlaceNamer {
public:
    PlaceName name(const Place& place, FoundNames& names) override;
    const std::string& fault() const override { return m_fault; }

private:
    std::string m_fault;
};

/// Build id of the kernel that runs, hexadecimal; empty when it is not to be had.
std::string runningKernelId();

} // namespace samplefold::names
