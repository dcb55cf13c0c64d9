#pragma once

#include "debug_sections.h"
#include "elf_file.h"
#include "interval_map.h"
#include "layout.h"
#include "unit_lines.h"
#include "unit_scopes.h"
#include "work_limit.h"

#include <GLYPH_3_30/source_frame.h>

#include <elfutils/libdw.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace GLYPH_3_30 {

/// The debug information of one file. Units are read as they are asked for and stay. One thread at
/// a time.
class DebugInfo {
public:
    /// Null without debug information, with `fault` when it cannot be used. `file` and `layout`,
    /// that of the image, must outlive it. `alt`, which may be null, is the file that `file` shares
    /// with others. The mutex of `file` is held by the caller.
    static std::unique_ptr<DebugInfo> begin(const ElfFile& file, std::unique_ptr<ElfFile> alt,
                                            const Layout& layout, std::string& fault);
    ~DebugInfo();
    DebugInfo(const DebugInfo&) = delete;
    DebugInfo& operator=(const DebugInfo&) = delete;

    /// As IModuleSymbolBank::findFrames. `isNameShort` tells that a symbol of the last function may
    /// say more than its name here, which has neither namespace nor class nor arguments.
    bool findFrames(std::uint64_t address, std::vector<source_frame_t>& frames, bool& isNameShort);
    const std::vector<std::string>& faults() const noexcept { return m_faults; }

private:
    struct unit_t {
        Dwarf_Off die = 0;
        bool isRead = false;
        bool isMangling = false;    ///< its language has names that differ from the linker's
        UnitLines* lines = nullptr; ///< null without
        unit_scopes_t scopes;
    };

    DebugInfo(const ElfFile& file, const Layout& layout, std::uint64_t bytes);
    bool open(std::unique_ptr<ElfFile> alt);
    void indexUnits();
    void addUnit(Dwarf_Off die, IntervalPainter& painter);
    void readUnit(unit_t& unit);
    UnitLines* linesOf(Dwarf_Die& die);
    void readLines(const unit_t& unit);
    void fillName(const unit_t& unit, scope_t& scope);
    /// Path of a file of the unit, which has lines; empty when unknown.
    const char* pathOf(const unit_t& unit, std::uint32_t file);
    /// `path` with the unit's folder of compilation in front if it is relative.
    const char* absolutePath(Dwarf_Die& unit, const char* path);
    static void addFrame(const unit_t& unit, const scope_t& scope, std::uint64_t address,
                         const source_frame_t& place, std::vector<source_frame_t>& frames);
    bool findLine(const unit_t& unit, std::uint64_t address, source_frame_t& frame);
    void noteFault(const std::string& fault);

    const ElfFile& m_file;
    const Layout& m_layout;
    std::uint64_t m_bytes; ///< of all debug sections
    WorkLimit m_limit;
    WorkLimit m_lineLimit{0};
    std::map<Dwarf_Word, std::unique_ptr<UnitLines>> m_lineTables; ///< by offset; null if unusable
    std::unique_ptr<ElfFile> m_altFile;
    Dwarf* m_alt = nullptr;
    Dwarf* m_dwarf = nullptr;
    std::span<const std::byte> m_lines;
    std::span<const std::byte> m_abbreviations;
    std::vector<unit_t> m_units;
    IntervalMap m_unitByAddress;
    std::deque<std::string> m_paths; ///< that were joined
    bool m_isIndexed = false;
    std::vector<std::string> m_faults;
};

} // namespace GLYPH_3_30
